// Exported information queries: items, conventions, character lengths.
#include "frame/export.h"
#include "frame/hooks.h"
#include "locale/info.h"

namespace lc = kw::locale;

namespace {

// The narrow and wide strings of `item`, both null where the handle or the
// item is invalid or the query fails (its error stored in the handle).
lc::Item query_item(kw_locale* handle, int item) noexcept {
  if (handle == nullptr || item < 0 || item > lc::kLastItem) return lc::Item{nullptr, nullptr};
  auto r = lc::langinfo(*handle, item);
  if (!r) {
    kw::frame::store_error(handle, r.error());
    return lc::Item{nullptr, nullptr};
  }
  return *r;
}

}  // namespace

KW_EXPORT char* KW_CALL kw_nl_langinfo(kw_locale* handle, int item) {
  return const_cast<char*>(query_item(handle, item).s);
}

KW_EXPORT kw_wchar_t* KW_CALL kw_wc_nl_langinfo(kw_locale* handle, int item) {
  return const_cast<kw_wchar_t*>(query_item(handle, item).w);
}

KW_EXPORT kw_lconv* KW_CALL kw_localeconv(kw_locale* handle) {
  if (handle == nullptr) return nullptr;
  return &handle->conv;
}

KW_EXPORT int KW_CALL kw_mb_loc_max(kw_locale* handle) {
  if (handle == nullptr) return -1;
  return static_cast<int>(handle->head.codec.longest);
}

KW_EXPORT int KW_CALL kw_mb_loc_min(kw_locale* handle) {
  if (handle == nullptr) return -1;
  return static_cast<int>(handle->head.codec.shortest);
}
