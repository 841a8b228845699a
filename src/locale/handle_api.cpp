// Exported functions of locale handles: null locales and categories,
// copying and freeing, creation, selection and loading.
#include <cinttypes>

#include "frame/diag.h"
#include "frame/export.h"
#include "frame/hooks.h"
#include "frame/mem.h"
#include "locale/locale.h"
#include "locale/select.h"

namespace lc = kw::locale;

namespace {

// Frees a handle that owns its categories, with its log line. The line
// prints the whole address, not only its low 32 bits, so that it names the
// handle on 64-bit platforms too.
void free_handle(kw_locale* h) noexcept {
  kw::frame::diagf("freeing locale 0x%" PRIxPTR "\n", reinterpret_cast<std::uintptr_t>(h));
  lc::free_locale(h);
}

}  // namespace

KW_EXPORT int KW_CALL kw_create_null_locale_4(kw_locale** result) {
  if (result == nullptr) return -1;
  auto made = lc::create_null_locale();
  if (!made) {
    *result = lc::out_of_memory_handle();
    return -1;
  }
  *result = *made;
  return 0;
}

KW_EXPORT void KW_CALL kw_make_null_category(kw_locale* handle, int category) {
  if (handle == nullptr || lc::is_static_handle(handle)) return;
  const kw::Err e = lc::make_null_category(*handle, category);
  if (e != kw::Err::None) kw::frame::store_error(handle, e);
}

KW_EXPORT void KW_CALL kw_free_category(kw_locale* handle, int category) {
  if (handle == nullptr || lc::is_static_handle(handle)) return;
  lc::free_category(*handle, category);
}

KW_EXPORT int KW_CALL kw_copy_cat(kw_locale* target, kw_locale* source, int category) {
  if (target == nullptr || source == nullptr) return -1;
  if (lc::is_static_handle(target)) return -1;
  const kw::Err e = lc::copy_category(*target, *source, category);
  if (e == kw::Err::None) return 0;
  kw::frame::store_error(target, e);
  // A code-set mismatch keeps the copy, as it keeps a load.
  return e == kw::Err::CodesetMismatch ? 0 : -1;
}

// The derived single-byte tables are rebuilt per handle by every load or
// copy, so they are freed here whether or not the handle was cached.
KW_EXPORT void KW_CALL kw_free_nonshared_loc(kw_locale* handle) {
  if (handle == nullptr || lc::is_static_handle(handle)) return;
  if (lc::CacheEntry* e = lc::cache_find_handle(handle)) {
    if (--e->refs >= 1) return;
    lc::cache_remove(e);
  }
  lc::free_nonshared(handle);
}

KW_EXPORT void KW_CALL kw_lc_unload(kw_locale* handle) {
  if (handle == nullptr || lc::is_static_handle(handle)) return;
  if (lc::CacheEntry* e = lc::cache_find_handle(handle)) {
    if (--e->refs >= 1) return;
    lc::cache_remove(e);
  }
  free_handle(handle);
}

KW_EXPORT int KW_CALL kw_createlocale_4(kw_locale** result) {
  if (result == nullptr) return -1;
  return lc::create_default_locale(result, nullptr);
}

KW_EXPORT int KW_CALL kw_createlocale2_4(kw_locale** result, const char* directory) {
  if (result == nullptr) return -1;
  return lc::create_default_locale(result, directory);
}

KW_EXPORT char* KW_CALL kw_setlocale_4(kw_locale* handle, int category, const char* spec) {
  if (handle == nullptr || lc::is_static_handle(handle)) return nullptr;
  if (spec != nullptr) kw::frame::store_error(handle, kw::Err::None);
  return lc::select_locale(*handle, category, spec, nullptr);
}

KW_EXPORT int KW_CALL kw_lc_load(kw_locale** result, const char* spec, const char* registry,
                                 const char* directory) {
  if (result == nullptr) return -1;
  return lc::load_locale(result, spec, registry, directory);
}
