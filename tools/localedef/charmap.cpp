// Reading charmap sources.
#include "charmap.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "source_text.h"

namespace kw::localedef {

namespace {

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

class CharmapParser {
 public:
  CharmapParser(const std::string& file, const std::string& text)
      : lines_(file, text, false), text_(text) {
    cm_.file = file;
    lines_.comment_char = '#';
    lines_.escape_char = '\\';
  }

  Charmap run();

 private:
  [[noreturn]] void fail(const std::string& msg) const { throw SourceError(lines_.file(), line_no_, msg); }

  void skip_blanks() {
    while (i_ < s_.size() && blank(s_[i_])) ++i_;
  }
  std::string word() {
    skip_blanks();
    std::string w;
    while (i_ < s_.size() && !blank(s_[i_])) w.push_back(s_[i_++]);
    return w;
  }
  std::string symbol();
  Bytes byte_sequence();
  void header_line(const std::string& key);
  void charmap_line();
  void width_line();
  void add_char(std::uint32_t ucs, const std::string& name, Bytes b, bool ranged);
  void find_aliases();

  LineReader lines_;
  const std::string& text_;
  Charmap cm_;
  std::string s_;
  std::size_t i_ = 0;
  int line_no_ = 0;
  std::vector<std::pair<std::uint32_t, std::size_t>> sorted_;  // (bytes value, index), for WIDTH ranges
};

std::string CharmapParser::symbol() {
  skip_blanks();
  if (i_ >= s_.size() || s_[i_] != '<') fail("symbol name expected");
  ++i_;
  std::string name;
  for (;;) {
    if (i_ >= s_.size()) fail("unterminated symbol name <" + name);
    const char c = s_[i_++];
    if (c == lines_.escape_char && i_ < s_.size()) {
      name.push_back(s_[i_++]);
      continue;
    }
    if (c == '>') break;
    name.push_back(c);
  }
  if (name.empty()) fail("empty symbol name");
  return name;
}

Bytes CharmapParser::byte_sequence() {
  skip_blanks();
  Bytes b;
  const char esc = lines_.escape_char;
  while (i_ < s_.size() && s_[i_] == esc) {
    ++i_;
    if (i_ >= s_.size()) fail("byte expected after escape character");
    unsigned v = 0;
    int digits = 0;
    const char kind = s_[i_];
    if (kind == 'x' || kind == 'X') {
      ++i_;
      while (digits < 2 && i_ < s_.size() && std::isxdigit(static_cast<unsigned char>(s_[i_]))) {
        const char c = s_[i_++];
        v = v * 16 + static_cast<unsigned>(std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (c | 0x20) - 'a' + 10);
        ++digits;
      }
    } else if (kind == 'd' || kind == 'D') {
      ++i_;
      while (digits < 3 && i_ < s_.size() && std::isdigit(static_cast<unsigned char>(s_[i_]))) {
        v = v * 10 + static_cast<unsigned>(s_[i_++] - '0');
        ++digits;
      }
    } else {
      // Octal, with or without a leading 'o'.
      if (kind == 'o' || kind == 'O') ++i_;
      while (digits < 3 && i_ < s_.size() && s_[i_] >= '0' && s_[i_] <= '7') {
        v = v * 8 + static_cast<unsigned>(s_[i_++] - '0');
        ++digits;
      }
    }
    if (digits == 0) fail("malformed byte in character encoding");
    if (v > 255) fail("byte value above 255");
    if (b.len == 4) fail("character of more than 4 bytes");
    b.value = (b.value << 8) | v;
    ++b.len;
  }
  if (b.len == 0) fail("character encoding expected");
  return b;
}

void CharmapParser::add_char(std::uint32_t ucs, const std::string& name, Bytes b, bool ranged) {
  const std::size_t index = cm_.chars.size();
  CharmapChar c;
  c.ucs = ucs;
  if (ucs == kNoCodePoint) c.name = name;
  c.bytes = b;
  cm_.chars.push_back(std::move(c));
  cm_.in_range.push_back(ranged);
  if (ucs != kNoCodePoint) cm_.by_ucs.emplace(ucs, index);
  else cm_.by_name.emplace(name, index);
  cm_.by_bytes.emplace(b.key(), index);
  if (b.len < cm_.shortest) cm_.shortest = b.len;
  if (b.len > cm_.longest) cm_.longest = b.len;
}

// Splits a range end name into prefix and number: the number is the longest
// run of hexadecimal (or decimal) digits at the end of the name.
bool split_name(const std::string& name, bool hex, std::string& prefix, std::uint32_t& number, int& digits) {
  std::size_t k = name.size();
  while (k > 0 && (hex ? std::isxdigit(static_cast<unsigned char>(name[k - 1]))
                       : std::isdigit(static_cast<unsigned char>(name[k - 1]))))
    --k;
  // "U" names keep their U as the prefix even though it is not a digit; other
  // all-hex names (e.g. "AB12") would lose their whole text: keep one char.
  if (k == 0) k = 1;
  if (k >= name.size() || name.size() - k > 8) return false;
  prefix = name.substr(0, k);
  digits = static_cast<int>(name.size() - k);
  number = static_cast<std::uint32_t>(std::stoul(name.substr(k), nullptr, hex ? 16 : 10));
  return true;
}

void CharmapParser::charmap_line() {
  const std::string first = symbol();
  std::string dots;
  while (i_ < s_.size() && s_[i_] == '.') dots.push_back(s_[i_++]);
  if (dots.empty()) {
    const Bytes b = byte_sequence();
    std::uint32_t cp;
    if (!SymbolTable::unicode_name(first, cp)) cp = kNoCodePoint;
    add_char(cp, first, b, false);
    return;
  }
  if (dots != ".." && dots != "...") fail("malformed range: " + dots);
  const std::string last = symbol();
  const Bytes b = byte_sequence();
  CharmapRange r;
  std::uint32_t first_cp, last_cp;
  const bool unicode = SymbolTable::unicode_name(first, first_cp) && SymbolTable::unicode_name(last, last_cp);
  std::string last_prefix;
  std::uint32_t last_no;
  int last_digits;
  if (unicode) {
    r.prefix.assign(1, 'U');
    r.first_number = first_cp;
    last_no = last_cp;
    r.hex = true;
    r.digits = static_cast<int>(first.size() - 1);
  } else {
    r.hex = dots == "..";
    if (!split_name(first, r.hex, r.prefix, r.first_number, r.digits) ||
        !split_name(last, r.hex, last_prefix, last_no, last_digits) || last_prefix != r.prefix)
      fail("range ends <" + first + "> and <" + last + "> do not share a prefix");
  }
  if (last_no < r.first_number) fail("range <" + first + ">..<" + last + "> runs backwards");
  r.count = last_no - r.first_number + 1;
  r.first = b;
  r.first_char = cm_.chars.size();
  // A Unicode range whose first bytes are the UTF-8 form of its first
  // character continues in UTF-8; plain byte-wise counting would produce
  // invalid sequences where a continuation byte passes 0xBF.
  const bool utf8 = unicode && utf8_bytes(first_cp) == b;
  for (std::uint32_t k = 0; k < r.count; ++k) {
    Bytes c = b;
    if (utf8) {
      c = utf8_bytes(first_cp + k);
    } else {
      const std::uint64_t v = static_cast<std::uint64_t>(b.value) + k;
      if (v >> (8 * b.len)) fail("range <" + first + ">..<" + last + "> overflows its byte length");
      c.value = static_cast<std::uint32_t>(v);
    }
    if (c.len == 0) fail("range <" + first + ">..<" + last + "> leaves the 4-byte limit");
    if (unicode) {
      add_char(first_cp + k, std::string(), c, true);  // U names are kept as code points
      continue;
    }
    char num[16];
    std::snprintf(num, sizeof num, r.hex ? "%0*X" : "%0*u", r.digits, r.first_number + k);
    add_char(kNoCodePoint, r.prefix + num, c, true);
  }
  cm_.ranges.push_back(std::move(r));
}

void CharmapParser::width_line() {
  const std::string first = symbol();
  std::string dots;
  while (i_ < s_.size() && s_[i_] == '.') dots.push_back(s_[i_++]);
  std::string last = first;
  if (!dots.empty()) last = symbol();
  const std::string w = word();
  if (w.empty() || !std::isdigit(static_cast<unsigned char>(w[0]))) fail("width expected");
  const int width = std::stoi(w);
  auto lookup = [&](const std::string& name) -> const CharmapChar* {
    std::uint32_t cp;
    if (SymbolTable::unicode_name(name, cp)) return cm_.find_ucs(cp);
    return cm_.find_name(name);
  };
  const CharmapChar* a = lookup(first);
  const CharmapChar* z = lookup(last);
  if (dots.empty()) {
    if (a != nullptr) cm_.widths[a->bytes.key()] = width;
    return;
  }
  // Ranges run in byte order (the legacy CJK charmaps' ends are not in
  // code-point order): every character whose bytes, read as a number, lie
  // between the two ends.
  if (a == nullptr || z == nullptr) return;  // ends the charmap lacks: nothing to mark
  const std::uint32_t lo = a->bytes.value, hi = z->bytes.value;
  if (sorted_.size() != cm_.chars.size()) {
    sorted_.clear();
    for (std::size_t k = 0; k < cm_.chars.size(); ++k) sorted_.emplace_back(cm_.chars[k].bytes.value, k);
    std::sort(sorted_.begin(), sorted_.end());
  }
  for (auto it = std::lower_bound(sorted_.begin(), sorted_.end(), std::make_pair(lo, std::size_t{0}));
       it != sorted_.end() && it->first <= hi; ++it)
    cm_.widths[cm_.chars[it->second].bytes.key()] = width;
}

void CharmapParser::header_line(const std::string& key) {
  const std::string value = word();
  if (key == "code_set_name") {
    cm_.name = value;
  } else if (key == "comment_char") {
    if (value.size() != 1) fail("comment_char needs one character");
    lines_.comment_char = value[0];
  } else if (key == "escape_char") {
    if (value.size() != 1) fail("escape_char needs one character");
    lines_.escape_char = value[0];
  } else if (key == "mb_cur_min" || key == "mb_cur_max") {
    if (value.empty() || !std::isdigit(static_cast<unsigned char>(value[0]))) fail(key + " needs a number");
    (key == "mb_cur_min" ? cm_.mb_cur_min : cm_.mb_cur_max) = std::stoi(value);
  }
  // Other header keywords are accepted and ignored.
}

void CharmapParser::find_aliases() { cm_.aliases = charmap_aliases(text_, lines_.comment_char); }

Charmap CharmapParser::run() {
  enum { Header, Map, Width, Other } state = Header;
  std::string other_end;
  while (lines_.next(s_, line_no_)) {
    i_ = 0;
    skip_blanks();
    if (i_ >= s_.size()) continue;
    if (state == Header) {
      if (s_[i_] == '<') {
        const std::string key = symbol();
        header_line(key);
        continue;
      }
      const std::string w = word();
      if (w == "CHARMAP") state = Map;
      else if (w == "WIDTH") state = Width;
      else if (w == "WIDTH_DEFAULT") cm_.width_default = std::stoi(word());
      else if (w == "END") fail("END without a section");
      else if (w == "WIDTH_VARIABLE") {
        // Variable-width sections carry nothing the objects hold: skipped.
        other_end = w;
        state = Other;
      } else {
        fail("unknown keyword '" + w + "'");
      }
      continue;
    }
    if (s_[i_] != '<') {
      const std::string w = word();
      if (w == "END") {
        const std::string what = word();
        if (state == Map && what != "CHARMAP") fail("END " + what + " inside CHARMAP");
        if (state == Width && what != "WIDTH") fail("END " + what + " inside WIDTH");
        state = Header;
        continue;
      }
      if (state == Other) continue;
      if (w == "WIDTH_DEFAULT" && state != Map) {
        cm_.width_default = std::stoi(word());
        continue;
      }
      fail("unexpected '" + w + "' in " + (state == Map ? "CHARMAP" : "WIDTH"));
    }
    if (state == Map) charmap_line();
    else if (state == Width) width_line();
  }
  if (state == Map) fail("CHARMAP without END CHARMAP");
  if (state == Width) fail("WIDTH without END WIDTH");
  if (cm_.chars.empty()) throw SourceError(lines_.file(), line_no_, "charmap defines no characters");
  find_aliases();
  if (cm_.name.empty()) {
    std::string base = std::filesystem::path(cm_.file).filename().string();
    if (base.size() > 3 && base.ends_with(".gz")) base.resize(base.size() - 3);
    cm_.name = base;
  }
  return std::move(cm_);
}

}  // namespace

const CharmapChar* Charmap::find_ucs(std::uint32_t cp) const {
  const auto it = by_ucs.find(cp);
  return it == by_ucs.end() ? nullptr : &chars[it->second];
}

const CharmapChar* Charmap::find_name(const std::string& n) const {
  std::uint32_t cp;
  if (SymbolTable::unicode_name(n, cp)) return find_ucs(cp);
  const auto it = by_name.find(n);
  return it == by_name.end() ? nullptr : &chars[it->second];
}

int Charmap::width(const Bytes& b) const {
  const auto it = widths.find(b.key());
  return it == widths.end() ? width_default : it->second;
}

Bytes utf8_bytes(std::uint32_t cp) {
  Bytes b;
  if (cp < 0x80) {
    b.value = cp;
    b.len = 1;
  } else if (cp < 0x800) {
    b.value = ((0xC0 | (cp >> 6)) << 8) | (0x80 | (cp & 0x3F));
    b.len = 2;
  } else if (cp < 0x10000) {
    b.value = ((0xE0 | (cp >> 12)) << 16) | ((0x80 | ((cp >> 6) & 0x3F)) << 8) | (0x80 | (cp & 0x3F));
    b.len = 3;
  } else if (cp < 0x200000) {
    b.value = ((0xF0 | (cp >> 18)) << 24) | ((0x80 | ((cp >> 12) & 0x3F)) << 16) |
              ((0x80 | ((cp >> 6) & 0x3F)) << 8) | (0x80 | (cp & 0x3F));
    b.len = 4;
  }
  return b;
}

std::vector<std::string> charmap_aliases(const std::string& text, char comment_char) {
  // "% alias NAME" comment lines, wherever they stand.
  std::vector<std::string> out;
  std::size_t pos = 0;
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::size_t k = pos;
    while (k < end && blank(text[k])) ++k;
    if (k < end && (text[k] == comment_char || text[k] == '%' || text[k] == '#')) {
      ++k;
      while (k < end && blank(text[k])) ++k;
      if (text.compare(k, 6, "alias ") == 0 || text.compare(k, 6, "alias\t") == 0) {
        k += 6;
        while (k < end && blank(text[k])) ++k;
        std::size_t e = k;
        while (e < end && !blank(text[e])) ++e;
        if (e > k) out.push_back(text.substr(k, e - k));
      }
    }
    pos = end + 1;
  }
  return out;
}

CharmapHeader read_charmap_header(const std::string& path) {
  const std::string text = read_source_file(path);
  CharmapHeader h;
  char comment = '#';
  std::size_t pos = 0;
  // The header keywords stand before the CHARMAP line.
  while (pos < text.size()) {
    std::size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    pos = end + 1;
    std::istringstream words(line);
    std::string key, value;
    words >> key >> value;
    if (key == "CHARMAP") break;
    if (key == "<code_set_name>") h.name = value;
    if (key == "<comment_char>" && value.size() == 1) comment = value[0];
  }
  if (h.name.empty()) {
    h.name = std::filesystem::path(path).filename().string();
    if (h.name.size() > 3 && h.name.ends_with(".gz")) h.name.resize(h.name.size() - 3);
  }
  h.aliases = charmap_aliases(text, comment);
  return h;
}

Charmap parse_charmap(const std::string& file, const std::string& text) {
  return CharmapParser(file, text).run();
}

Charmap load_charmap(const std::string& name, const std::vector<std::string>& dirs) {
  std::string path;
  if (name.find('/') != std::string::npos) path = find_with_gz(name);
  for (std::size_t k = 0; path.empty() && k < dirs.size(); ++k) path = find_with_gz(dirs[k] + "/" + name);
  if (path.empty()) throw SourceError(name, 0, "charmap not found");
  return parse_charmap(path, read_source_file(path));
}

}  // namespace kw::localedef
