// The character codec's core: decoding loops, encoding, measures and the
// trailing-space runs shared by the exported families.
#include "codeset/codec_core.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <tmmintrin.h>
#define KW_BLOCK_DECODE 1
#endif

#include "frame/hooks.h"

namespace kw::codeset {

std::uint16_t wide_class(const CodecView& v, std::uint32_t value, bool& known) noexcept {
  known = false;
  if (v.single_byte != 0) {
    if (value > 0xFF) return 0;
    known = true;
    return v.sb_class != nullptr ? v.sb_class[value] : 0;
  }
  if (!usable(v)) return 0;
  std::uint8_t scratch[kMaxSequence];
  const Match m = automaton_lookup_wide(*v.automaton, value, scratch);
  if (m.err != Err::None) return 0;
  known = true;
  return class_of(v, m);
}

std::size_t mbs_bytes(const CodecView& v, const std::uint8_t* s, Err& err) noexcept {
  err = Err::None;
  if (v.single_byte != 0) return std::strlen(reinterpret_cast<const char*>(s)) + 1;
  std::size_t total = 0;
  for (;;) {
    const Match m = automaton_walk(*v.automaton, s + total, kNoLimit);
    if (m.err != Err::None) {
      err = m.err;
      return 0;
    }
    if (m.value == 0) return total + term_length(v);
    total += m.len;
  }
}

Result<std::size_t> resolve_length(const CodecView& v, const std::uint8_t* s, int length) noexcept {
  if (length == -1) {
    Err err;
    const std::size_t bytes = mbs_bytes(v, s, err);
    if (err != Err::None) return err;
    const std::size_t term = term_length(v);
    if (bytes <= term) return Err::Short;
    return bytes - term;
  }
  if (length < 1) return Err::Short;
  return static_cast<std::size_t>(length);
}

Result<int> encode(const CodecView& v, std::uint32_t value, std::uint8_t* out) noexcept {
  if (!usable(v)) return Err::Ilseq;
  const Match m = automaton_lookup_wide(*v.automaton, value, out);
  if (m.err != Err::None) return Err::Ilseq;
  return static_cast<int>(m.len);
}

Result<int> im_mbslen(const CodecView& v, const std::uint8_t* s) noexcept {
  if (!usable(v)) return Err::Ilseq;
  const Automaton& a = *v.automaton;
  int n = 0;
  for (;;) {
    const Match m = automaton_walk(a, s, kNoLimit);
    if (m.err != Err::None) return m.err;
    if (m.value == 0) return n;
    ++n;
    s += m.len;
  }
}

Result<int> im_mbfslen(const CodecView& v, const std::uint8_t* s, int length) noexcept {
  if (length == -1) return im_mbslen(v, s);
  if (length < -1) return Err::Inval;
  if (!usable(v)) return Err::Ilseq;
  const Automaton& a = *v.automaton;
  auto left = static_cast<std::size_t>(length);
  int n = 0;
  while (left > 0) {
    const Match m = automaton_walk(a, s, left);
    // A character running past the end of the counted bytes is illegal here.
    if (m.err != Err::None) return Err::Ilseq;
    ++n;
    s += m.len;
    left -= m.len;
  }
  return n;
}

namespace {

// ASCII runs. When the bytes 0x01..0x7F are all one-byte characters of the
// code set (true of nearly every code set with one-byte characters), runs of
// them are decoded eight bytes at a time: the length of the run comes from
// bit operations on one 64-bit word instead of a branch per byte, which
// keeps mixed text (words of ASCII between multibyte characters) free of
// branch mispredictions at every change of script.

constexpr std::uint8_t kCompleteRun[127] = {
#define KW_C4 kComplete, kComplete, kComplete, kComplete
#define KW_C16 KW_C4, KW_C4, KW_C4, KW_C4
    KW_C16, KW_C16, KW_C16, KW_C16, KW_C16, KW_C16, KW_C16, KW_C4, KW_C4, KW_C4, kComplete, kComplete, kComplete
#undef KW_C16
#undef KW_C4
};
static_assert(sizeof kCompleteRun == 127);

bool ascii_at_root(const Automaton& a) noexcept {
  return a.shortest == 1 && std::memcmp(a.root->cls + 1, kCompleteRun, sizeof kCompleteRun) == 0;
}

constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// Leading bytes of `w` (first byte lowest) that are non-zero and below 0x80.
// Leading bytes of `w` below 0x80 (zero bytes included).
constexpr unsigned ascii7_prefix(std::uint64_t w) noexcept {
  const std::uint64_t stop = w & 0x8080808080808080u;
  return stop == 0 ? 8 : static_cast<unsigned>(__builtin_ctzll(stop)) / 8;
}
static_assert(ascii7_prefix(0x4100414141A14141u) == 2 && ascii7_prefix(0) == 8);

constexpr unsigned ascii_prefix(std::uint64_t w) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101u;
  constexpr std::uint64_t kHigh = 0x8080808080808080u;
  // A byte's high bit is set in w - kOnes | w when the byte is 0 or above
  // 0x7F. Borrows only come from zero bytes, so the lowest flagged byte is
  // exact (flags above the first zero byte may be spurious).
  const std::uint64_t stop = ((w - kOnes) | w) & kHigh;
  return stop == 0 ? 8 : static_cast<unsigned>(__builtin_ctzll(stop)) / 8;
}
static_assert(ascii_prefix(0x4141414141414141u) == 8);
static_assert(ascii_prefix(0x4141414141A14141u) == 2);
static_assert(ascii_prefix(0x4141414100414141u) == 3);
static_assert(ascii_prefix(0x00000000000000A4u) == 0);
static_assert(ascii_prefix(0x0100000000000041u) == 1);

std::uint64_t load8(const std::uint8_t* s) noexcept {
  std::uint64_t w;
  std::memcpy(&w, s, sizeof w);
  return w;
}

// Eight bytes from `s` of a terminated string whose end is not known. Away
// from the end of a page they are the eight bytes at `s`; near it, the bytes
// from `s` to the end of its aligned 8-byte word (the rest zero). Either way
// no page boundary is crossed (pages are at least 4096 bytes), so the read
// is safe wherever the byte at `s` is. Bytes past the terminator are read
// but come after a zero byte and never reach the output. `avail` receives
// the number of real bytes in the result.
__attribute__((no_sanitize_address)) std::uint64_t load_to_word_end(const std::uint8_t* s,
                                                                    unsigned& avail) noexcept {
  const auto addr = reinterpret_cast<std::uintptr_t>(s);
  // __builtin_memcpy of a fixed 8 bytes is expanded in place, so the
  // address sanitizer does not see it as a library call.
  std::uint64_t w;
  if ((addr & 4095u) <= 4096u - 8u) {
    __builtin_memcpy(&w, s, sizeof w);
    avail = 8;
    return w;
  }
  const unsigned skip = static_cast<unsigned>(addr & 7u);
  __builtin_memcpy(&w, s - skip, sizeof w);
  avail = 8 - skip;
  return w >> (8 * skip);
}

// Stores the 8 bytes of `w` as 8 wide values.
inline void widen8(kw_wchar_t* out, std::uint64_t w) noexcept {
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  const __m128i w16 = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<long long>(w)), zero);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi16(w16, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_unpackhi_epi16(w16, zero));
#else
  for (unsigned k = 0; k < 8; ++k) out[k] = static_cast<kw_wchar_t>((w >> (8 * k)) & 0xFF);
#endif
}

// A character of four bytes (or an error) whose first two bytes at `s`
// lead to `node` (the second byte's node): its length and value, or 0. Kept
// out of line so that the loop around the shorter cases stays small.
[[gnu::noinline]] std::uint32_t long_character(const Node* node, const std::uint8_t* s, std::size_t left,
                                               std::uint32_t& value) noexcept {
  const Match m = node_walk(node, s + 1, left - 1);
  if (m.err != Err::None) return 0;
  value = (std::uint32_t{s[0]} << (8 * m.len)) | m.value;
  return 1 + m.len;
}

// Decodes the run of two-byte characters at `s`, at most `limit` of them,
// each decided by its derived pair bit. A byte below 0x80 ends the run; any
// other byte is followed at least by the terminator in terminated input, so
// the second byte may be read (`limit` bounds counted input). Returns the
// characters decoded. Kept out of line so that its few variables stay in
// registers.
template <bool Store>
[[gnu::noinline]] std::size_t decode_pair_run(const FastTables& fast, kw_wchar_t* out, const std::uint8_t* s,
                                              std::size_t limit) noexcept {
  std::size_t k = 0;
  for (; k < limit; ++k) {
    const std::uint8_t b0 = s[2 * k];
    if (b0 < 0x80) break;
    const std::uint32_t pair = (std::uint32_t{b0} << 8) | s[2 * k + 1];
    if (!fast_pair(fast, pair)) break;
    if constexpr (Store) out[k] = pair;
  }
  return k;
}

#if defined(KW_BLOCK_DECODE)
// Decoding sixteen bytes at a time, for code sets with two-byte characters
// whose first bytes begin no longer character (the lead set: EUC's high
// bytes, Shift_JIS's first bytes, those of Big5 and GBK). A character begins after every
// byte outside the lead set that is not a second byte, so every run of lead
// bytes begins at a character boundary and is a series of pairs; a run of
// odd length ends on a first byte whose second byte is the next one. The
// characters of a block thus follow from the mask of lead bytes without a
// branch per character: mixed text changes between ASCII words and
// two-byte runs every few bytes, and per-character code mispredicts a
// branch at each change. Uses SSSE3 shuffles, chosen at run time; blocks
// that hold anything else (a zero byte, a byte that begins a longer
// character, a pair that is no character) are left to the general loop.

// For the eight 16-bit slots of half a block and the mask of the slots that
// are second bytes (dropped): the byte shuffle that packs the kept slots.
struct PackTable {
  std::uint8_t shuffle[256][16];
  std::uint8_t kept[256];  // slots kept
};
constexpr PackTable make_pack_table() noexcept {
  PackTable t{};
  for (unsigned m = 0; m < 256; ++m) {
    unsigned j = 0;
    for (unsigned q = 0; q < 8; ++q) {
      if ((m >> q) & 1) continue;
      t.shuffle[m][2 * j] = static_cast<std::uint8_t>(2 * q);
      t.shuffle[m][2 * j + 1] = static_cast<std::uint8_t>(2 * q + 1);
      ++j;
    }
    t.kept[m] = static_cast<std::uint8_t>(j);
    for (; j < 8; ++j) t.shuffle[m][2 * j] = t.shuffle[m][2 * j + 1] = 0x80;
  }
  return t;
}
alignas(16) constexpr PackTable kPack = make_pack_table();

// Stores the kept 16-bit slots of `slots` (mask `drop` of the dropped ones)
// as wide values at `out` (eight written); returns the count kept.
__attribute__((target("ssse3"))) inline unsigned pack_half(kw_wchar_t* out, __m128i slots, unsigned drop) noexcept {
  const __m128i packed =
      _mm_shuffle_epi8(slots, _mm_load_si128(reinterpret_cast<const __m128i*>(kPack.shuffle[drop])));
  const __m128i zero = _mm_setzero_si128();
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi16(packed, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_unpackhi_epi16(packed, zero));
  return kPack.kept[drop];
}

// The 16-bit mask of the bytes of `v` in `set` (rows `r0`, `r1`), given
// the low nibbles `lo`, each byte's bit (1 << ((b >> 4) & 7)) `bit` and the
// bytes from 0x80 up `high`.
__attribute__((target("ssse3"))) inline std::uint32_t in_set(__m128i r0, __m128i r1, __m128i lo, __m128i bit,
                                                            __m128i high) noexcept {
  const __m128i row = _mm_or_si128(_mm_andnot_si128(high, _mm_shuffle_epi8(r0, lo)),
                                   _mm_and_si128(high, _mm_shuffle_epi8(r1, lo)));
  return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(row, bit), bit)));
}

// Decodes the blocks of sixteen bytes at `s`, `s` + 16, ... while they
// succeed: at most `blocks` blocks, storing values at `out` when `Store`
// (sixteen slots may be written per block). A pair may cross into the next
// block, whose first byte is then a second byte (the carry); the blocks are
// read at fixed offsets so that reading and classifying one need not wait
// for the masks of the one before. `HighLead`: the code set's first bytes
// are its bytes from 0x80 up and its one-byte characters those below (as in
// EUC), so the high bits of the block are its lead mask and only a zero
// byte can be a bad single. With `Terminated` each block is read only when
// it does not cross a page (the read may pass the terminator, whose zero
// byte then fails the block before any value of it is used). A block of
// lead bytes only is left to the pair loop, which is faster on long runs of
// pairs. Returns the bytes consumed; `chars` receives the values decoded,
// `failed` whether the run ended on a block that cannot be decoded this way.
template <bool Terminated, bool Store, bool HighLead>
[[gnu::noinline]] __attribute__((target("ssse3"), no_sanitize_address)) std::size_t decode_blocks(
    const FastTables& fast, const BlockSets& sets, kw_wchar_t* out, const std::uint8_t* s, std::size_t blocks,
    std::size_t& chars, bool& failed) noexcept {
  std::size_t n = 0;
  std::size_t k = 0;
  std::uint32_t carry = 0;
  // Stored to `failed` once at the end: the compiler must assume a store
  // through the reference may change the bytes read, and would keep it in
  // memory inside the loop.
  bool fail = false;
  const __m128i zero = _mm_setzero_si128();
  const __m128i bits = _mm_set1_epi64x(static_cast<long long>(0x8040201008040201u));
  const auto row = [](const std::uint8_t* r) noexcept { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(r)); };
  const __m128i lead0 = row(sets.lead.rows[0]), lead1 = row(sets.lead.rows[1]);
  const __m128i single0 = row(sets.single.rows[0]), single1 = row(sets.single.rows[1]);
  // Each 16-bit lane's bit of a byte mask.
  const __m128i lane_lo = _mm_setr_epi16(1, 2, 4, 8, 16, 32, 64, 128);
  const __m128i lane_hi = _mm_setr_epi16(256, 512, 1024, 2048, 4096, 8192, 16384, -32768);
  for (; k < blocks; ++k) {
    const std::uint8_t* const b = s + 16 * k;
    if (Terminated && (reinterpret_cast<std::uintptr_t>(b) & 4095u) > 4096u - 32u) break;
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b));
    std::uint32_t lead = 0;
    std::uint32_t bad_single = 0;  // bytes that are no character by themselves
    if constexpr (HighLead) {
      lead = static_cast<std::uint32_t>(_mm_movemask_epi8(v));
      bad_single = static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, zero)));
    } else {
      const __m128i lo = _mm_and_si128(v, _mm_set1_epi8(0x0F));
      const __m128i bit = _mm_shuffle_epi8(bits, _mm_and_si128(_mm_srli_epi16(v, 4), _mm_set1_epi8(0x07)));
      const __m128i high = _mm_cmpgt_epi8(zero, v);
      lead = in_set(lead0, lead1, lo, bit, high);
      bad_single = ~in_set(single0, single1, lo, bit, high);
    }
    // A block of lead bytes only is left to the pair loop, which is faster
    // on long runs of pairs.
    if (lead == 0xFFFFu) break;
    // Runs of lead bytes (after a carried second byte): those starting at
    // an even position have their first bytes at even positions, the
    // others at odd ones. Adding the start bit of a run clears the run, so
    // the runs that begin at even positions are the lead bits the addition
    // clears.
    lead &= ~carry;
    const std::uint32_t starts = lead & ~(lead << 1);
    const std::uint32_t even_runs = lead & ~(lead + (starts & 0x5555u));
    const std::uint32_t first = (even_runs & 0x5555u) | (lead & ~even_runs & 0xAAAAu);
    // A run of odd length ends on a first byte; its second byte follows
    // the run (byte 16, the next block's carry, when the run ends the block).
    const std::uint32_t ends = lead & ~(lead >> 1);
    const std::uint32_t second = (lead & ~first) | ((ends & first) << 1) | carry;
    fail = true;
    if ((~(first | second) & bad_single & 0xFFFFu) != 0) break;
    // Every pair must be a character.
    std::uint32_t bad = 0;
    std::uint32_t m = first;
    for (unsigned q = 0; q < 8; ++q) {
      const unsigned p = static_cast<unsigned>(__builtin_ctz(m | 0x10000u));
      const std::uint32_t pair = p < 16 ? (std::uint32_t{b[p]} << 8) | b[p + 1] : 0x8080u;
      bad |= static_cast<std::uint32_t>(~(fast.pairs[pair >> 6] >> (pair & 63))) & (p < 16 ? 1u : 0u);
      m &= m - 1;
    }
    if (bad != 0) break;
    if constexpr (Store) {
      // Slot p: the pair (b[p] << 8) | b[p + 1] when p is a first byte,
      // byte p alone otherwise. Second bytes are dropped.
      const __m128i next = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 1));
      const __m128i f16 = _mm_set1_epi16(static_cast<short>(first));
      const __m128i first_lo = _mm_cmpeq_epi16(_mm_and_si128(f16, lane_lo), lane_lo);
      const __m128i first_hi = _mm_cmpeq_epi16(_mm_and_si128(f16, lane_hi), lane_hi);
      const __m128i slots_lo = _mm_or_si128(_mm_and_si128(first_lo, _mm_unpacklo_epi8(next, v)),
                                            _mm_andnot_si128(first_lo, _mm_unpacklo_epi8(v, zero)));
      const __m128i slots_hi = _mm_or_si128(_mm_and_si128(first_hi, _mm_unpackhi_epi8(next, v)),
                                            _mm_andnot_si128(first_hi, _mm_unpackhi_epi8(v, zero)));
      const unsigned k0 = pack_half(out + n, slots_lo, second & 0xFFu);
      const unsigned k1 = pack_half(out + n + k0, slots_hi, (second >> 8) & 0xFFu);
      n += k0 + k1;
    } else {
      n += kPack.kept[second & 0xFFu] + kPack.kept[(second >> 8) & 0xFFu];
    }
    carry = second >> 16;
    fail = false;
  }
  failed = fail;
  chars = n;
  return 16 * k + carry;
}

bool cpu_has_ssse3() noexcept {
  static const bool has = __builtin_cpu_supports("ssse3") != 0;
  return has;
}
#endif

// The decoding loop of the multibyte form. Characters of up to three bytes
// are recognised inline with the root's tables held in registers; longer
// ones continue with the general walk from the node reached. `Terminated`: stop
// after storing the 0 value (the end is not known); otherwise stop at `end`.
// `Ascii`: bytes 0x01..0x7F are one-byte characters; runs of them go eight
// at a time (the eight output slots are written even when the run is
// shorter: the extra ones get 0 and are overwritten by later characters, or
// lie past the values returned but within `count`). `Nul7`: counted input
// whose NUL character is one byte (zero bytes may then join a run).
template <bool Terminated, bool Store, bool Ascii, bool Nul7>
Result<int> decode_loop(const Automaton& a, kw_wchar_t* out, const std::uint8_t* s, const std::uint8_t* end,
                        int count) noexcept {
  const Node* const root = a.root;
  const std::uint8_t* const rcls = root->cls;
  const std::uint8_t* const rindex = root->index;
  Node* const* const rchildren = root->children;
  int i = 0;
  // Decodes one character at `s` (at most `left` bytes) into `value`.
  const FastTables& fast = fast_tables(a);
#if defined(KW_BLOCK_DECODE)
  // Blocks suit code sets of two-byte characters with at most a few longer
  // ones; UTF-8's runs of three-byte characters would only ever be handed
  // back, so it keeps the scalar loops.
  const BlockSets* const sets = a.longest <= 3 && cpu_has_ssse3() ? block_sets(a) : nullptr;
  bool blocks = sets != nullptr;
  int failed_blocks = 0;
  // Whether the last run of pairs was long: text of long runs between
  // rare ASCII words goes faster through the pair and ASCII loops, so
  // blocks wait for a short run.
  bool long_pairs = false;
#endif
  auto one = [&](std::size_t left, std::uint32_t& value) noexcept -> Err {
    const std::uint8_t b = s[0];
    const std::uint8_t c = rcls[b];
    if (c == kComplete) {
      value = b;
      s += 1;
      return Err::None;
    }
    if (c != kMore || left < 2) return Err::Ilseq;
    // Two-byte characters: one bit of the derived pair table instead of a
    // walk through the child node.
    const std::uint8_t b2 = s[1];
    const std::uint32_t pair = (std::uint32_t{b} << 8) | b2;
    if (__builtin_expect(fast_pair(fast, pair), 1)) {
      value = pair;
      s += 2;
      return Err::None;
    }
    if (left < 3) return Err::Ilseq;
    // Three-byte characters: the derived table gives the class table of
    // the node the first two bytes reach. A table other than kZeroTable
    // means that node exists, so the second byte is kMore and the third
    // byte belongs to the character.
    const std::uint8_t* const t3 = fast.third[b][b2];
    if (t3 != kZeroTable && t3[s[2]] == kComplete) {
      value = (pair << 8) | s[2];
      s += 3;
      return Err::None;
    }
    const Node* node = rchildren[rindex[b]];
    const std::uint8_t c2 = node->cls[b2];
    if (c2 != kMore) return Err::Ilseq;
    const std::uint8_t b3 = s[2];
    if (node->children[node->index[b2]]->cls[b3] == kComplete) {
      value = (pair << 8) | b3;
      s += 3;
      return Err::None;
    }
    const std::uint32_t len = long_character(node, s, left, value);
    if (len == 0) return Err::Ilseq;
    s += len;
    return Err::None;
  };
  if constexpr (Ascii) {
    // Main loop: room for a whole run of eight and one character after it,
    // so no bound is tested inside. A run shorter than eight ends at a byte
    // that is not ASCII (or a zero byte, which is the terminator or, when
    // the NUL character is not one byte, not a character by itself).
    while (count - i > 8 && (Terminated || end - s >= 8 + static_cast<long>(kMaxSequence))) {
      // Entered on an ASCII byte only: the run length comes from a chain of
      // dependent operations that runs of multibyte characters need not
      // wait for.
#if defined(KW_BLOCK_DECODE)
      if (blocks && !long_pairs && count - i >= 48 && (Terminated || end - s >= 48)) {
        // Room for three blocks of values: sixteen slots each, and the byte
        // after the last block is inside the counted bytes.
        std::size_t chars = 0;
        const std::size_t nblocks = static_cast<std::size_t>(count - i - 16) / 16;
        const std::size_t limit = Terminated ? nblocks : std::min(nblocks, static_cast<std::size_t>(end - s - 1) / 16);
        bool failed = false;
        kw_wchar_t* const to = out + (Store ? i : 0);
        const std::size_t used = sets->high_lead
                                     ? decode_blocks<Terminated, Store, true>(fast, *sets, to, s, limit, chars, failed)
                                     : decode_blocks<Terminated, Store, false>(fast, *sets, to, s, limit, chars, failed);
        s += used;
        i += static_cast<int>(chars);
        if (used != 0) continue;
        // Text whose blocks keep failing (longer characters) stops trying.
        if (failed && ++failed_blocks == 4) blocks = false;
      }
#endif
      if (s[0] < 0x80) {
        unsigned avail = 8;
        const std::uint64_t w = Terminated ? load_to_word_end(s, avail) : load8(s);
        // Counted input takes zero bytes as characters when the NUL
        // character is one byte: the run then only stops at a high bit.
        const unsigned n = Nul7 ? ascii7_prefix(w) : ascii_prefix(w);
        // The slots past the run get zeros, not the bytes that follow it.
        if constexpr (Store) widen8(out + i, n == 8 ? w : w & ((std::uint64_t{1} << (8 * n)) - 1));
        i += static_cast<int>(n);
        s += n;
        if (n == avail) continue;  // the run goes on in the next word
      }
      // Runs of two-byte characters, each decided by its derived pair bit,
      // entered only on a byte that starts no character of three bytes or
      // more (runs of those would find no pairs). A byte below 0x80 ends
      // the run; any other byte is followed at least by the terminator in
      // terminated input, so the second byte may be read.
      const std::uint8_t* const run = s;
      if (fast.third[s[0]] == kNoThird) {
        std::size_t limit = static_cast<std::size_t>(count - i);
        if (!Terminated && static_cast<std::size_t>(end - s) / 2 < limit) limit = static_cast<std::size_t>(end - s) / 2;
        const std::size_t n = decode_pair_run<Store>(fast, out + (Store ? i : 0), s, limit);
        i += static_cast<int>(n);
        s += 2 * n;
#if defined(KW_BLOCK_DECODE)
        long_pairs = n >= 8;
#endif
      }
      if (s != run) continue;
      std::uint32_t value = 0;
      if (Err e = one(Terminated ? kNoLimit : kMaxSequence, value); e != Err::None) return e;
      if constexpr (Store) out[i] = value;
      if (Terminated && value == 0) return i;
      ++i;
    }
  }
  while (i < count) {
    if (!Terminated && s >= end) break;
    std::uint32_t value = 0;
    if (Err e = one(Terminated ? kNoLimit : static_cast<std::size_t>(end - s), value); e != Err::None) return e;
    if constexpr (Store) out[i] = value;
    if (Terminated && value == 0) return i;
    ++i;
  }
  return i;
}

template <bool Terminated>
Result<int> decode_dispatch(const Automaton& a, kw_wchar_t* out, const std::uint8_t* s, const std::uint8_t* end,
                            int count) noexcept {
  // The ASCII check costs one comparison of 127 bytes: worth it only for
  // longer requests. Zero bytes may join a run only in counted input whose
  // NUL character is one byte.
  const bool ascii = kLittleEndian && count >= 16 && ascii_at_root(a);
  const bool nul7 = !Terminated && a.root->cls[0] == kComplete;
  if (out == nullptr) {
    if (!ascii) return decode_loop<Terminated, false, false, false>(a, out, s, end, count);
    return nul7 ? decode_loop<Terminated, false, true, true>(a, out, s, end, count)
                : decode_loop<Terminated, false, true, false>(a, out, s, end, count);
  }
  if (!ascii) return decode_loop<Terminated, true, false, false>(a, out, s, end, count);
  return nul7 ? decode_loop<Terminated, true, true, true>(a, out, s, end, count)
              : decode_loop<Terminated, true, true, false>(a, out, s, end, count);
}

}  // namespace

Result<int> im_mbfstowcfs_core(const CodecView& v, kw_wchar_t* out, const std::uint8_t* s, int length,
                               int count) noexcept {
  if (length < -1 || count < 0) return Err::Inval;
  if (!usable(v)) return Err::Ilseq;
  if (length == -1) return decode_dispatch<true>(*v.automaton, out, s, nullptr, count);
  return decode_dispatch<false>(*v.automaton, out, s, s + length, count);
}

int is_mbfstowcfs_core(kw_wchar_t* out, const std::uint8_t* s, int length, int count) noexcept {
  int i = 0;
  if (length == -1) {
    for (; i < count; ++i) {
      const std::uint8_t b = s[i];
      if (out != nullptr) out[i] = b;
      if (b == 0) return i;
    }
    return i;
  }
  const int n = length < count ? length : count;
  for (; i < n; ++i) {
    if (out != nullptr) out[i] = s[i];
  }
  return i < 0 ? 0 : i;
}

namespace {

// Leading values among the eight at `ws` that are 1..0x7F, and their low
// bytes packed into `bytes` (first value lowest).
inline unsigned ascii_values8(const kw_wchar_t* ws, std::uint64_t& bytes) noexcept {
#if defined(__SSE2__)
  const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ws));
  const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ws + 4));
  const __m128i zero = _mm_setzero_si128();
  const __m128i limit = _mm_set1_epi32(0x80);
  // Signed compares: values from 0x80000000 up are negative and fail v > 0.
  const __m128i ok0 = _mm_and_si128(_mm_cmpgt_epi32(v0, zero), _mm_cmpgt_epi32(limit, v0));
  const __m128i ok1 = _mm_and_si128(_mm_cmpgt_epi32(v1, zero), _mm_cmpgt_epi32(limit, v1));
  const __m128i ok = _mm_packs_epi16(_mm_packs_epi32(ok0, ok1), zero);
  const unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(ok)) & 0xFFu;
  const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(v0, v1), zero);
  bytes = static_cast<std::uint64_t>(_mm_cvtsi128_si64(packed));
  return static_cast<unsigned>(__builtin_ctz(~mask));
#else
  unsigned n = 0;
  bytes = 0;
  while (n < 8 && ws[n] >= 1 && ws[n] <= 0x7F) {
    bytes |= static_cast<std::uint64_t>(ws[n]) << (8 * n);
    ++n;
  }
  return n;
#endif
}

// Whether the 32 bytes at `p` may be read: the string's current value is
// there and they do not cross a page.
inline bool block_readable(const kw_wchar_t* p) noexcept {
  return (reinterpret_cast<std::uintptr_t>(p) & 4095u) <= 4096u - 32u;
}

// The same for a terminated string whose end is not known: the 32 bytes are
// copied here (the read may pass the 0 value; block_readable keeps it inside
// the page) and examined from the copy.
__attribute__((no_sanitize_address)) inline unsigned ascii_values8_unbounded(const kw_wchar_t* ws,
                                                                            std::uint64_t& bytes) noexcept {
  // In fixed 8-byte pieces, which the compiler expands in place (a library
  // memcpy call would be checked by the address sanitizer).
  kw_wchar_t copy[8];
  for (unsigned k = 0; k < 8; k += 2) __builtin_memcpy(copy + k, ws + k, 8);
  return ascii_values8(copy, bytes);
}

// Encodes one value of `n` bytes (n from wide_length) through the automaton.
inline bool encode_value(const Node* node, std::uint32_t value, std::uint32_t n, std::uint8_t* out) noexcept {
  for (std::uint32_t k = n; k-- > 1;) {
    const auto b = static_cast<std::uint8_t>(value >> (8 * k));
    if (node->cls[b] != kMore) return false;
    *out++ = b;
    node = node->children[node->index[b]];
  }
  const auto b = static_cast<std::uint8_t>(value);
  if (node->cls[b] != kComplete) return false;
  *out = b;
  return true;
}

// Encodes the run of two-byte values (0x100..0xFFFF) at `ws` whose derived
// pair bits are set, at most `limit` of them, two bytes each. Stops before
// any other value (the terminator included). Returns the values encoded.
// Kept out of line so that its few variables stay in registers.
[[gnu::noinline]] std::size_t encode_pair_run(const FastTables& fast, std::uint8_t* out, const kw_wchar_t* ws,
                                              std::size_t limit) noexcept {
  std::size_t k = 0;
  for (; k < limit; ++k) {
    const std::uint32_t v = ws[k];
    if (v - 0x100 >= 0xFF00 || !fast_pair(fast, v)) break;
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v)};
    std::memcpy(out + 2 * k, bytes, 2);
  }
  return k;
}

#if defined(__SSE2__)
// For each set of two-byte lanes among four (bit k: lane k), the bit offset
// of lanes 1..3 in the packed output and the total byte count (byte 3).
struct MixedLayout {
  std::uint8_t shift[3];
  std::uint8_t bytes;
};
constexpr MixedLayout mixed_layout(unsigned two) noexcept {
  MixedLayout m{{0, 0, 0}, 0};
  unsigned at = 0;
  for (unsigned k = 0; k < 4; ++k) {
    if (k > 0) m.shift[k - 1] = static_cast<std::uint8_t>(8 * at);
    at += 1 + ((two >> k) & 1);
  }
  m.bytes = static_cast<std::uint8_t>(at);
  return m;
}
constexpr MixedLayout kMixedLayout[16] = {
    mixed_layout(0),  mixed_layout(1),  mixed_layout(2),  mixed_layout(3),  mixed_layout(4),  mixed_layout(5),
    mixed_layout(6),  mixed_layout(7),  mixed_layout(8),  mixed_layout(9),  mixed_layout(10), mixed_layout(11),
    mixed_layout(12), mixed_layout(13), mixed_layout(14), mixed_layout(15)};
static_assert(kMixedLayout[5].shift[0] == 16 && kMixedLayout[5].shift[1] == 24 && kMixedLayout[5].shift[2] == 40 &&
              kMixedLayout[5].bytes == 6);
#endif

// Encodes the four values at `ws` when each is ASCII (1..0x7F) or a
// two-byte character whose derived pair bit is set: their bytes are packed
// into one word without a branch per value (mixed text switches between
// one- and two-byte characters every few values, and a branch per switch
// mispredicts), and the 8 bytes of the word are stored at `out`. Returns
// the bytes used (4..8), or 0, storing nothing, when any value is neither.
inline unsigned encode_mixed4(const FastTables& fast, const kw_wchar_t* ws, std::uint8_t* out) noexcept {
#if defined(__SSE2__)
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(ws));
  // Signed compares: values from 0x80000000 up are negative and fail both.
  const __m128i one = _mm_and_si128(_mm_cmpgt_epi32(v, _mm_setzero_si128()), _mm_cmpgt_epi32(_mm_set1_epi32(0x80), v));
  const __m128i range =
      _mm_and_si128(_mm_cmpgt_epi32(v, _mm_set1_epi32(0xFF)), _mm_cmpgt_epi32(_mm_set1_epi32(0x10000), v));
  const auto one_bits = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(one)));
  const auto range_bits = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(range)));
  // The pair bit of each lane's low 16 bits.
  unsigned pair_bits = 0;
  for (unsigned k = 0; k < 4; ++k) {
    const std::uint32_t p = ws[k] & 0xFFFF;
    pair_bits |= static_cast<unsigned>((fast.pairs[p >> 6] >> (p & 63)) & 1) << k;
  }
  const unsigned two = range_bits & pair_bits;
  if ((one_bits | two) != 15) return 0;
  // Each lane as 16 bits: the low byte alone, or both bytes high first.
  const __m128i lo = _mm_and_si128(v, _mm_set1_epi32(0xFF));
  const __m128i swapped = _mm_or_si128(_mm_and_si128(_mm_srli_epi32(v, 8), _mm_set1_epi32(0xFF)), _mm_slli_epi32(lo, 8));
  const __m128i lanes = _mm_or_si128(_mm_and_si128(range, swapped), _mm_andnot_si128(range, lo));
  // Lanes 0..3 as four 16-bit fields of one word.
  const __m128i packed = _mm_shuffle_epi32(_mm_shufflehi_epi16(_mm_shufflelo_epi16(lanes, 0x08), 0x08), 0x08);
  const auto fields = static_cast<std::uint64_t>(_mm_cvtsi128_si64(packed));
  const MixedLayout& m = kMixedLayout[two];
  const std::uint64_t word = (fields & 0xFFFF) | (((fields >> 16) & 0xFFFF) << m.shift[0]) |
                             (((fields >> 32) & 0xFFFF) << m.shift[1]) | ((fields >> 48) << m.shift[2]);
  std::memcpy(out, &word, sizeof word);
  return m.bytes;
#else
  std::uint8_t bytes[8];
  unsigned n = 0;
  for (unsigned k = 0; k < 4; ++k) {
    const std::uint32_t v = ws[k];
    if (v - 1 < 0x7F) {
      bytes[n++] = static_cast<std::uint8_t>(v);
    } else if (v - 0x100 < 0xFF00 && fast_pair(fast, v)) {
      bytes[n++] = static_cast<std::uint8_t>(v >> 8);
      bytes[n++] = static_cast<std::uint8_t>(v);
    } else {
      return 0;
    }
  }
  std::memcpy(out, bytes, n);
  return n;
#endif
}

// The same for a terminated string whose end is not known: the four values
// are copied first (see ascii_values8_unbounded; the caller checks that the
// 16 bytes do not cross a page).
__attribute__((no_sanitize_address)) inline unsigned encode_mixed4_unbounded(const FastTables& fast,
                                                                            const kw_wchar_t* ws,
                                                                            std::uint8_t* out) noexcept {
  kw_wchar_t copy[4];
  for (unsigned k = 0; k < 4; k += 2) __builtin_memcpy(copy + k, ws + k, 8);
  return encode_mixed4(fast, copy, out);
}

// Encodes blocks of four values (encode_mixed4) from `ws` while they
// succeed, at most `values` values (counted input) and while 8 bytes of
// room remain of `room`. Returns the values encoded; `bytes` receives the
// bytes written. Kept out of line so that its variables stay in registers.
template <bool Terminated>
[[gnu::noinline]] std::size_t encode_mixed_run(const FastTables& fast, std::uint8_t* out, const kw_wchar_t* ws,
                                               std::size_t values, std::size_t room, std::size_t& bytes) noexcept {
  std::size_t k = 0;
  std::size_t w = 0;
  while (room - w >= 8 && (Terminated ? block_readable(ws + k) : values - k >= 4)) {
    const unsigned n = Terminated ? encode_mixed4_unbounded(fast, ws + k, out + w) : encode_mixed4(fast, ws + k, out + w);
    if (n == 0) break;
    w += n;
    k += 4;
  }
  bytes = w;
  return k;
}

// The multibyte encoding loop. `Ascii`: values 1..0x7F are one-byte
// characters; runs of them are encoded eight at a time (eight output bytes
// are written when room allows, the extra ones overwritten later or left
// past the count returned).
template <bool Terminated, bool Ascii>
Result<int> encode_loop(const Automaton& a, std::uint8_t* out, const kw_wchar_t* ws, int wlength, int room,
                        std::uint32_t term) noexcept {
  const Node* const root = a.root;
  const std::uint8_t* const rcls = root->cls;
  const std::uint8_t* const rindex = root->index;
  Node* const* const rchildren = root->children;
  Automaton lengths{};  // the shortest length, copied out of reach of the stores
  lengths.shortest = a.shortest;
  int written = 0;
  int i = 0;
  const bool two_byte_values = a.shortest <= 2;
  const FastTables& fast = fast_tables(a);
  // Blocks of four mixed values pay off where every character has one or
  // two bytes; elsewhere longer characters would end most blocks at once.
  const bool mixed_blocks = a.shortest == 1 && a.longest == 2 && a.fast != nullptr;
  for (;;) {
    if constexpr (Ascii) {
      // Mixed text of ASCII and two-byte characters goes in blocks of four
      // values without a branch per change of length.
      if (mixed_blocks) {
        std::size_t bytes = 0;
        const std::size_t n = encode_mixed_run<Terminated>(
            fast, out + written, ws + i, Terminated ? 0 : static_cast<std::size_t>(wlength - i),
            static_cast<std::size_t>(room - written), bytes);
        written += static_cast<int>(bytes);
        i += static_cast<int>(n);
      }
    }
    if (!Terminated && i >= wlength) return written;
    const std::uint32_t value = ws[i];
    // Values 0x100..0xFFFF take two bytes wherever the shortest character
    // has at most two: tested first, in one comparison.
    if (two_byte_values && value - 0x100 < 0xFF00) {
      if (room - written < 2) return written;
      // The run of them decided by derived pair bits.
      std::size_t limit = static_cast<std::size_t>(room - written) / 2;
      if (!Terminated && static_cast<std::size_t>(wlength - i) < limit) limit = static_cast<std::size_t>(wlength - i);
      const std::size_t run = encode_pair_run(fast, out + written, ws + i, limit);
      if (run != 0) {
        written += 2 * static_cast<int>(run);
        i += static_cast<int>(run);
        continue;
      }
      // Without derived tables, or for a value that is no character: the nodes.
      const auto b0 = static_cast<std::uint8_t>(value >> 8);
      const auto b1 = static_cast<std::uint8_t>(value);
      if (rcls[b0] != kMore || rchildren[rindex[b0]]->cls[b1] != kComplete) return Err::Ilseq;
      const std::uint8_t pair[2] = {b0, b1};
      std::memcpy(out + written, pair, 2);
      written += 2;
      ++i;
      continue;
    }
    if constexpr (Ascii) {
      // Entered on an ASCII value only: the run length comes from a long
      // dependency chain that multibyte runs need not wait for.
      if (value - 1 < 0x7F && room - written >= 8 && (Terminated ? block_readable(ws + i) : wlength - i >= 8)) {
        std::uint64_t bytes;
        const unsigned n = Terminated ? ascii_values8_unbounded(ws + i, bytes) : ascii_values8(ws + i, bytes);
        bytes = n == 8 ? bytes : bytes & ((std::uint64_t{1} << (8 * n)) - 1);
        std::memcpy(out + written, &bytes, 8);
        written += static_cast<int>(n);
        i += static_cast<int>(n);
        continue;
      }
    }
    if (Terminated && value == 0) {
      // The terminator is written when it fits and is not counted.
      if (static_cast<std::uint32_t>(room - written) >= term) std::memset(out + written, 0, term);
      return written;
    }
    const std::uint32_t n = wide_length(lengths, value);
    if (n > static_cast<std::uint32_t>(room - written)) return written;
    if (n == 3) {
      // Inline, with the root's tables held in locals: byte stores to `out`
      // could otherwise alias them and force reloads.
      const auto b0 = static_cast<std::uint8_t>(value >> 16);
      const auto b1 = static_cast<std::uint8_t>(value >> 8);
      const auto b2 = static_cast<std::uint8_t>(value);
      // A derived table other than kZeroTable is the class table of the
      // node b0 b1 lead to; kZeroTable leaves the answer to the nodes.
      const std::uint8_t* const t3 = fast.third[b0][b1];
      if (t3 != kZeroTable) {
        if (t3[b2] != kComplete) return Err::Ilseq;
      } else {
        if (rcls[b0] != kMore) return Err::Ilseq;
        const Node* n1 = rchildren[rindex[b0]];
        if (n1->cls[b1] != kMore || n1->children[n1->index[b1]]->cls[b2] != kComplete) return Err::Ilseq;
      }
      const std::uint8_t triple[3] = {b0, b1, b2};
      std::memcpy(out + written, triple, 3);
    } else if (n == 1) {
      if (rcls[value & 0xFF] != kComplete) return Err::Ilseq;
      out[written] = static_cast<std::uint8_t>(value);
    } else if (!encode_value(root, value, n, out + written)) {
      return Err::Ilseq;
    }
    written += static_cast<int>(n);
    ++i;
  }
}

}  // namespace

Result<int> wcstombs_core(const CodecView& v, std::uint8_t* out, const kw_wchar_t* ws, int wlength, int room,
                          bool is_form) noexcept {
  if (wlength < -1 || room < 0) return Err::Inval;
  if (is_form || v.single_byte != 0) {
    // Single-byte: each value is its byte (the is form refuses values above
    // 255; the full form keeps the low byte).
    int written = 0;
    for (int i = 0;; ++i) {
      if (wlength != -1 && i >= wlength) return written;
      const std::uint32_t value = ws[i];
      if (wlength == -1 && value == 0) {
        if (written < room) out[written] = 0;
        return written;
      }
      if (is_form && value > 0xFF) return Err::Ilseq;
      if (written >= room) return written;
      out[written++] = static_cast<std::uint8_t>(value);
    }
  }
  if (!usable(v)) return Err::Ilseq;
  const Automaton& a = *v.automaton;
  const std::uint32_t term = term_length(v);
  const bool ascii = kLittleEndian && room >= 16 && ascii_at_root(a);
  if (wlength == -1) {
    return ascii ? encode_loop<true, true>(a, out, ws, wlength, room, term)
                 : encode_loop<true, false>(a, out, ws, wlength, room, term);
  }
  return ascii ? encode_loop<false, true>(a, out, ws, wlength, room, term)
               : encode_loop<false, false>(a, out, ws, wlength, room, term);
}

Result<const std::uint8_t*> getmbsi(const CodecView& v, const std::uint8_t* s, int index) noexcept {
  if (index < 0) return Err::BadIndex;
  if (v.single_byte != 0) {
    const std::size_t n = std::strlen(reinterpret_cast<const char*>(s));
    if (static_cast<std::size_t>(index) > n) return Err::BadIndex;
    return s + index;
  }
  if (!usable(v)) return Err::Ilseq;
  for (int i = 0; i < index; ++i) {
    const Match m = automaton_walk(*v.automaton, s, kNoLimit);
    if (m.err != Err::None) return m.err;
    if (m.value == 0) return Err::BadIndex;  // the string ends before that character
    s += m.len;
  }
  return s;
}

Result<TrailingRun> mbs_trailing_run(const CodecView& v, const std::uint8_t* s, int length) noexcept {
  if (length < -1) return Err::Inval;
  if (v.single_byte == 0 && !usable(v)) return Err::Ilseq;
  TrailingRun r{0, 0, nullptr};
  int pending_chars = 0;
  int pending_bytes = 0;
  const std::uint8_t* p = s;
  std::size_t left = length == -1 ? kNoLimit : static_cast<std::size_t>(length);
  while (length == -1 || left > 0) {
    const Match m = decode_one(v, p, length == -1 ? kNoLimit : left);
    if (m.err != Err::None) return m.err;
    if (length == -1 && m.value == 0) break;
    const std::uint16_t c = class_of(v, m);
    if ((c & kClassBlank) != 0 && (c & kClassCntrl) == 0) {
      if (pending_chars == 0) r.run = p;
      ++pending_chars;
      pending_bytes += static_cast<int>(m.len);
    } else {
      r.chars += pending_chars + 1;
      r.bytes += pending_bytes + static_cast<int>(m.len);
      pending_chars = pending_bytes = 0;
      r.run = nullptr;
    }
    p += m.len;
    if (length != -1) left -= m.len;
  }
  return r;
}

Result<TrailingRun> wcs_trailing_run(const CodecView& v, const kw_wchar_t* s, int length, bool exclude_cntrl,
                                     bool& above_byte) noexcept {
  above_byte = false;
  if (length < -1) return Err::Inval;
  TrailingRun r{0, 0, nullptr};
  int pending = 0;
  for (int i = 0; length == -1 || i < length; ++i) {
    const std::uint32_t value = s[i];
    if (length == -1 && value == 0) break;
    bool known = false;
    const std::uint16_t c = wide_class(v, value, known);
    if (!known && v.single_byte != 0) above_byte = true;
    const bool in_run = known && (c & kClassSpace) != 0 && (!exclude_cntrl || (c & kClassCntrl) == 0);
    if (in_run) {
      if (pending == 0) r.run = s + i;
      ++pending;
    } else {
      r.chars += pending + 1;
      pending = 0;
      r.run = nullptr;
    }
  }
  r.bytes = r.chars * static_cast<int>(sizeof(kw_wchar_t));
  return r;
}

int im_mbfstowcfs(kw_locale* h, kw_wchar_t* out, const char* s, int length, int count) noexcept {
  if (h == nullptr) return -1;
  if (s == nullptr) {
    frame::store_error(h, Err::BadPtr);
    return -1;
  }
  const Result<int> r = im_mbfstowcfs_core(view(h), out, reinterpret_cast<const std::uint8_t*>(s), length, count);
  if (!r) {
    frame::store_error(h, r.error());
    return -1;
  }
  return *r;
}

int is_mbfstowcfs(kw_locale* h, kw_wchar_t* out, const char* s, int length, int count) noexcept {
  if (h == nullptr) return -1;
  if (s == nullptr) {
    frame::store_error(h, Err::BadPtr);
    return -1;
  }
  if (length < -1 || count < 0) {
    frame::store_error(h, Err::Inval);
    return -1;
  }
  return is_mbfstowcfs_core(out, reinterpret_cast<const std::uint8_t*>(s), length, count);
}

}  // namespace kw::codeset
