// Locale sources shared by the fixture generator, the tests and the
// benchmark: the POSIX default locale and locales in a single-byte, a
// two-byte-minimum and a multibyte code set, plus broken variants.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "lco_writer.h"

namespace kw::testing {

// Code sets of the fixtures: registry name, number and the file-name digits.
inline constexpr char kLatin1Name[] = "8859-1";       // 819, 0333
inline constexpr char kTwoByteName[] = "twobyte";     // 60001, ea61
inline constexpr std::uint16_t kTwoByteNumber = 60001;
inline constexpr char kUtf8Name[] = "utf8";           // 57372, e01c
inline constexpr char kOtherName[] = "ibm-437";       // 437, 01b5

// The registry that the fixtures need.
std::string fixture_registry();

// Character class masks of the C locale for a byte value.
std::uint16_t c_class_mask(unsigned byte);

// The POSIX locale in code set 819 (default.lco).
writers::LocaleSource posix_locale();
// An English locale in code set 819 with a named class, case pairs,
// collating elements, expansions, grouping, eras and alternative digits
// (en_us/0333.lco).
writers::LocaleSource latin1_locale();
// The same data in a code set whose characters all have two bytes
// (xx_yy/ea61.lco).
writers::LocaleSource twobyte_locale();
// A Japanese-like locale in UTF-8 with a subset of the characters
// (ja_jp/e01c.lco).
writers::LocaleSource utf8_locale();
// Every UTF-8 character (U+0000..U+10FFFF without surrogates) with class
// masks, for the load benchmark.
writers::LcoAutomaton full_utf8_classes();

// Broken variants of the POSIX locale, one per failure of the reader:
// (file name, object text).
std::vector<std::pair<std::string, std::string>> broken_objects();

// Encodes ASCII text in the two-byte code set / UTF-8 text as-is.
std::string two_bytes(const std::string& ascii);

}  // namespace kw::testing
