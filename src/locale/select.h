// Locale creation and selection, shared by the exported functions.
#pragma once

#include <cstddef>

#include "locale/locale.h"

namespace kw::locale {

// The locale string's buffer, and the longest specification accepted.
inline constexpr std::size_t kLocaleStringSize = 311;
inline constexpr std::size_t kMaxSpecLength = 311;

// The selection worker: loads `category` (or KW_ALL) of `h` from the
// locale that `spec` names (or the environment when it is empty; a null
// spec only queries). Returns the new locale string, or null with the
// error stored in `h`.
char* select_locale(kw_locale& h, int category, const char* spec, const char* dir) noexcept;

// kw_createlocale2_4 and kw_lc_load.
int create_default_locale(kw_locale** result, const char* dir) noexcept;
int load_locale(kw_locale** result, const char* spec, const char* registry, const char* dir) noexcept;

}  // namespace kw::locale
