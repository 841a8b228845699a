// A charmap source (as in /usr/share/i18n/charmaps) read into memory: the
// code set's characters with their symbol names and bytes, its ranges, its
// aliases and its display widths.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace kw::localedef {

// The bytes of one character, 1 to 4, held as a big-endian number.
struct Bytes {
  std::uint32_t value = 0;
  std::uint8_t len = 0;

  std::uint8_t byte(int i) const { return static_cast<std::uint8_t>(value >> (8 * (len - 1 - i))); }
  std::uint64_t key() const { return (static_cast<std::uint64_t>(len) << 32) | value; }
  friend bool operator==(const Bytes&, const Bytes&) = default;
};

// Symbol names are kept as written, without the angle brackets. A name of
// the form Uxxxx or Uxxxxxxxx is a Unicode character and has its code point.
inline constexpr std::uint32_t kNoCodePoint = 0xFFFFFFFFu;

struct CharmapChar {
  std::uint32_t ucs = kNoCodePoint;  // code point of a U name, else kNoCodePoint
  std::string name;                  // symbol name (single characters only)
  Bytes bytes;
};

// One range line of the source ("<U3400>..<U343F> /xe3/x90/x80 ..."):
// names `prefix` + number, numbered from `first_number` on, `count` names.
struct CharmapRange {
  std::string prefix;
  std::uint32_t first_number = 0;
  std::uint32_t count = 0;
  bool hex = true;      // the number part is hexadecimal (".."), else decimal ("...")
  int digits = 0;       // digits of the number part as written
  Bytes first;          // bytes of the first character
  std::size_t first_char = 0;  // index of its first character in Charmap::chars
};

struct Charmap {
  std::string file;
  std::string name;               // <code_set_name>, else the file's base name
  std::vector<std::string> aliases;
  int mb_cur_min = 1, mb_cur_max = 1;  // as declared
  int shortest = 4, longest = 0;       // as found
  std::vector<CharmapChar> chars;      // every character, in file order, ranges expanded
  std::vector<CharmapRange> ranges;    // range lines, in file order
  std::vector<bool> in_range;          // per character: produced by a range line

  std::unordered_map<std::uint32_t, std::size_t> by_ucs;   // code point -> chars index
  std::unordered_map<std::string, std::size_t> by_name;    // non-U names -> chars index
  std::unordered_map<std::uint64_t, std::size_t> by_bytes; // Bytes::key -> chars index

  int width_default = 1;
  std::unordered_map<std::uint64_t, int> widths;  // Bytes::key -> width, explicit ones

  const CharmapChar* find_ucs(std::uint32_t cp) const;
  const CharmapChar* find_name(const std::string& name) const;
  int width(const Bytes& b) const;
};

// Reads a charmap from text (`file` names it in messages). Throws SourceError.
Charmap parse_charmap(const std::string& file, const std::string& text);

// Finds a charmap by path or by name in `dirs` (plain or .gz) and reads it.
Charmap load_charmap(const std::string& name_or_path, const std::vector<std::string>& dirs);

// A charmap's names only: <code_set_name> (else the file's base name) and
// its "% alias" lines, read without the character lines being parsed.
struct CharmapHeader {
  std::string name;
  std::vector<std::string> aliases;
};
CharmapHeader read_charmap_header(const std::string& path);

// The names of the "% alias NAME" comment lines of a charmap text.
std::vector<std::string> charmap_aliases(const std::string& text, char comment_char);

// UTF-8 bytes of a code point (up to 0x7FFFFFFF, as the charmap's 6-byte
// form allows; only up to 4 bytes fit Bytes, longer ones give len 0).
Bytes utf8_bytes(std::uint32_t cp);

}  // namespace kw::localedef
