// Spelling of range symbol names.
#include "codeset/symbol_names.h"

#include <cstring>

#include "codeset/charmap.h"

namespace kw::codeset {

std::size_t format_range_symbol(char* out, std::size_t size, const char* prefix, std::int32_t format,
                                std::int64_t number) noexcept {
  if (number < 0 || size == 0) return 0;
  const unsigned base = (format & kRangeHex) != 0 ? 16 : 10;
  const auto width = static_cast<std::size_t>(format & kRangeWidthMask);
  char digits[24];
  std::size_t nd = 0;
  auto v = static_cast<std::uint64_t>(number);
  do {
    digits[nd++] = "0123456789ABCDEF"[v % base];
    v /= base;
  } while (v != 0 && nd < sizeof digits);
  const std::size_t pad = width > nd ? width - nd : 0;
  const std::size_t np = std::strlen(prefix);
  const std::size_t total = np + pad + nd;
  if (total >= size) return 0;
  std::memcpy(out, prefix, np);
  std::memset(out + np, '0', pad);
  for (std::size_t i = 0; i < nd; ++i) out[np + pad + i] = digits[nd - 1 - i];
  out[total] = '\0';
  return total;
}

std::int64_t parse_range_number(const char* digits, std::size_t n, std::int32_t format) noexcept {
  const bool hex = (format & kRangeHex) != 0;
  const auto width = static_cast<std::size_t>(format & kRangeWidthMask);
  if (n == 0) return -1;
  const std::uint64_t base = hex ? 16 : 10;
  std::uint64_t v = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const char c = digits[i];
    int d = -1;
    if (c >= '0' && c <= '9') d = c - '0';
    else if (hex && c >= 'A' && c <= 'F') d = c - 'A' + 10;
    if (d < 0) return -1;
    // A number beyond INT64_MAX is no symbol number: refused before it wraps.
    if (v > (static_cast<std::uint64_t>(INT64_MAX) - static_cast<std::uint64_t>(d)) / base) return -1;
    v = v * base + static_cast<std::uint64_t>(d);
  }
  // Only the canonical spelling names the character: no extra leading zeros
  // beyond the width, and at least the width.
  if (n < width) return -1;
  if (n > 1 && n > width && digits[0] == '0') return -1;
  return static_cast<std::int64_t>(v);
}

}  // namespace kw::codeset
