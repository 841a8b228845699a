// Test-only reset of every piece of process-wide state.
#include "process_state.h"

#include "codeset/charmap.h"

#include "frame/diag.h"
#include "frame/hooks.h"
#include "locale/locale.h"
#include "locale/registry.h"

namespace kw {

void reset_process_state_for_tests() noexcept {
  // Each subsystem with process-wide state resets it here.
  locale::reset_locale_cache_for_tests();  // frees handles through the hooks
  locale::reset_registry_for_tests();  // frees through the hooks, so before they go
  frame::reset_hooks_for_tests();
  frame::reset_diag_for_tests();
  codeset::reset_charmap_for_tests();
}

}  // namespace kw
