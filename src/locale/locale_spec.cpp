// Locale specification grammar and the names made from specifications.
#include "locale/locale_spec.h"

#include <cstring>

#include "frame/hooks.h"
#include "frame/platform.h"
#include "locale/registry.h"
#include "locale/locale_spec_chars.h"

namespace kw::locale {
namespace {

constexpr std::string_view kCategoryVariables[] = {"KW_CTYPE", "KW_COLLATE", "KW_NUMERIC",
                                                   "KW_MONETARY", "KW_TIME", "KW_MESSAGES"};
constexpr int kFirstCategory = 2;
constexpr int kLastCategory = 7;
constexpr std::string_view kAssign = " = ";
constexpr std::string_view kJoin = " ; ";
constexpr std::string_view kLocaleSuffix = ".lco";
constexpr char kHexDigits[] = "0123456789abcdef";
// Longest code-set piece joined into a short specification ("65535").
constexpr std::size_t kMaxCodesetPiece = kCsNumTextSize - 1;

// Writes into a caller's buffer without ever passing its end. A result that
// does not fit (terminator included) is Err::TooBig; in truncating mode the
// text is cut to fit instead.
class Writer {
 public:
  explicit Writer(std::span<char> out, bool truncate = false) noexcept : out_(out), truncate_(truncate) {}

  void put(char c) noexcept {
    if (n_ + 1 < out_.size()) {
      out_[n_++] = c;
    } else {
      overflow_ = true;
    }
  }
  void put(std::string_view s) noexcept {
    for (char c : s) put(c);
  }
  void put_hex4(std::uint16_t v) noexcept {
    for (int shift = 12; shift >= 0; shift -= 4) put(kHexDigits[(v >> shift) & 0xF]);
  }
  void put_decimal(std::uint32_t v) noexcept {
    char digits[10];
    int n = 0;
    do {
      digits[n++] = static_cast<char>('0' + v % 10);
      v /= 10;
    } while (v != 0);
    while (n > 0) put(digits[--n]);
  }
  // The directory part: the directory text and the marker byte. An absent or
  // empty directory gives nothing, so the name stays relative.
  void put_directory(const char* directory) noexcept {
    if (directory == nullptr || directory[0] == '\0') return;
    put(std::string_view(directory));
    put(kDirMarker);
  }

  // Terminates the text; the length written, or TooBig.
  Result<std::size_t> finish() noexcept {
    if (out_.empty()) return Err::TooBig;
    if (overflow_ && !truncate_) {
      out_[0] = '\0';
      return Err::TooBig;
    }
    out_[n_] = '\0';
    return n_;
  }

 private:
  std::span<char> out_;
  bool truncate_;
  std::size_t n_ = 0;
  bool overflow_ = false;
};

bool starts_with(std::string_view text, std::size_t pos, std::string_view what) noexcept {
  return text.size() >= pos && text.substr(pos).starts_with(what);
}

// The file name of one simple specification whose number is known:
// ll_tt<separator>hhhh<modifier>.lco.
void put_lc_fname(Writer& w, const SimpleSpec& s) noexcept {
  w.put(to_lower(s.language[0]));
  w.put(to_lower(s.language[1]));
  w.put('_');
  w.put(to_lower(s.territory[0]));
  w.put(to_lower(s.territory[1]));
  w.put(platform::kSeparator);
  w.put_hex4(s.number);
  w.put(s.modifier);
  w.put(kLocaleSuffix);
}

// ll_TT: the language in lower case, the territory in upper case.
void put_language(Writer& w, const char language[2], const char territory[2]) noexcept {
  w.put(to_lower(language[0]));
  w.put(to_lower(language[1]));
  w.put('_');
  w.put(to_upper(territory[0]));
  w.put(to_upper(territory[1]));
}

void put_modifier(Writer& w, const SimpleSpec& s) noexcept {
  if (s.modifier.empty()) return;
  w.put('@');
  w.put(s.modifier);
}

void put_short(Writer& w, const SimpleSpec& s) noexcept {
  put_language(w, s.language, s.territory);
  w.put('.');
  w.put_decimal(s.number);
  put_modifier(w, s);
}

// The head "ll_TT." and the code-set name: 1 to 21 name characters, not
// starting with '#', ended by '@', a character outside the class, or the end.
// `text` runs to the end of the name.
Result<SimpleSpec> parse_head_and_codeset(std::string_view t) noexcept {
  if (!has_simple_head(t)) return Err::Short;
  SimpleSpec s{};
  s.language[0] = t[0];
  s.language[1] = t[1];
  s.territory[0] = t[3];
  s.territory[1] = t[4];
  std::size_t pos = 6;
  if (pos >= t.size() || t[pos] == '#' || !is_name_char(t[pos])) return Err::Short;
  const std::size_t name_start = pos;
  while (pos < t.size() && is_name_char(t[pos]) && t[pos] != '@') ++pos;
  if (pos - name_start > kMaxCodesetName) return Err::Short;
  s.codeset = t.substr(name_start, pos - name_start);
  s.text = t.substr(0, pos);
  return s;
}

// The optional "@" and modifier of up to 4 letters or digits after the
// code-set name; extends `s.text` over them.
Err parse_modifier(std::string_view t, SimpleSpec& s) noexcept {
  std::size_t pos = s.text.size();
  if (pos < t.size() && t[pos] == '@') {
    s.has_modifier = true;
    const std::size_t mod_start = ++pos;
    while (pos < t.size() && is_alnum(t[pos])) {
      if (pos - mod_start == kMaxModifier) return Err::Short;
      ++pos;
    }
    s.modifier = t.substr(mod_start, pos - mod_start);
  }
  s.text = t.substr(0, pos);
  return Err::None;
}

// Parses the simple specification at the start of `t` and looks its code set
// up as soon as the name is read, so that a failed lookup is reported before
// any later fault of the text. The unknown number names no code set.
Result<SimpleSpec> parse_and_look_up(std::string_view t, const char* registry) noexcept {
  Result<SimpleSpec> s = parse_head_and_codeset(t);
  if (!s.ok()) return s;
  Result<std::uint16_t> number = cs_name2cs_num(s->codeset, registry);
  if (!number.ok()) return number.error();
  if (*number == kUnknownCodeset) return Err::Short;
  s->number = *number;
  const Err e = parse_modifier(t, *s);
  if (e != Err::None) return e;
  return s;
}

// Parses a simple specification that must make up the whole text, and looks
// its code set up.
Result<SimpleSpec> whole_simple(std::string_view text, const char* registry) noexcept {
  Result<SimpleSpec> s = parse_and_look_up(text, registry);
  if (!s.ok()) return s;
  if (s->text.size() != text.size()) return Err::Short;
  return s;
}

}  // namespace

bool is_composite(std::string_view text) noexcept {
  std::size_t length = 0;
  return category_prefix(text, length) != 0;
}

bool has_simple_head(std::string_view t) noexcept {
  return t.size() >= 6 && is_alpha(t[0]) && is_alpha(t[1]) && t[2] == '_' && is_alpha(t[3]) &&
         is_alpha(t[4]) && t[5] == '.';
}

Result<SimpleSpec> parse_simple(std::string_view t) noexcept {
  Result<SimpleSpec> s = parse_head_and_codeset(t);
  if (!s.ok()) return s;
  const Err e = parse_modifier(t, *s);
  if (e != Err::None) return e;
  return s;
}

int category_prefix(std::string_view text, std::size_t& length) noexcept {
  for (int i = 0; i < kLastCategory - kFirstCategory + 1; ++i) {
    if (text.starts_with(kCategoryVariables[i])) {
      length = kCategoryVariables[i].size();
      return kFirstCategory + i;
    }
  }
  length = 0;
  return 0;
}

std::string_view category_variable(int category) noexcept {
  if (category < kFirstCategory || category > kLastCategory) return {};
  return kCategoryVariables[category - kFirstCategory];
}

Result<Composite> walk_composite(std::string_view t, Walk walk, bool lookup,
                                 const char* registry) noexcept {
  Composite c{};
  unsigned seen = 0;
  std::size_t pos = 0;
  for (;;) {
    std::size_t name_length = 0;
    const int category = category_prefix(t.substr(pos), name_length);
    if (category == 0) return Err::Short;
    const unsigned bit = 1u << category;
    if ((seen & bit) != 0) return Err::Short;
    seen |= bit;
    pos += name_length;
    if (!starts_with(t, pos, kAssign)) return Err::Short;
    pos += kAssign.size();
    Result<SimpleSpec> s = lookup ? parse_and_look_up(t.substr(pos), registry) : parse_simple(t.substr(pos));
    if (!s.ok()) return s.error();
    if (lookup && c.count > 0 && s->number != c.entries[0].number) return Err::Short;
    // At most six entries: each category may appear once.
    c.entries[c.count] = *s;
    c.categories[c.count] = category;
    ++c.count;
    pos += s->text.size();
    if (pos == t.size() && walk == Walk::FileName) return c;
    if (!starts_with(t, pos, kJoin)) return Err::Short;
    pos += kJoin.size();
    if (pos == t.size()) {
      c.trailing_separator = true;
      return c;
    }
  }
}

Result<std::uint16_t> spec2cs_num(std::string_view text, const char* registry) noexcept {
  if (is_composite(text)) {
    Result<Composite> c = walk_composite(text, Walk::CodesetNumber, true, registry);
    if (!c.ok()) return c.error();
    return c->entries[0].number;
  }
  if (has_simple_head(text)) {
    Result<SimpleSpec> s = whole_simple(text, registry);
    if (!s.ok()) return s.error();
    return s->number;
  }
  Result<std::uint16_t> number = cs_name2cs_num(text, registry);
  if (number.ok() && *number == kUnknownCodeset) return Err::Short;
  return number;
}

Result<std::size_t> spec2lc_fname(std::string_view text, std::span<char> out, const char* registry,
                                  const char* directory) noexcept {
  Writer w(out);
  if (!is_composite(text)) {
    Result<SimpleSpec> s = whole_simple(text, registry);
    if (!s.ok()) return s.error();
    put_lc_fname(w, *s);
    return w.finish();
  }
  Result<Composite> c = walk_composite(text, Walk::FileName, true, registry);
  if (!c.ok()) return c.error();
  for (int i = 0; i < c->count; ++i) {
    if (i > 0) w.put(kJoin);
    w.put(category_variable(c->categories[i]));
    w.put(kAssign);
    w.put_directory(directory);
    put_lc_fname(w, c->entries[i]);
  }
  if (c->trailing_separator) w.put(kJoin);
  return w.finish();
}

Err spec2msg_dname(std::string_view text, std::span<char> out, const char* registry,
                   const char* directory) noexcept {
  // At most 10 characters of the name are kept, so it is written in
  // truncating mode straight into the caller's 11 bytes.
  Writer w(out.first(out.size() < kDnameSize ? out.size() : kDnameSize), true);
  if (!is_composite(text)) {
    Result<SimpleSpec> s = whole_simple(text, registry);
    if (!s.ok()) return s.error();
    put_lc_fname(w, *s);
    return w.finish().error();
  }
  Result<Composite> c = walk_composite(text, Walk::FileName, true, registry);
  if (!c.ok()) return c.error();
  for (int i = 0; i < c->count; ++i) {
    if (c->categories[i] != KW_MESSAGES) continue;
    w.put_directory(directory);
    put_lc_fname(w, c->entries[i]);
    return w.finish().error();
  }
  return Err::Short;
}

Result<std::size_t> cs_nums2cv_fname(std::uint16_t first, std::uint16_t second, std::span<char> out,
                                     const char* directory) noexcept {
  Writer w(out);
  w.put_directory(directory);
  w.put_hex4(first);
  w.put_hex4(second);
  w.put(".cvo");
  return w.finish();
}

Err fname2lc_pieces(std::string_view f, FnamePieces& pieces, bool& separator_ok) noexcept {
  separator_ok = true;
  if (f.size() < 5 || !is_alpha(f[0]) || !is_alpha(f[1]) || f[2] != '_' || !is_alpha(f[3]) ||
      !is_alpha(f[4])) {
    return Err::Short;
  }
  if (f.size() < 6 || (f[5] != '\\' && f[5] != '/')) {
    separator_ok = false;
    return Err::None;
  }
  if (f.size() < 7 || !is_xdigit(f[6])) return Err::Short;
  std::size_t pos = 6;
  std::uint32_t number = 0;
  while (pos < f.size() && pos < 10 && is_xdigit(f[pos])) {
    number = number * 16 + static_cast<std::uint32_t>(xdigit_value(f[pos]));
    ++pos;
  }
  Writer lang(pieces.language);
  put_language(lang, &f[0], &f[3]);
  (void)lang.finish();
  Writer cs(pieces.codeset);
  cs.put_decimal(number);
  (void)cs.finish();
  std::size_t n = 0;
  while (pos < f.size() && f[pos] != '.' && n < kMaxModifier) pieces.modifier[n++] = f[pos++];
  pieces.modifier[n] = '\0';
  return Err::None;
}

Result<std::size_t> pieces2lc_spec(std::string_view language, std::string_view codeset,
                                   std::string_view modifier, std::span<char> out) noexcept {
  if (language.size() < 5 || !is_alpha(language[0]) || !is_alpha(language[1]) || language[2] != '_' ||
      !is_alpha(language[3]) || !is_alpha(language[4])) {
    return Err::Short;
  }
  // The code-set piece is read for at most five characters, each of which
  // must be a hexadecimal digit; anything after the fifth is not looked at.
  if (codeset.empty()) return Err::Short;
  codeset = codeset.substr(0, kMaxCodesetPiece);
  for (char c : codeset) {
    if (!is_xdigit(c)) return Err::Short;
  }
  Writer w(out);
  w.put(language.substr(0, 5));
  w.put('.');
  w.put(codeset);
  if (!modifier.empty()) {
    w.put('@');
    w.put(modifier.substr(0, kMaxModifier));
  }
  return w.finish();
}

Result<std::size_t> spec2lc_short(std::string_view text, std::span<char> out,
                                  const char* registry) noexcept {
  Result<SimpleSpec> s = whole_simple(text, registry);
  if (!s.ok()) return s.error();
  Writer w(out);
  put_short(w, *s);
  return w.finish();
}

Result<std::size_t> spec2lc_short_norm(std::string_view text, std::span<char> out,
                                       const char* registry) noexcept {
  if (is_composite(text)) {
    // A composite text has no short form; its entries are still read so that
    // a failed code-set lookup is what gets reported.
    Result<Composite> c = walk_composite(text, Walk::FileName, true, registry);
    return c.ok() ? Err::Short : c.error();
  }
  char fname[kFnameSize];
  Result<std::size_t> made = spec2lc_fname(text, fname, registry, nullptr);
  if (!made.ok()) return made.error();
  FnamePieces pieces{};
  bool separator_ok = true;
  const Err e = fname2lc_pieces(std::string_view(fname, *made), pieces, separator_ok);
  if (e != Err::None) return e;
  if (!separator_ok) return Err::Short;
  return pieces2lc_spec(pieces.language, pieces.codeset, pieces.modifier, out);
}

Result<std::size_t> spec2lc_norm(std::string_view text, std::span<char> out,
                                 const char* registry) noexcept {
  if (!is_composite(text)) return spec2lc_short(text, out, registry);
  Result<Composite> c = walk_composite(text, Walk::FileName, true, registry);
  if (!c.ok()) return c.error();
  Writer w(out);
  bool first = true;
  for (int category = kFirstCategory; category <= kLastCategory; ++category) {
    for (int i = 0; i < c->count; ++i) {
      if (c->categories[i] != category) continue;
      if (!first) w.put(kJoin);
      first = false;
      w.put(category_variable(category));
      w.put(kAssign);
      put_short(w, c->entries[i]);
    }
  }
  return w.finish();
}

Result<std::size_t> spec2lc_long(std::string_view text, std::span<char> out,
                                 const char* registry) noexcept {
  Result<SimpleSpec> s = whole_simple(text, registry);
  if (!s.ok()) return s.error();
  char name[kMaxCodesetName + 1];
  Result<bool> named = cs_num2cs_name(s->number, registry, name);
  if (!named.ok()) return named.error();
  Writer w(out);
  put_language(w, s->language, s->territory);
  w.put('.');
  if (*named) {
    w.put(std::string_view(name));
  } else {
    w.put_decimal(s->number);
  }
  put_modifier(w, *s);
  return w.finish();
}

Result<std::size_t> fname2lc_spec(std::string_view f, std::span<char> out) noexcept {
  const std::size_t marker = f.rfind(kDirMarker);
  if (marker != std::string_view::npos) f = f.substr(marker + 1);
  // ll_tt/hhhh[@]mod.lco with 0 to 4 modifier letters or digits.
  if (f.size() < 14 || !is_alpha(f[0]) || !is_alpha(f[1]) || f[2] != '_' || !is_alpha(f[3]) ||
      !is_alpha(f[4]) || (f[5] != '/' && f[5] != '\\') || !f.ends_with(kLocaleSuffix)) {
    return Err::Format;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 6; i < 10; ++i) {
    if (!is_xdigit(f[i])) return Err::Format;
    number = number * 16 + static_cast<std::uint32_t>(xdigit_value(f[i]));
  }
  std::string_view modifier = f.substr(10, f.size() - 10 - kLocaleSuffix.size());
  if (modifier.starts_with('@')) modifier.remove_prefix(1);
  if (modifier.size() > kMaxModifier) return Err::Format;
  for (char c : modifier) {
    if (!is_alnum(c)) return Err::Format;
  }
  Writer w(out);
  put_language(w, &f[0], &f[3]);
  w.put('.');
  w.put_decimal(number);
  if (!modifier.empty()) {
    w.put('@');
    w.put(modifier);
  }
  return w.finish();
}

bool is_lc_spec(std::string_view text) noexcept {
  if (is_composite(text)) {
    return walk_composite(text, Walk::FileName, false, nullptr).ok();
  }
  Result<SimpleSpec> s = parse_simple(text);
  return s.ok() && s->text.size() == text.size();
}

Result<std::string_view> spec2category(std::string_view text, int category) noexcept {
  if (category < KW_ALL || category > kLastCategory) return Err::Inval;
  if (!is_composite(text)) {
    Result<SimpleSpec> s = parse_simple(text);
    if (!s.ok() || s->text.size() != text.size()) return Err::Short;
    return text;
  }
  Result<Composite> c = walk_composite(text, Walk::FileName, false, nullptr);
  if (!c.ok()) return c.error();
  for (int i = 0; i < c->count; ++i) {
    if (c->categories[i] == category) return c->entries[i].text;
  }
  return Err::Short;
}

std::uint16_t lc_spec2cs_num(void* handle, const char* spec, int length, const char* registry) noexcept {
  if (spec == nullptr) {
    frame::store_error(handle, Err::BadPtr);
    return kUnknownCodeset;
  }
  if (length < -1) {
    frame::store_error(handle, Err::Inval);
    return kUnknownCodeset;
  }
  std::size_t n = 0;
  if (length == -1) {
    n = std::strlen(spec);
  } else {
    const void* end = std::memchr(spec, '\0', static_cast<std::size_t>(length));
    n = end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - spec)
                       : static_cast<std::size_t>(length);
  }
  Result<std::uint16_t> number = spec2cs_num(std::string_view(spec, n), registry);
  if (!number.ok()) {
    frame::store_error(handle, number.error());
    return kUnknownCodeset;
  }
  return *number;
}

}  // namespace kw::locale
