// Character symbols: name lookups over the charmap's tables and ranges.
#include "codeset/symbols.h"

#include <cstring>

#include "codeset/symbol_names.h"

namespace kw::codeset {

bool range_symbol(const RangeRecord& r, std::int64_t index, char (&out)[kSymbolNameSize]) noexcept {
  return format_range_symbol(out, kMaxSymbolName + 1, r.name, r.format,
                             static_cast<std::int64_t>(r.first_number) + index) != 0;
}

std::int64_t range_index(const RangeRecord& r, const ByteSeq& seq) noexcept {
  if (r.first.count != seq.count || r.count <= 0) return -1;
  // Byte-wise increment is addition modulo 256^count, so the offset is the
  // difference of the two big-endian values in that modulus.
  const std::uint32_t bits = 8 * seq.count;
  const std::uint64_t mod = std::uint64_t{1} << bits;
  const std::uint64_t off = (std::uint64_t{seq_value(seq)} + mod - seq_value(r.first)) % mod;
  return off < static_cast<std::uint64_t>(r.count) ? static_cast<std::int64_t>(off) : -1;
}

Result<ByteSeq> symbol_to_seq(const kw_charmap& cm, const char* name, std::size_t n) noexcept {
  if (n == 0 || n > kMaxSymbolName || cm.names == nullptr) return Err::NoSymbol;
  char key[kSymbolNameSize];
  std::memcpy(key, name, n);
  key[n] = '\0';
  for (const SymbolEntry& e : cm.names->buckets[name_hash(key)]) {
    if (e.kind == static_cast<std::uint32_t>(kKindSymbol) && std::strcmp(e.name, key) == 0) return e.seq;
  }
  // A range symbol: some leading part of the name is a range name and the
  // rest spells a number of one of the ranges under it.
  for (std::size_t k = n - 1; k >= 1; --k) {
    char prefix[kSymbolNameSize];
    std::memcpy(prefix, key, k);
    prefix[k] = '\0';
    const SymbolEntry* e = find_range_entry(cm, prefix);
    if (e == nullptr) continue;
    for (std::int32_t i = e->first_range; i >= 0 && static_cast<std::size_t>(i) < cm.ranges.size();
         i = cm.ranges[static_cast<std::size_t>(i)].next_same_name) {
      const RangeRecord& r = cm.ranges[static_cast<std::size_t>(i)];
      const std::int64_t number = parse_range_number(key + k, n - k, r.format);
      // First numbers are 32-bit and ranges hold at most kMaxRangeCount
      // characters, so a larger number is in no range (and the difference
      // below cannot overflow).
      if (number < 0 || number > (std::int64_t{1} << 40)) continue;
      const std::int64_t index = number - r.first_number;
      if (index >= 0 && index < r.count) return seq_add(r.first, index);
    }
  }
  return Err::NoSymbol;
}

}  // namespace kw::codeset
