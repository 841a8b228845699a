// Character symbols: the names a charmap gives its characters, looked up
// through the charmap's name and sequence tables and its ranges.
#pragma once

#include <cstddef>
#include <cstdint>

#include "codeset/charmap.h"
#include "frame/err.h"

namespace kw::codeset {

// Calls `visit(name)` for every symbol name of the character `seq`: its own
// names in the order the file gave them, then one name per range that holds
// it, in range-list order. Stops early when `visit` returns false. Returns
// the number of names visited.
template <class Visit>
std::size_t for_each_symbol(const kw_charmap& cm, const ByteSeq& seq, Visit&& visit) noexcept;

// The character named `name` (n bytes, no angle brackets): a symbol of its
// own, else a range symbol (prefix + number in the range's spelling).
// NoSymbol when the charmap has no such name.
Result<ByteSeq> symbol_to_seq(const kw_charmap& cm, const char* name, std::size_t n) noexcept;

// Writes the name of number `index` (0-based) of range `r` into `out`;
// false when it does not fit in kSymbolNameSize.
bool range_symbol(const RangeRecord& r, std::int64_t index, char (&out)[kSymbolNameSize]) noexcept;

// The index of `seq` within range `r`, or -1 when it is not in it.
std::int64_t range_index(const RangeRecord& r, const ByteSeq& seq) noexcept;

template <class Visit>
std::size_t for_each_symbol(const kw_charmap& cm, const ByteSeq& seq, Visit&& visit) noexcept {
  std::size_t n = 0;
  if (cm.seqs != nullptr) {
    for (const SymbolEntry& e : cm.seqs->buckets[seq_hash(seq)]) {
      if (e.kind != static_cast<std::uint32_t>(kKindSymbol) || e.seq.count != seq.count ||
          seq_value(e.seq) != seq_value(seq))
        continue;
      ++n;
      if (!visit(static_cast<const char*>(e.name))) return n;
    }
  }
  for (const RangeRecord& r : cm.ranges) {
    const std::int64_t k = range_index(r, seq);
    if (k < 0) continue;
    char name[kSymbolNameSize];
    if (!range_symbol(r, k, name)) continue;
    ++n;
    if (!visit(static_cast<const char*>(name))) return n;
  }
  return n;
}

}  // namespace kw::codeset
