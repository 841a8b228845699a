// Exported trailing-space functions: lengths without the trailing run of
// blanks (multibyte) or spaces (wide), and truncation before it.
#include <cstring>

#include "codeset/codec_core.h"
#include "frame/export.h"
#include "frame/hooks.h"

namespace {

using kw::Err;
using kw::Result;
using kw::codeset::TrailingRun;

int fail(kw_locale* h, Err e) noexcept {
  kw::frame::store_error(h, e);
  return -1;
}

Result<TrailingRun> mbs_run(kw_locale* h, const char* s, int length) noexcept {
  if (s == nullptr) return Err::BadPtr;
  return kw::codeset::mbs_trailing_run(kw::codeset::view(h), reinterpret_cast<const std::uint8_t*>(s), length);
}

// The wide forms store Ilseq for a value above 255 in a single-byte locale
// and go on, counting it as not a space.
Result<TrailingRun> wcs_run(kw_locale* h, const kw_wchar_t* s, int length, bool exclude_cntrl) noexcept {
  if (s == nullptr) return Err::BadPtr;
  bool above_byte = false;
  Result<TrailingRun> r = kw::codeset::wcs_trailing_run(kw::codeset::view(h), s, length, exclude_cntrl, above_byte);
  if (r && above_byte) kw::frame::store_error(h, Err::Ilseq);
  return r;
}

int chars(kw_locale* h, const Result<TrailingRun>& r) noexcept { return r ? r->chars : fail(h, r.error()); }
int byte_count(kw_locale* h, const Result<TrailingRun>& r) noexcept { return r ? r->bytes : fail(h, r.error()); }

}  // namespace

KW_EXPORT int KW_CALL kw_mbsntslen(kw_locale* h, const char* s) {
  if (h == nullptr) return -1;
  return chars(h, mbs_run(h, s, -1));
}

KW_EXPORT int KW_CALL qrt_kw_mbsntslen(kw_locale* h, const char* s, int length) {
  if (h == nullptr) return -1;
  return chars(h, mbs_run(h, s, length));
}

KW_EXPORT int KW_CALL kw_mbsntsbytes(kw_locale* h, const char* s) {
  if (h == nullptr) return -1;
  return byte_count(h, mbs_run(h, s, -1));
}

KW_EXPORT int KW_CALL qrt_kw_mbsntsbytes(kw_locale* h, const char* s, int length) {
  if (h == nullptr) return -1;
  return byte_count(h, mbs_run(h, s, length));
}

KW_EXPORT int KW_CALL kw_wcsntslen(kw_locale* h, const kw_wchar_t* s) {
  if (h == nullptr) return -1;
  return chars(h, wcs_run(h, s, -1, true));
}

KW_EXPORT int KW_CALL qrt_kw_wcsntslen(kw_locale* h, const kw_wchar_t* s, int length) {
  if (h == nullptr) return -1;
  return chars(h, wcs_run(h, s, length, true));
}

KW_EXPORT char* KW_CALL kw_mbsntstrunc(kw_locale* h, char* s) {
  if (h == nullptr) return nullptr;
  const Result<TrailingRun> r = mbs_run(h, s, -1);
  if (!r) {
    fail(h, r.error());
    return nullptr;
  }
  if (r->run == nullptr) return nullptr;
  char* at = s + (static_cast<const char*>(r->run) - s);
  std::memset(at, 0, kw::codeset::term_length(kw::codeset::view(h)));
  return at;
}

KW_EXPORT void KW_CALL kw_wcsntstrunc(kw_locale* h, kw_wchar_t* s) {
  if (h == nullptr) return;
  const Result<TrailingRun> r = wcs_run(h, s, -1, false);
  if (!r) {
    fail(h, r.error());
    return;
  }
  if (r->run != nullptr) s[static_cast<const kw_wchar_t*>(r->run) - s] = 0;
}
