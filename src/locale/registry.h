// Code-set names and numbers: the registry file, its in-memory cache and the
// built-in table that stands in when the registry cannot be cached.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "frame/err.h"

namespace kw::locale {

// The code-set number that means "unknown"; every failed lookup returns it.
inline constexpr std::uint16_t kUnknownCodeset = 0xE000;
// Longest code-set name; longer query names are cut to this length.
inline constexpr std::size_t kMaxCodesetName = 21;

// Where lookups go, process-wide.
enum class RegistryState {
  File,     // every lookup reads the registry file anew
  Cached,   // lookups use the list read by cache_registry
  Builtin,  // caching failed: lookups use the built-in table
};

RegistryState registry_state() noexcept;

// The number of code-set name `name` (folded to lower case, cut to 21
// characters): from the cache, the built-in table or the registry file as
// the state says; then, failing that, an all-digit name below 65536 is its
// own number. `registry` is the registry file's path, or null for the file
// "registry" found along the object search path (kind "cm", version "3").
// Errors: NoMem, Short (unknown name), BadType (malformed registry number),
// Format (registry file cannot be opened in the file state).
Result<std::uint16_t> cs_name2cs_num(std::string_view name, const char* registry) noexcept;

// Reads the registry into the cache, replacing any earlier cache. On failure
// the built-in table is switched on and the error returned (Format: no file,
// NoMem, BadType: malformed number).
Err cache_registry(const char* registry) noexcept;

// Frees the cache and switches the built-in table off: the file state.
void free_registry_cache() noexcept;

// The first name that maps to `number`, in the order lookups search (file or
// cache order, else built-in table order), skipping the names "c" and
// "posix", which name the C locale rather than a code set, and names holding
// '@', which a specification cannot carry. Writes it with its
// terminator into `out` (at least 22 bytes). Returns false when no name maps
// to the number; errors as for cs_name2cs_num.
Result<bool> cs_num2cs_name(std::uint16_t number, const char* registry, char* out) noexcept;

// Frees the cache and returns to the file state; tests call it between cases.
void reset_registry_for_tests() noexcept;

}  // namespace kw::locale
