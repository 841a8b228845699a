// The code sets of the codeset tests.
#include "fixture_sources.h"

#include <cstdio>

namespace kw::testing {
namespace {

using kw::writers::CmoRange;
using kw::writers::CmoSource;
using kw::writers::CmoSymbol;
using kw::writers::NumberedChar;

constexpr std::int32_t kHex4 = 0x100 | 4;
constexpr std::int32_t kHex8 = 0x100 | 8;
constexpr std::int32_t kDec4 = 4;

std::string uname(std::uint32_t cp) {
  char buf[16];
  std::snprintf(buf, sizeof buf, cp > 0xFFFF ? "U%08X" : "U%04X", cp);
  return buf;
}

std::string file_of(std::uint16_t number) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%04x.cmo", number);
  return buf;
}

CodesetFixture latin1() {
  CmoSource s;
  s.codeset = "ISO-8859-1";
  s.source_version = 7;
  for (std::uint32_t b = 0; b < 0x80; ++b) s.symbols.push_back({uname(b), {static_cast<std::uint8_t>(b)}});
  // Second names for a few characters.
  s.symbols.push_back({"space", {0x20}});
  s.symbols.push_back({"NUL", {0x00}});
  s.ranges.push_back(CmoRange{"U", 0x80, 0x80, kHex4, {0x80}});
  return {"8859-1", 819, file_of(819), s};
}

CodesetFixture unicode() {
  CmoSource s;
  s.codeset = "UCS-2";
  s.source_version = 2;
  s.ranges.push_back(CmoRange{"U", 0, 0x80, kHex4, {0x00, 0x00}});
  s.symbols.push_back({"U00A0", {0x00, 0xA0}});
  s.symbols.push_back({"U3000", {0x30, 0x00}});  // ideographic space
  s.ranges.push_back(CmoRange{"U", 0x3041, 0x56, kHex4, {0x30, 0x41}});
  s.symbols.push_back({"U4E00", {0x4E, 0x00}});
  s.symbols.push_back({"U4E01", {0x4E, 0x01}});
  return {"unicode", 57349, file_of(57349), s};
}

CodesetFixture eucjp() {
  CmoSource s;
  s.codeset = "EUC-JP";
  s.source_version = 3;
  for (std::uint32_t b = 0; b < 0x80; ++b) s.symbols.push_back({uname(b), {static_cast<std::uint8_t>(b)}});
  // JIS X 0208 rows as <jRRCC> ranges, row by row.
  for (int row = 1; row <= 94; ++row)
    s.ranges.push_back(CmoRange{"j", row * 100 + 1, 94, kDec4,
                                {static_cast<std::uint8_t>(0xA0 + row), 0xA1}});
  // Half-width katakana behind the single-shift 8E.
  s.ranges.push_back(CmoRange{"U", 0xFF61, 63, kHex4, {0x8E, 0xA1}});
  // A few JIS X 0212 rows behind the single-shift 8F, under a prefix that
  // starts like the JIS X 0208 one.
  for (int row : {2, 16, 17})
    s.ranges.push_back(CmoRange{"jx", row * 100 + 1, 94, kDec4,
                                {0x8F, static_cast<std::uint8_t>(0xA0 + row), 0xA1}});
  return {"eucjp", 5050, file_of(5050), s};
}

// Shift_JIS-like: one-byte ASCII and half-width katakana, and two-byte
// characters whose second byte may be below 0x80. Row 0x81 has no second
// half, so some pairs of valid-looking bytes are not characters.
CodesetFixture sjis() {
  CmoSource s;
  s.codeset = "SHIFT_JIS";
  s.source_version = 4;
  for (std::uint32_t b = 0; b < 0x80; ++b) s.symbols.push_back({uname(b), {static_cast<std::uint8_t>(b)}});
  s.ranges.push_back(CmoRange{"U", 0xFF61, 63, kHex4, {0xA1}});
  for (std::uint32_t lead : {0x81u, 0x82u, 0x88u, 0x9Fu, 0xE0u, 0xEAu}) {
    const auto b0 = static_cast<std::uint8_t>(lead);
    s.ranges.push_back(CmoRange{"S", static_cast<std::int32_t>(lead << 8 | 0x40), 63, kHex4, {b0, 0x40}});
    if (lead != 0x81)
      s.ranges.push_back(CmoRange{"S", static_cast<std::int32_t>(lead << 8 | 0x80), 125, kHex4, {b0, 0x80}});
  }
  return {"sjis", 943, file_of(943), s};
}

CodesetFixture utf8() {
  CmoSource s;
  s.codeset = "UTF-8";
  s.source_version = 10;
  std::vector<NumberedChar> bmp;
  std::vector<NumberedChar> astral;
  for (std::uint32_t cp = 0; cp <= 0x10FFFF; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    (cp > 0xFFFF ? astral : bmp).push_back({cp, utf8_bytes(cp)});
  }
  s.ranges = kw::writers::make_ranges("U", kHex4, bmp);
  for (CmoRange& r : kw::writers::make_ranges("U", kHex8, astral)) s.ranges.push_back(std::move(r));
  s.symbols.push_back({"space", {0x20}});
  return {"utf8", 57372, file_of(57372), s};
}

}  // namespace

std::vector<std::uint8_t> utf8_bytes(std::uint32_t cp) {
  if (cp < 0x80) return {static_cast<std::uint8_t>(cp)};
  if (cp < 0x800) return {static_cast<std::uint8_t>(0xC0 | (cp >> 6)), static_cast<std::uint8_t>(0x80 | (cp & 0x3F))};
  if (cp < 0x10000)
    return {static_cast<std::uint8_t>(0xE0 | (cp >> 12)), static_cast<std::uint8_t>(0x80 | ((cp >> 6) & 0x3F)),
            static_cast<std::uint8_t>(0x80 | (cp & 0x3F))};
  return {static_cast<std::uint8_t>(0xF0 | (cp >> 18)), static_cast<std::uint8_t>(0x80 | ((cp >> 12) & 0x3F)),
          static_cast<std::uint8_t>(0x80 | ((cp >> 6) & 0x3F)), static_cast<std::uint8_t>(0x80 | (cp & 0x3F))};
}

std::vector<CodesetFixture> codeset_fixtures() { return {latin1(), unicode(), eucjp(), utf8(), sjis()}; }

std::string fixture_registry() {
  return "# code sets of the codeset tests\n"
         "8859-1 819\n"
         "iso-8859-1 819\n"
         "unicode 57349\n"
         "eucjp 5050\n"
         "euc-jp 5050\n"
         "utf8 57372\n"
         "utf-8 57372\n"
         "sjis 943\n";
}

}  // namespace kw::testing
