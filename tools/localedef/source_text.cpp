// Reading locale-definition and charmap source text.
#include "source_text.h"

#include <zlib.h>

#include <cstdio>
#include <filesystem>

namespace kw::localedef {

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

std::string read_gzip(const std::string& path) {
  gzFile f = gzopen(path.c_str(), "rb");
  if (f == nullptr) throw SourceError(path, 0, "cannot open");
  std::string out;
  char buf[65536];
  for (;;) {
    const int n = gzread(f, buf, sizeof buf);
    if (n < 0) {
      gzclose(f);
      throw SourceError(path, 0, "corrupt compressed data");
    }
    if (n == 0) break;
    out.append(buf, static_cast<std::size_t>(n));
  }
  gzclose(f);
  return out;
}

// The token kind of a one-character punctuation token, End for any other.
Tok punctuation(char c) {
  switch (c) {
    case ';': return Tok::Semi;
    case ',': return Tok::Comma;
    case '(': return Tok::LParen;
    case ')': return Tok::RParen;
    default: return Tok::End;
  }
}

}  // namespace

std::string read_source_file(const std::string& path) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) throw SourceError(path, 0, "cannot open");
  std::string out;
  char buf[65536];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
  const bool failed = std::ferror(f) != 0;
  std::fclose(f);
  if (failed) throw SourceError(path, 0, "read error");
  // gzread passes plain files through as well, but the magic check keeps
  // plain files on the faster path.
  if (out.size() >= 2 && static_cast<unsigned char>(out[0]) == 0x1F &&
      static_cast<unsigned char>(out[1]) == 0x8B)
    return read_gzip(path);
  return out;
}

std::string find_with_gz(const std::string& name) {
  std::error_code ec;
  if (std::filesystem::is_regular_file(name, ec)) return name;
  if (std::filesystem::is_regular_file(name + ".gz", ec)) return name + ".gz";
  return {};
}

LineReader::LineReader(std::string file, std::string text, bool strings_quote)
    : file_(std::move(file)), text_(std::move(text)), strings_quote_(strings_quote) {}

bool LineReader::physical(std::string_view& out) {
  if (pos_ >= text_.size()) return false;
  std::size_t end = text_.find('\n', pos_);
  if (end == std::string::npos) end = text_.size();
  out = std::string_view(text_).substr(pos_, end - pos_);
  pos_ = end + 1;
  ++next_no_;
  return true;
}

bool LineReader::next(std::string& out, int& line_no) {
  out.clear();
  bool any = false;
  bool in_string = false;  // a string left open by the previous physical line
  std::string_view raw;
  while (physical(raw)) {
    // Drop trailing blanks; a line of only blanks ends a continuation.
    while (!raw.empty() && is_blank(raw.back())) raw.remove_suffix(1);
    std::size_t first = 0;
    while (first < raw.size() && is_blank(raw[first])) ++first;
    // A comment line, unless it continues an open string ("%M" inside a
    // format string split over two lines).
    if (!in_string && first < raw.size() && raw[first] == comment_char) continue;
    if (!any) {
      line_no_ = next_no_;
      any = true;
    }
    // Cut a trailing comment: the comment character outside strings, not
    // escaped.
    std::size_t cut = raw.size();
    for (std::size_t i = 0; i < raw.size(); ++i) {
      const char c = raw[i];
      if (c == escape_char) {
        ++i;
        continue;
      }
      if (strings_quote_ && c == '"') in_string = !in_string;
      else if (!in_string && c == comment_char) {
        cut = i;
        break;
      }
    }
    // The continuation mark: the escape character as the last non-blank
    // character, either of the code part or of the line with its comment.
    bool more = false;
    std::string_view code = raw.substr(0, cut);
    while (!code.empty() && is_blank(code.back()) && !in_string) code.remove_suffix(1);
    auto ends_with_escape = [&](std::string_view s) {
      // An even run of escape characters is escaped escapes, not a mark.
      std::size_t run = 0;
      while (run < s.size() && s[s.size() - 1 - run] == escape_char) ++run;
      return run % 2 == 1;
    };
    if (ends_with_escape(code)) {
      code.remove_suffix(1);
      more = true;
    } else if (cut < raw.size() && ends_with_escape(raw)) {
      more = true;
    }
    out.append(code);
    if (!more) break;
    // Lines joined inside a string join directly; elsewhere a blank keeps
    // the tokens apart.
    if (!in_string) out.push_back(' ');
  }
  line_no = line_no_;
  return any;
}

std::uint32_t SymbolTable::code(const std::string& name) {
  std::uint32_t cp;
  if (unicode_name(name, cp)) return cp;
  for (std::size_t i = 0; i < names_.size(); ++i)
    if (names_[i] == name) return kNamedBase + static_cast<std::uint32_t>(i);
  names_.push_back(name);
  return kNamedBase + static_cast<std::uint32_t>(names_.size() - 1);
}

bool SymbolTable::find(const std::string& name, std::uint32_t& code) const {
  if (unicode_name(name, code)) return true;
  for (std::size_t i = 0; i < names_.size(); ++i)
    if (names_[i] == name) {
      code = kNamedBase + static_cast<std::uint32_t>(i);
      return true;
    }
  return false;
}

bool SymbolTable::unicode_name(std::string_view name, std::uint32_t& cp) {
  if (name.size() != 5 && name.size() != 9) return false;
  if (name[0] != 'U') return false;
  std::uint32_t v = 0;
  for (std::size_t i = 1; i < name.size(); ++i) {
    const char c = name[i];
    int d;
    if (c >= '0' && c <= '9') d = c - '0';
    else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
    else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
    else return false;
    v = v * 16 + static_cast<std::uint32_t>(d);
  }
  if (v > 0x7FFFFFFF) return false;
  cp = v;
  return true;
}

std::uint32_t decode_utf8(std::string_view s, std::size_t& i) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  int n = 0;
  std::uint32_t v = 0;
  if (b0 < 0x80) {
    ++i;
    return b0;
  }
  if ((b0 & 0xE0) == 0xC0) n = 1, v = b0 & 0x1F;
  else if ((b0 & 0xF0) == 0xE0) n = 2, v = b0 & 0x0F;
  else if ((b0 & 0xF8) == 0xF0) n = 3, v = b0 & 0x07;
  else {
    ++i;
    return b0;
  }
  if (i + static_cast<std::size_t>(n) >= s.size()) {
    ++i;
    return b0;
  }
  for (int k = 1; k <= n; ++k) {
    const auto b = static_cast<unsigned char>(s[i + static_cast<std::size_t>(k)]);
    if ((b & 0xC0) != 0x80) {
      ++i;
      return b0;
    }
    v = (v << 6) | (b & 0x3F);
  }
  i += static_cast<std::size_t>(n) + 1;
  return v;
}

std::vector<Token> tokenize(const std::string& line, char esc, SymbolTable& symbols,
                            const std::string& file, int line_no) {
  std::vector<Token> out;
  const std::size_t n = line.size();
  std::size_t i = 0;
  // Reads a symbol name starting after '<'; leaves i after '>'.
  auto symbol = [&]() {
    std::string name;
    for (;;) {
      if (i >= n) throw SourceError(file, line_no, "unterminated symbol name <" + name);
      char c = line[i++];
      if (c == esc && i < n) {
        name.push_back(line[i++]);
        continue;
      }
      if (c == '>') break;
      name.push_back(c);
    }
    if (name.empty()) throw SourceError(file, line_no, "empty symbol name <>");
    return name;
  };
  while (i < n) {
    const char c = line[i];
    if (is_blank(c)) {
      ++i;
      continue;
    }
    Token t;
    if (c == '"') {
      t.kind = Tok::String;
      ++i;
      for (;;) {
        if (i >= n) throw SourceError(file, line_no, "unterminated string");
        const char d = line[i];
        if (d == '"') {
          ++i;
          break;
        }
        if (d == esc) {
          if (i + 1 >= n) throw SourceError(file, line_no, "unterminated string");
          std::size_t j = i + 1;
          t.chars.push_back(decode_utf8(line, j));
          i = j;
        } else if (d == '<') {
          ++i;
          t.chars.push_back(symbols.code(symbol()));
        } else {
          t.chars.push_back(decode_utf8(line, i));
        }
      }
    } else if (c == '<') {
      ++i;
      t.kind = Tok::Char;
      t.text = symbol();
      t.chars.push_back(symbols.code(t.text));
    } else if (punctuation(c) != Tok::End) {
      t.kind = punctuation(c);
      ++i;
    } else if (c == '.' && i + 1 < n && line[i + 1] == '.') {
      t.kind = Tok::Ellipsis;
      while (i < n && line[i] == '.') t.text.push_back(line[i++]);
    } else if (static_cast<unsigned char>(c) >= 0x80) {
      t.kind = Tok::Char;
      t.chars.push_back(decode_utf8(line, i));
    } else {
      t.kind = Tok::Word;
      while (i < n) {
        const char d = line[i];
        if (is_blank(d) || d == ';' || d == ',' || d == '(' || d == ')' || d == '"' || d == '<') break;
        if (d == '.' && i + 1 < n && line[i + 1] == '.') break;
        t.text.push_back(d);
        ++i;
      }
    }
    out.push_back(std::move(t));
  }
  return out;
}

}  // namespace kw::localedef
