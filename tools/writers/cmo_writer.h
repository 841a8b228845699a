// The charmap-object writer: symbols and symbol ranges in, .cmo text out.
// Shared by the locale compiler and the test-data generators.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kw::writers {

// One character with its own symbol name.
struct CmoSymbol {
  std::string name;                 // without the angle brackets, at most 70 characters
  std::vector<std::uint8_t> bytes;  // 1 to 4
};

// A run of characters whose symbol names are prefix + number and whose byte
// sequences follow each other by byte-wise increment of the last byte (with
// carry). `format` spells the numbers: width | 0x100 for upper-case
// hexadecimal (kw::codeset::kRangeHex); 0 is plain decimal.
struct CmoRange {
  std::string prefix;
  std::int32_t first_number = 0;
  std::int32_t count = 0;
  std::int32_t format = 0;
  std::vector<std::uint8_t> first;  // bytes of the first character
};

struct CmoSource {
  std::string codeset;             // CODESET= (the loader keeps 21 characters)
  std::int32_t source_version = 1;
  std::vector<CmoSymbol> symbols;  // written first, in this order
  std::vector<CmoRange> ranges;    // then these, in this order
};

// The .cmo text of `src`. Fails (false, `error` set) on a name longer than
// 70 characters or containing white space, a byte count outside 1..4, or a
// range whose characters would not all be distinct byte sequences.
bool write_cmo(const CmoSource& src, std::string& out, std::string& error);

// One character of a numbered series (for make_ranges).
struct NumberedChar {
  std::int64_t number;
  std::vector<std::uint8_t> bytes;
};

// Splits a series of characters named prefix + number into maximal ranges
// that the loader's byte-wise increment reproduces: a range continues while
// the number goes up by one and the bytes are the previous bytes plus one
// (same length). So UTF-8 runs break where a continuation byte would pass
// 0xBF. Characters that fit no range of two or more still become ranges of
// one (their names follow the same spelling).
std::vector<CmoRange> make_ranges(const std::string& prefix, std::int32_t format,
                                  const std::vector<NumberedChar>& chars);

// The next byte sequence after `bytes` by the loader's byte-wise increment.
std::vector<std::uint8_t> next_sequence(const std::vector<std::uint8_t>& bytes);

}  // namespace kw::writers
