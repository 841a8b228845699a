// The character codec's view of a locale handle, and the handle's head.
#pragma once

#include <cstdint>

#include "codeset/automaton.h"
#include "kwa.h"

namespace kw::codeset {

// What the codec reads from a locale handle. The locale loader fills it after
// every CTYPE load; a null locale has an empty automaton (shortest 4,
// longest 0).
struct CodecView {
  const Automaton* automaton;   // the locale's character automaton (16-bit class data)
  const std::uint16_t* sb_class;  // 256 class masks, single-byte locales only, else null
  std::uint32_t single_byte;    // 1 when every character is one byte and value = byte
  std::uint32_t shortest;       // kw_mb_loc_min: the automaton's shortest sequence
  std::uint32_t longest;        // kw_mb_loc_max: the automaton's longest sequence
};

// Entry points chosen by the locale loader after each load.
using MbfsToWcfs = int (*)(kw_locale*, kw_wchar_t*, const char*, int, int) noexcept;
using MbsColl = int (*)(kw_locale*, const char*, const char*) noexcept;
using MbfsColl = int (*)(kw_locale*, const char*, int, const char*, int) noexcept;
using MbsXfrm = int (*)(kw_locale*, char*, const char*, int) noexcept;

// The first fields of every locale handle: the error slot, then the frame
// fields. The locale record embeds this as its first member, so a
// kw_locale* may be read as a LocaleHead*.
struct LocaleHead {
  std::uint32_t error;       // the error slot (default target of kw_ext_errno)
  CodecView codec;
  MbfsToWcfs mbfstowcfs;     // length-taking multibyte-to-wide (is or im form)
  MbsColl coll;              // collation of terminated strings
  MbfsColl fscoll;           // collation with byte lengths
  MbsXfrm xfrm;              // sort keys
};

inline LocaleHead& head(kw_locale* h) noexcept { return *reinterpret_cast<LocaleHead*>(h); }
inline const LocaleHead& head(const kw_locale* h) noexcept {
  return *reinterpret_cast<const LocaleHead*>(h);
}

}  // namespace kw::codeset
