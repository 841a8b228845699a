// A minimal reader of POSIX charmap sources.
#include "charmap_source.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <sstream>

#include "codeset/charmap.h"

namespace kw::writers {
namespace {

std::string trim(const std::string& s) {
  std::size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return s.substr(b, e - b);
}

// Reads "<name>" at `p`; the escape character quotes the next character.
bool read_symbol(const std::string& line, std::size_t& p, char escape, std::string& name) {
  if (p >= line.size() || line[p] != '<') return false;
  name.clear();
  for (++p; p < line.size(); ++p) {
    if (line[p] == escape && p + 1 < line.size()) {
      name += line[++p];
    } else if (line[p] == '>') {
      ++p;
      return true;
    } else {
      name += line[p];
    }
  }
  return false;
}

// The value of digit `c` in `base`, or -1.
int digit_value(char c, int base) {
  int d = -1;
  if (c >= '0' && c <= '9') d = c - '0';
  else if (c >= 'a' && c <= 'f') d = c - 'a' + 10;
  else if (c >= 'A' && c <= 'F') d = c - 'A' + 10;
  return d < base ? d : -1;
}

// Reads escaped bytes: /xHH, /dDDD or /oOOO (at most 2 or 3 digits of the
// base each); a value above 255 is malformed.
bool read_bytes(const std::string& line, std::size_t& p, char escape, std::vector<std::uint8_t>& bytes) {
  bytes.clear();
  while (p + 1 < line.size() && line[p] == escape) {
    const char kind = line[p + 1];
    int base = kind == 'x' ? 16 : kind == 'd' ? 10 : kind == 'o' ? 8 : 0;
    if (base == 0) return false;
    p += 2;
    const std::size_t start = p;
    const std::size_t max_digits = base == 16 ? 2 : 3;
    unsigned value = 0;
    while (p < line.size() && p - start < max_digits && digit_value(line[p], base) >= 0) {
      value = value * static_cast<unsigned>(base) + static_cast<unsigned>(digit_value(line[p], base));
      ++p;
    }
    if (p == start || value > 255) return false;
    bytes.push_back(static_cast<std::uint8_t>(value));
  }
  return !bytes.empty();
}

// Splits "U3400" into prefix "U" and digits "3400" (the trailing digits of
// the given base).
bool split_number(const std::string& name, bool hex, std::string& prefix, std::string& digits) {
  std::size_t k = name.size();
  while (k > 0 && (hex ? std::isxdigit(static_cast<unsigned char>(name[k - 1])) && !std::islower(static_cast<unsigned char>(name[k - 1]))
                       : std::isdigit(static_cast<unsigned char>(name[k - 1]))))
    --k;
  // Keep at least one character of prefix (a leading "U" must not be read as a digit).
  if (k == 0) k = 1;
  if (k >= name.size()) return false;
  prefix = name.substr(0, k);
  digits = name.substr(k);
  return true;
}

}  // namespace

bool read_charmap_source(const std::string& text, CmoSource& out, std::string& error) {
  std::istringstream in(text);
  std::string raw;
  char comment = '#';
  char escape = '\\';
  bool in_map = false;
  int lineno = 0;
  while (std::getline(in, raw)) {
    ++lineno;
    const std::string line = trim(raw);
    if (line.empty() || line[0] == comment) continue;
    if (!in_map) {
      if (line.rfind("<comment_char>", 0) == 0) comment = trim(line.substr(14)).c_str()[0];
      else if (line.rfind("<escape_char>", 0) == 0) escape = trim(line.substr(13)).c_str()[0];
      else if (line.rfind("<code_set_name>", 0) == 0) out.codeset = trim(line.substr(15));
      else if (line == "CHARMAP") in_map = true;
      continue;
    }
    if (line.rfind("END CHARMAP", 0) == 0) return true;
    std::size_t p = 0;
    std::string first, last;
    if (!read_symbol(line, p, escape, first)) return error = "line " + std::to_string(lineno), false;
    int dots = 0;
    while (p < line.size() && line[p] == '.') ++dots, ++p;
    if (dots != 0 && (dots < 2 || dots > 3 || !read_symbol(line, p, escape, last)))
      return error = "bad range at line " + std::to_string(lineno), false;
    while (p < line.size() && std::isspace(static_cast<unsigned char>(line[p]))) ++p;
    std::vector<std::uint8_t> bytes;
    if (!read_bytes(line, p, escape, bytes)) return error = "bad bytes at line " + std::to_string(lineno), false;
    if (bytes.size() > 4) continue;
    if (dots == 0) {
      out.symbols.push_back({first, bytes});
      continue;
    }
    const bool hex = dots == 2;
    std::string p1, d1, p2, d2;
    if (!split_number(first, hex, p1, d1) || !split_number(last, hex, p2, d2) || p1 != p2 || d1.size() != d2.size())
      return error = "bad range names at line " + std::to_string(lineno), false;
    const long long n1 = std::strtoll(d1.c_str(), nullptr, hex ? 16 : 10);
    const long long n2 = std::strtoll(d2.c_str(), nullptr, hex ? 16 : 10);
    if (n2 < n1) return error = "empty range at line " + std::to_string(lineno), false;
    // Range numbers are 32-bit in the object, and a range holds at most
    // kMaxRangeCount characters.
    if (n1 > INT32_MAX || n2 - n1 >= kw::codeset::kMaxRangeCount)
      return error = "range too large at line " + std::to_string(lineno), false;
    const std::int32_t format = static_cast<std::int32_t>(d1.size()) | (hex ? 0x100 : 0);
    // A range whose byte-wise increment would leave the code set is split
    // where the bytes stop following each other; the charmap source lists
    // them consecutively, so one run suffices here.
    out.ranges.push_back(CmoRange{p1, static_cast<std::int32_t>(n1), static_cast<std::int32_t>(n2 - n1 + 1), format, bytes});
  }
  error = "no END CHARMAP";
  return false;
}

}  // namespace kw::writers
