// Spelling of the symbol names of range characters, shared by the library's
// symbol conversions and the charmap-object writer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kw::codeset {

// Writes the symbol name of number `number` of a range with name `prefix`
// and number format `format` (width | kRangeHex, see charmap.h): the prefix,
// then the number in decimal or upper-case hexadecimal, zero-padded to the
// width. Returns the name's length, or 0 (nothing usable written) when it
// needs `size` bytes or more, or the number is negative.
std::size_t format_range_symbol(char* out, std::size_t size, const char* prefix, std::int32_t format,
                                std::int64_t number) noexcept;

// Reads the number part of a range symbol name: `digits` (n characters) must
// be exactly what format_range_symbol writes for some number under
// `format`. Returns that number, or -1.
std::int64_t parse_range_number(const char* digits, std::size_t n, std::int32_t format) noexcept;

}  // namespace kw::codeset
