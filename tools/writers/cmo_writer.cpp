// The charmap-object writer.
#include "cmo_writer.h"

#include <cstdio>

#include "codeset/charmap.h"

namespace kw::writers {
namespace {

bool valid_name(const std::string& name) {
  if (name.empty() || name.size() > kw::codeset::kMaxSymbolName) return false;
  for (char c : name) {
    if (c == ' ' || (c >= '\t' && c <= '\r') || c == '\0') return false;
  }
  return true;
}

void put_bytes(std::string& out, const std::vector<std::uint8_t>& bytes) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "%zu", bytes.size());
  out += buf;
  for (std::uint8_t b : bytes) {
    std::snprintf(buf, sizeof buf, " %02x", b);
    out += buf;
  }
}

// The loader reads lines into a kCmoLineSize buffer and drops the last
// character read: a line with its newline must fit in kCmoLineSize - 1.
bool fits_line(const std::string& line) { return line.size() + 1 < kw::codeset::kCmoLineSize; }

bool valid_codeset(const std::string& codeset) {
  if (!fits_line(kw::codeset::kCmoCodeset + codeset)) return false;
  return codeset.find_first_of(std::string("\n\r\0", 3)) == std::string::npos;
}

}  // namespace

std::vector<std::uint8_t> next_sequence(const std::vector<std::uint8_t>& bytes) {
  std::vector<std::uint8_t> r = bytes;
  for (std::size_t k = r.size(); k-- > 0;) {
    if (++r[k] != 0) break;
  }
  return r;
}

bool write_cmo(const CmoSource& src, std::string& out, std::string& error) {
  out.clear();
  if (!valid_codeset(src.codeset)) return error = "bad code-set name: " + src.codeset, false;
  out += kw::codeset::kCmoFileType;
  out += '\n';
  out += kw::codeset::kCmoCompilerVersion;
  out += '\n';
  out += kw::codeset::kCmoHeaderLength;
  out += "5\n";
  out += kw::codeset::kCmoCodeset;
  out += src.codeset;
  out += '\n';
  out += kw::codeset::kCmoSourceVersion;
  out += std::to_string(src.source_version);
  out += '\n';
  out += "# s 0 <name> <bytes> <hex>... | r <format> <prefix> <first> <count> <bytes> <hex>...\n";
  for (const CmoSymbol& s : src.symbols) {
    if (!valid_name(s.name)) return error = "bad symbol name: " + s.name, false;
    if (s.bytes.empty() || s.bytes.size() > 4) return error = "bad byte count for " + s.name, false;
    out += "s 0 ";
    out += s.name;
    out += ' ';
    put_bytes(out, s.bytes);
    out += '\n';
  }
  for (const CmoRange& r : src.ranges) {
    if (!valid_name(r.prefix)) return error = "bad range name: " + r.prefix, false;
    if (r.first.empty() || r.first.size() > 4) return error = "bad byte count for " + r.prefix, false;
    std::uint64_t first = 0;
    for (std::uint8_t b : r.first) first = (first << 8) | b;
    const std::uint64_t room = 1ull << (8 * r.first.size());
    if (r.count < 1 || r.count > kw::codeset::kMaxRangeCount || first + static_cast<std::uint64_t>(r.count) > room)
      return error = "bad range count for " + r.prefix, false;
    out += "r " + std::to_string(r.format) + ' ' + r.prefix + ' ' + std::to_string(r.first_number) + ' ' +
           std::to_string(r.count) + ' ';
    put_bytes(out, r.first);
    out += '\n';
  }
  return true;
}

std::vector<CmoRange> make_ranges(const std::string& prefix, std::int32_t format,
                                  const std::vector<NumberedChar>& chars) {
  std::vector<CmoRange> out;
  std::vector<std::uint8_t> expect;
  std::int64_t expect_number = 0;
  for (const NumberedChar& c : chars) {
    if (!out.empty() && c.number == expect_number && c.bytes == expect &&
        out.back().count < kw::codeset::kMaxRangeCount) {
      ++out.back().count;
    } else {
      out.push_back(CmoRange{prefix, static_cast<std::int32_t>(c.number), 1, format, c.bytes});
    }
    expect = next_sequence(c.bytes);
    expect_number = c.number + 1;
  }
  return out;
}

}  // namespace kw::writers
