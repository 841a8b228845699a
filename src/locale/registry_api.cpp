// Exported code-set name lookup and registry cache functions.
#include "frame/export.h"
#include "frame/hooks.h"
#include "locale/registry.h"

using kw::Err;
namespace lc = kw::locale;

KW_EXPORT std::uint16_t KW_CALL kw_cs_name2cs_num(void* handle, const char* name, const char* registry) {
  if (name == nullptr) {
    kw::frame::store_error(handle, Err::BadPtr);
    return lc::kUnknownCodeset;
  }
  kw::Result<std::uint16_t> number = lc::cs_name2cs_num(name, registry);
  if (!number.ok()) {
    kw::frame::store_error(handle, number.error());
    return lc::kUnknownCodeset;
  }
  return *number;
}

KW_EXPORT int KW_CALL kw_cache_registry(void* handle, const char* registry) {
  const Err e = lc::cache_registry(registry);
  if (e != Err::None) {
    kw::frame::store_error(handle, e);
    return -1;
  }
  return 0;
}

KW_EXPORT int KW_CALL kw_free_registry_cache(void) {
  lc::free_registry_cache();
  return 0;
}
