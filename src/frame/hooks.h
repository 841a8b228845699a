// The external function table: process-wide platform hooks and their
// dispatchers. Every file, heap, environment and clock access of the library
// goes through the kw_ext_* dispatchers declared in kwa.h.
#pragma once

#include <cstdint>

#include "frame/err.h"
#include "kwa.h"

namespace kw::frame {

// Writes `e` into the error slot of `handle`, found through kw_ext_errno
// (slot 1). A null slot address (null handle, or a hook that returns null)
// drops the error instead of crashing.
void store_error(const void* handle, Err e) noexcept;

// Reads the error slot of `handle` through kw_ext_errno; 0 for a null slot.
std::uint32_t load_error(const void* handle) noexcept;

// Restores the table to its load-time state: every slot empty and the
// hooks-set flag cleared. For tests only (the flag is never cleared otherwise).
void reset_hooks_for_tests() noexcept;

}  // namespace kw::frame
