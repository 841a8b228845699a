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
std::FILE* kw_find_object(void* handle, const char* name, const char* kind, const char* version,
                          int direct) noexcept;

// Opens `path` through kw_ext_fopen after replacing every 0xFF byte (the
// directory marker of locale file names) by the platform separator; a marker
// that directly follows a separator is dropped. Reports the attempt; on
// failure, or for a result that with its terminator does not fit in
// kMaxObjectPath bytes, stores Err::NoFile in `handle` (when given).
std::FILE* kw_open_escaped(void* handle, const char* path) noexcept;

namespace kw::frame {

// Receives one directory searched for a relative name: `dir` ends in a
// separator; `fits` is false when the directory was cut at kMaxObjectPath.
// Returns true to stop the walk.
using SearchDirVisitor = bool (*)(void* context, const char* dir, bool fits) noexcept;

// Walks the directories that kw_find_object tries for a relative name of
// `kind` and `version`, in order: each element of KW_PATH, else the two
// kind directories under KESTAVORDIR or the installation directory.
// Returns true when `visit` stopped the walk.
bool visit_search_dirs(const char* kind, const char* version, SearchDirVisitor visit, void* context) noexcept;

}  // namespace kw::frame
