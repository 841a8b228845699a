// The conversion-object writer: translation tables in, .cvo text out.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace kw::writers {

// Flag bits of a table entry (the low three bits count the output bytes).
inline constexpr std::uint8_t kCvoEndsString = 0x08;    // the converters stop after it without a length
inline constexpr std::uint8_t kCvoMapped = 0x10;        // an ordinary mapping
inline constexpr std::uint8_t kCvoSubstitute = 0x20;    // a substitution: the conversion is lossy
inline constexpr std::uint8_t kCvoShifted = 0x40;       // output belongs to the shifted state
inline constexpr std::uint8_t kCvoSwitchTable = 0x80;   // switch to the other table afterwards

// One source character and its entry. An entry needs one of the flag bits
// 0xF8: one without them reads as "no mapping".
struct CvoMapping {
  std::vector<std::uint8_t> in;   // 1..4 bytes
  std::uint8_t flags = kCvoMapped;
  std::vector<std::uint8_t> out;  // 0..4 bytes, as the converter writes them
};

struct CvoSource {
  bool alternate_table = false;  // a second table follows (stateful converter)
  bool stateful = false;
  std::array<std::vector<std::uint8_t>, 4> controls;  // enter shift, leave shift, two kept
  // Lengths in bytes. Zero target lengths are filled from the mappings.
  int target_min = 0, target_max = 0;
  int unused1 = 0, unused2 = 0;
  int source_min = 0, source_max = 0;
  int direct_table_switch = 0;   // 0: the single-byte converter builds its direct table
  double expansion = 0;          // 0: computed from the mappings
  std::vector<CvoMapping> forward;
  std::vector<CvoMapping> alternate;
  std::vector<std::string> header_extra;  // further "KEY=value" header lines
};

// How the loader will choose the converter for a source, by the same tests
// in the same order.
enum class CvoShape { SingleByte, TwoByteSource, TwoByteTarget, General };
CvoShape cvo_shape(const CvoSource& src);

// Fills the lengths and the expansion factor of `src` from its mappings
// (source lengths from the forward table's input, target lengths from every
// output); leaves nonzero values as they are.
void cvo_fill_lengths(CvoSource& src);

// The whole .cvo text. The tables are written in the node form of the
// automaton dump. The converters of the two-byte shapes read their tables
// byte-swapped (the input's second byte first, the output's second byte
// first); the writer does that swap itself, so mappings are always given in
// natural order. Throws std::invalid_argument on a mapping of bad length,
// an input that is a prefix of another, or a target length outside 1..4.
std::string write_cvo(const CvoSource& src);

}  // namespace kw::writers
