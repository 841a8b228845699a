// The character codec's core: recognising, decoding, encoding and measuring
// multibyte characters over a locale's CodecView. Functions here return
// errors; the exported facade stores them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codeset/automaton.h"
#include "codeset/codec.h"
#include "frame/err.h"
#include "kwa.h"

namespace kw::codeset {

// Class-mask bits the trailing-space operations test.
inline constexpr std::uint16_t kClassSpace = 16;
inline constexpr std::uint16_t kClassCntrl = 32;
inline constexpr std::uint16_t kClassBlank = 1024;

// Largest limit used for "no length limit": the walk never reads more than
// kMaxSequence bytes of one character.
inline constexpr std::size_t kNoLimit = kMaxSequence;

inline const CodecView& view(const kw_locale* h) noexcept { return head(h).codec; }

// True when the view can decode: an automaton is present.
inline bool usable(const CodecView& v) noexcept { return v.automaton != nullptr && v.automaton->root != nullptr; }

// Recognises one character: one byte in single-byte code sets (the byte is
// the value), else the automaton walk with at most `limit` bytes.
inline Match decode_one(const CodecView& v, const std::uint8_t* s, std::size_t limit) noexcept {
  if (v.single_byte != 0) return Match{1, s[0], nullptr, s[0], Err::None};
  return automaton_walk(*v.automaton, s, limit);
}

// The 16-bit class mask of a recognised character.
inline std::uint16_t class_of(const CodecView& v, const Match& m) noexcept {
  if (v.single_byte != 0) return v.sb_class != nullptr ? v.sb_class[m.last] : 0;
  const Automaton& a = *v.automaton;
  if (a.data_size < 2) return 0;
  const std::uint8_t* d = automaton_data(a, m.node, m.last);
  if (d == nullptr) return 0;
  std::uint16_t c;
  std::memcpy(&c, d, sizeof c);
  return c;
}

// The class mask of a wide value; `known` is false when the value has no
// character in the code set.
std::uint16_t wide_class(const CodecView& v, std::uint32_t value, bool& known) noexcept;

// Length of the terminator: the shortest character's bytes.
inline std::uint32_t term_length(const CodecView& v) noexcept {
  return v.shortest >= 1 && v.shortest <= kMaxSequence ? v.shortest : 1;
}

// The byte length of `s` up to and including its terminator; 0 on a
// decoding error (stored in `err`).
std::size_t mbs_bytes(const CodecView& v, const std::uint8_t* s, Err& err) noexcept;

// Resolves a length argument: -1 gives the string's length without its
// terminator (Short when that is below 1); other lengths below 1 are Short.
Result<std::size_t> resolve_length(const CodecView& v, const std::uint8_t* s, int length) noexcept;

// Encodes `value` (the encoding walk, ignoring the single-byte flag) into
// `out` (room for 4). Returns the byte count.
Result<int> encode(const CodecView& v, std::uint32_t value, std::uint8_t* out) noexcept;

// Characters before the NUL character, always through the automaton.
Result<int> im_mbslen(const CodecView& v, const std::uint8_t* s) noexcept;

// Characters in the first `length` bytes (-1: up to the terminator).
Result<int> im_mbfslen(const CodecView& v, const std::uint8_t* s, int length) noexcept;

// Decodes up to `count` characters (the multibyte form); `out` may be null
// to count only. See kw_im_mbstowcs / qrt_kw_im_mbfstowcfs.
Result<int> im_mbfstowcfs_core(const CodecView& v, kw_wchar_t* out, const std::uint8_t* s, int length,
                               int count) noexcept;

// The single-byte form: bytes become values. Returns the values stored
// before a stored 0 (-1 length) or all values stored.
int is_mbfstowcfs_core(kw_wchar_t* out, const std::uint8_t* s, int length, int count) noexcept;

// Encodes a wide string into at most `room` bytes: the full form (the
// single-byte flag decides) or, with `is_form`, the single-byte form (every
// value must be below 256). See qrt_kw_full_wcstombs / qrt_kw_is_wcstombs.
Result<int> wcstombs_core(const CodecView& v, std::uint8_t* out, const kw_wchar_t* ws, int wlength, int room,
                          bool is_form) noexcept;

// Start of character number `index` of `s`; BadIndex when the string ends
// first.
Result<const std::uint8_t*> getmbsi(const CodecView& v, const std::uint8_t* s, int index) noexcept;

// The trailing run of a string: characters (or values) counted without the
// run, their bytes, and the run's start (null when there is none).
struct TrailingRun {
  int chars;
  int bytes;
  const void* run;
};

// Multibyte form: a character is in the run when it is blank and not cntrl.
// `length` -1 walks to the terminator, else exactly `length` bytes.
Result<TrailingRun> mbs_trailing_run(const CodecView& v, const std::uint8_t* s, int length) noexcept;

// Wide form: a value is in the run when it is space (and, with
// `exclude_cntrl`, not cntrl). `length` -1 walks to the 0 value. In a
// single-byte locale a value above 255 is not a space and sets
// `above_byte` (the caller stores Ilseq for it).
Result<TrailingRun> wcs_trailing_run(const CodecView& v, const kw_wchar_t* s, int length, bool exclude_cntrl,
                                     bool& above_byte) noexcept;

// Entry points the locale loader installs as LocaleHead::mbfstowcfs: the
// multibyte (automaton) and the single-byte forms of qrt_kw_im_mbfstowcfs,
// storing their error in the handle.
int im_mbfstowcfs(kw_locale* h, kw_wchar_t* out, const char* s, int length, int count) noexcept;
int is_mbfstowcfs(kw_locale* h, kw_wchar_t* out, const char* s, int length, int count) noexcept;

}  // namespace kw::codeset
