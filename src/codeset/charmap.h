// Charmap objects: the record that kw_cm_load fills from a .cmo file, with the
// code set's automaton, its symbol tables and its symbol ranges.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "codeset/automaton.h"
#include "frame/err.h"
#include "frame/mem.h"
#include "kwa.h"

namespace kw::codeset {

// Format constants shared by the charmap-object writer and the loader.
inline constexpr const char kCmoFileType[] = "FILE_TYPE=charmap_object";
inline constexpr const char kCmoCompilerVersion[] = "COMPILER_VERSION=3";
inline constexpr const char kCmoHeaderLength[] = "HEADER_LENGTH=";
inline constexpr const char kCmoCodeset[] = "CODESET=";
inline constexpr const char kCmoSourceVersion[] = "SOURCE_VERSION=";
inline constexpr int kCmoVersion = 3;
inline constexpr char kKindSymbol = 's';
inline constexpr char kKindRange = 'r';

inline constexpr std::size_t kCmoLineSize = 128;   // line buffer, terminator included
inline constexpr std::size_t kCodesetNameSize = 22;  // 21 characters and a terminator
inline constexpr std::size_t kSymbolNameSize = 72;   // names have at most 70 characters
inline constexpr std::size_t kMaxSymbolName = 70;
inline constexpr std::size_t kBuckets = 127;
// Most characters one range line may name; a longer range is refused as a
// malformed file rather than looping for billions of insertions.
inline constexpr std::int32_t kMaxRangeCount = 1 << 24;

// A character's bytes: `count` (1..4) meaningful bytes, first byte first.
struct ByteSeq {
  std::uint32_t count;
  std::uint8_t bytes[kMaxSequence];
};

// The sequence as a big-endian number of `count` bytes.
inline std::uint32_t seq_value(const ByteSeq& s) noexcept {
  std::uint32_t v = 0;
  for (std::uint32_t i = 0; i < s.count && i < kMaxSequence; ++i) v = (v << 8) | s.bytes[i];
  return v;
}

// Adds `addend` to the sequence as an unsigned big-endian number of its own
// byte count: carries (or, for a negative addend, borrows) run from the last
// byte towards the first, and what passes the first byte is lost. So a1 fe
// plus 2 is a2 00.
ByteSeq seq_add(const ByteSeq& s, std::int64_t addend) noexcept;

// How the symbol names of a range's characters are spelt: the range name
// (the prefix), then the character's number, F + offset, in decimal or in
// upper-case hexadecimal, zero-padded to at least `width` digits. The format
// travels in the otherwise unused integer of a range line:
// width | kRangeHex (0 = decimal without padding). So <U3400>..<U343F> is
// prefix "U", F 0x3400, format 4 | kRangeHex; <j0101>...<j0104> is prefix
// "j", F 101, format 4.
inline constexpr std::int32_t kRangeHex = 0x100;
inline constexpr std::int32_t kRangeWidthMask = 0xFF;

// One range line.
struct RangeRecord {
  std::int32_t count;         // characters in the range
  ByteSeq first;              // bytes of the first character
  std::int32_t first_number;  // number F of the first symbol name
  std::int32_t format;        // symbol-number format (kRangeHex | width)
  std::int32_t next_same_name;  // next range with this name (index), -1 at the end
  char name[kSymbolNameSize];   // the name prefix
};

// One entry of the name or sequence table.
struct SymbolEntry {
  std::uint32_t kind;           // 's' (115) or 'r' (114)
  char name[kSymbolNameSize];
  ByteSeq seq;
  // For 'r': first and last index in the range list of the ranges sharing
  // this name, in file order (linked through next_same_name). -1 for 's'.
  std::int32_t first_range;
  std::int32_t last_range;
};

// 127 buckets; each keeps its entries in insertion order.
struct SymbolTable {
  Vec<SymbolEntry> buckets[kBuckets];
};

// Bucket of a name: the sum of its bytes taken as signed 8-bit values, the
// signed remainder by 127. A name with bytes above 127 can sum below zero;
// such a remainder is moved into range by adding 127.
std::size_t name_hash(const char* name) noexcept;
// Bucket of a sequence: the sum of its meaningful bytes, remainder by 127.
std::size_t seq_hash(const ByteSeq& s) noexcept;

}  // namespace kw::codeset

// The charmap record. The error slot comes first: the record serves as the
// handle of its own operations.
struct kw_charmap {
  std::uint32_t error;
  char name[kw::codeset::kCodesetNameSize];  // CODESET=, at most 21 characters
  std::uint16_t number;                      // code-set number the file was found by
  std::int32_t source_version;
  std::int32_t compiler_version;
  kw::codeset::Automaton* automaton;         // 2-byte data, null in the static records
  kw::Vec<kw::codeset::RangeRecord> ranges;  // file order
  kw::codeset::SymbolTable* names;           // keyed by name
  kw::codeset::SymbolTable* seqs;            // keyed by byte sequence
  bool is_static;                            // one of the records that stand in for a failure
};

namespace kw::codeset {

// The records that stand in for a charmap that could not be made; their
// error slots hold NoMem and NoFile (set again each time one is returned).
// Never released.
kw_charmap* static_nomem_charmap() noexcept;
kw_charmap* static_nofile_charmap() noexcept;

// Loads the charmap named `name` (length bytes, -1 up to its terminator),
// from `directory` when given, else along the object search path. Always
// stores a record in `*result`: on failure either a static record whose
// error slot holds the reason, or the partly read record with the error in
// its slot (the caller unloads it). Returns the error.
Err cm_load(kw_charmap** result, const char* name, int length, const char* directory) noexcept;

// Reads an opened .cmo stream into `cm` (its automaton and tables already
// made). Does not close the stream.
Err cm_read(kw_charmap& cm, std::FILE* f) noexcept;

// Releases a record from cm_load; null and the static records are ignored.
void cm_unload(kw_charmap* cm) noexcept;

// Adds one symbol line's entry / one range line to `cm` (used by the reader).
Err cm_add_symbol(kw_charmap& cm, const char* name, const ByteSeq& seq) noexcept;
Err cm_add_range(kw_charmap& cm, const char* name, std::int32_t first_number, std::int32_t count,
                 std::int32_t format, const ByteSeq& first) noexcept;

// The "r" entry named `name` in the name table, or null.
const SymbolEntry* find_range_entry(const kw_charmap& cm, const char* name) noexcept;

// Restores the static records' error slots (tests).
void reset_charmap_for_tests() noexcept;

}  // namespace kw::codeset
