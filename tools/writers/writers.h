// Text helpers shared by the object-file writers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kw::writers {

// Appends `n` bytes as hexadecimal digit pairs, upper case, high nibble first.
void put_hex_bytes(std::string& out, const std::uint8_t* bytes, std::size_t n);

// Appends `value` as exactly `digits` hexadecimal digits, upper case.
void put_hex(std::string& out, std::uint32_t value, int digits);

// Writes `text` to `path`, replacing it atomically (temporary file, rename).
// Creates missing parent directories. Returns false with `error` set on failure.
bool write_file(const std::string& path, const std::string& text, std::string& error);

}  // namespace kw::writers
