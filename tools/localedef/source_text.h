// Reading locale-definition and charmap source text: files (plain or gzip),
// logical lines with comments and continuations, and the tokens on a line.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kw::localedef {

// A fault in a source file: "file:line: message", or "file: message" for
// one that belongs to no line (line 0). Nothing is written for a locale
// whose sources raise one.
class SourceError : public std::runtime_error {
 public:
  SourceError(const std::string& file, int line, const std::string& message)
      : std::runtime_error(format(file, line, message)), file_(file), line_(line) {}
  const std::string& file() const { return file_; }
  int line() const { return line_; }

 private:
  static std::string format(const std::string& file, int line, const std::string& message) {
    std::string out = file;
    if (line > 0) out.append(":").append(std::to_string(line));
    out.append(": ").append(message);
    return out;
  }

  std::string file_;
  int line_;
};

// Reads a whole file; files ending in ".gz" (or starting with the gzip magic)
// are decompressed. Throws SourceError (line 0) when it cannot be read.
std::string read_source_file(const std::string& path);

// Finds `name` as given, then with ".gz" appended. Empty when neither exists.
std::string find_with_gz(const std::string& name);

// Splits text into logical lines. A line whose last non-blank character is
// the escape character continues on the next one; a comment (the comment
// character outside a string) is cut off first, so "x; % note /" still
// continues. Lines holding only a comment are dropped without ending a
// continuation. `comment_char` and `escape_char` may be changed between calls
// (the sources declare them in their first lines).
class LineReader {
 public:
  LineReader(std::string file, std::string text, bool strings_quote);

  // The next logical line (comment and continuation marks removed), or false
  // at the end of the text. `line_no` is the number of its first physical line.
  bool next(std::string& out, int& line_no);

  const std::string& file() const { return file_; }
  int line() const { return line_no_; }

  char comment_char = '#';
  char escape_char = '\\';

 private:
  bool physical(std::string_view& out);

  std::string file_;
  std::string text_;
  std::size_t pos_ = 0;
  int next_no_ = 0;   // physical lines consumed
  int line_no_ = 0;   // first physical line of the last logical line
  bool strings_quote_;
};

// Tokens of a logical line in a locale source.
enum class Tok : std::uint8_t {
  Word,      // a bare word: keyword, IGNORE, number-like text such as "-1"
  String,    // "..." with symbols decoded: chars holds the characters
  Char,      // one character: <symbol> or a raw UTF-8 character
  Semi,      // ;
  Comma,     // ,
  LParen,    // (
  RParen,    // )
  Ellipsis,  // .. or ... (text holds which)
  End,
};

struct Token {
  Tok kind = Tok::End;
  std::string text;                 // Word text, Ellipsis dots, symbol name of Char
  std::vector<std::uint32_t> chars; // String characters, or the one Char
};

// Resolves a symbol name (without the angle brackets) to a character code.
// <Uxxxx> and <Uxxxxxxxx> are Unicode; other names get codes from
// kNamedBase up, recorded in `names` so the compiler can look them up in
// the charmap later.
inline constexpr std::uint32_t kNamedBase = 0x80000000u;

class SymbolTable {
 public:
  std::uint32_t code(const std::string& name);
  const std::string& name(std::uint32_t code) const { return names_[code - kNamedBase]; }
  // The code of `name` without adding it; false when it was never seen.
  bool find(const std::string& name, std::uint32_t& code) const;
  static bool unicode_name(std::string_view name, std::uint32_t& cp);

 private:
  std::vector<std::string> names_;
};

// Splits a logical line into tokens. Raw bytes of 0x80 and above outside
// strings and symbols are read as UTF-8. Throws SourceError on an
// unterminated string or symbol.
std::vector<Token> tokenize(const std::string& line, char escape_char, SymbolTable& symbols,
                            const std::string& file, int line_no);

// Decodes one UTF-8 character at s[i], advancing i; invalid bytes are taken
// one at a time as their own values.
std::uint32_t decode_utf8(std::string_view s, std::size_t& i);

}  // namespace kw::localedef
