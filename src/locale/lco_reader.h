// The locale object readers: the whole-locale reader (all six categories
// from one object) and the one-category reader.
#pragma once

#include <cstdio>

#include "frame/err.h"
#include "locale/locale.h"

namespace kw::locale {

// What a reader returns for a failure that stores no error of its own (an
// unknown collation kind line); the selection then reports Err::LoadFailed.
inline constexpr Err kSilentFailure = Err::LoadFailed;

// Reads the header and all six sections of `f` into `h` (categories made
// null beforehand). Closes `f` on success only.
Err read_whole_locale(kw_locale& h, std::FILE* f) noexcept;

// Reads the header and the section of `category` (2..7) of `f` into `h`,
// leaving the other categories alone. Does not close `f`.
Err read_one_category(kw_locale& h, int category, std::FILE* f) noexcept;

}  // namespace kw::locale
