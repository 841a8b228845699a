// Test-only reset of every piece of process-wide state.
#pragma once

namespace kw {

// Returns the library to its load-time state: hooks table and flag, the
// diagnostics switches, the registry cache and the locale cache. For tests,
// so that no test depends on the order in which tests run.
void reset_process_state_for_tests() noexcept;

}  // namespace kw
