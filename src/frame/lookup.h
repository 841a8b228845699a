// Object file lookup: finds compiled objects (charmaps, locales, conversions)
// and the registry by name, kind and format version.
#pragma once

#include <cstdio>

// Longest path built for one open attempt, terminator included. Longer
// combinations are refused with Err::NoFile.
inline constexpr unsigned kMaxObjectPath = 1024;

// Finds and opens `name` (mode "r"): as given when absolute, else along
// KW_PATH, else under KESTAVORDIR or the installation directory in
// kwa/<kind><version>/ and then kwa/<kind>/. Every attempt is reported
// through kw_diag. direct = 0 opens through kw_ext_fopen, direct = 1 with the
// C library's fopen. On failure stores Err::NoFile in `handle` (when given).
std::FILE* kw_find_object(void* handle, const char* name, const char* kind,
                          const char* version, int direct) noexcept;

// Opens `path` through kw_ext_fopen after escaping every 0xFF byte (the
// directory-separator marker of locale file names) with a preceding
// separator... see lookup.cpp for the exact rule. Reports the attempt; on
// failure stores Err::NoFile in `handle` (when given).
std::FILE* kw_open_escaped(void* handle, const char* path) noexcept;
