// Exported codec functions on strings: byte and character measures, the
// terminator, and whole-string conversions in both directions.
#include <cstring>

#include "codeset/codec_core.h"
#include "frame/export.h"
#include "frame/hooks.h"

namespace {

using kw::Err;
using kw::Result;

const std::uint8_t* bytes(const char* s) { return reinterpret_cast<const std::uint8_t*>(s); }

int fail(kw_locale* h, Err e) noexcept {
  kw::frame::store_error(h, e);
  return -1;
}

int wcstombs(kw_locale* h, char* out, const kw_wchar_t* ws, int wlength, int room, bool is_form) noexcept {
  if (h == nullptr) return -1;
  if (out == nullptr || ws == nullptr) return fail(h, Err::BadPtr);
  const Result<int> r = kw::codeset::wcstombs_core(kw::codeset::view(h), reinterpret_cast<std::uint8_t*>(out), ws,
                                                   wlength, room, is_form);
  if (!r) return fail(h, r.error());
  return *r;
}

}  // namespace

// 0 is the failure value; the decoding error is stored like any failure's.
KW_EXPORT unsigned KW_CALL kw_mbsbytes(kw_locale* h, const char* s) {
  if (h == nullptr || s == nullptr) return 0;
  const kw::codeset::CodecView& v = kw::codeset::view(h);
  if (v.single_byte == 0 && !kw::codeset::usable(v)) {
    kw::frame::store_error(h, Err::Ilseq);
    return 0;
  }
  Err err = Err::None;
  const std::size_t n = kw::codeset::mbs_bytes(v, bytes(s), err);
  if (err != Err::None) {
    kw::frame::store_error(h, err);
    return 0;
  }
  return static_cast<unsigned>(n);
}

KW_EXPORT int KW_CALL kw_im_mbslen(kw_locale* h, const char* s) {
  if (h == nullptr) return -1;
  if (s == nullptr) return fail(h, Err::BadPtr);
  const Result<int> n = kw::codeset::im_mbslen(kw::codeset::view(h), bytes(s));
  if (!n) return fail(h, n.error());
  return *n;
}

KW_EXPORT int KW_CALL qrt_kw_im_mbfslen(kw_locale* h, const char* s, int length) {
  if (h == nullptr) return -1;
  if (s == nullptr) return fail(h, Err::BadPtr);
  const Result<int> n = kw::codeset::im_mbfslen(kw::codeset::view(h), bytes(s), length);
  if (!n) return fail(h, n.error());
  return *n;
}

KW_EXPORT int KW_CALL kw_wcslen(const kw_wchar_t* ws) {
  if (ws == nullptr) return 0;
  int n = 0;
  while (ws[n] != 0) ++n;
  return n;
}

KW_EXPORT int KW_CALL kw_wcsbytes(const kw_wchar_t* ws) {
  return (kw_wcslen(ws) + 1) * static_cast<int>(sizeof(kw_wchar_t));
}

KW_EXPORT int KW_CALL kw_mbsterm(kw_locale* h, char* out) {
  if (h == nullptr) return -1;
  if (out == nullptr) return fail(h, Err::BadPtr);
  const std::uint32_t n = kw::codeset::term_length(kw::codeset::view(h));
  std::memset(out, 0, n);
  return static_cast<int>(n);
}

KW_EXPORT int KW_CALL kw_ismbsterm(kw_locale* h, const char* s) {
  if (h == nullptr || s == nullptr) return 0;
  const std::uint32_t n = kw::codeset::term_length(kw::codeset::view(h));
  for (std::uint32_t i = 0; i < n; ++i) {
    if (s[i] != 0) return 0;  // stops at the first non-zero byte
  }
  return static_cast<int>(n);
}

KW_EXPORT int KW_CALL qrt_kw_im_mbfstowcfs(kw_locale* h, kw_wchar_t* out, const char* s, int length, int count) {
  return kw::codeset::im_mbfstowcfs(h, out, s, length, count);
}

KW_EXPORT int KW_CALL kw_im_mbstowcs(kw_locale* h, kw_wchar_t* out, const char* s, int count) {
  return kw::codeset::im_mbfstowcfs(h, out, s, -1, count);
}

KW_EXPORT void KW_CALL qrt_kw_is_mbfstowcfs(kw_locale* h, kw_wchar_t* out, const char* s, int length, int count) {
  kw::codeset::is_mbfstowcfs(h, out, s, length, count);
}

KW_EXPORT void KW_CALL kw_is_mbstowcs(kw_locale* h, kw_wchar_t* out, const char* s, int count) {
  kw::codeset::is_mbfstowcfs(h, out, s, -1, count);
}

KW_EXPORT int KW_CALL qrt_kw_full_wcstombs(kw_locale* h, char* out, const kw_wchar_t* ws, int wlength, int room) {
  return wcstombs(h, out, ws, wlength, room, false);
}

KW_EXPORT int KW_CALL kw_full_wcstombs(kw_locale* h, char* out, const kw_wchar_t* ws, int room) {
  return wcstombs(h, out, ws, -1, room, false);
}

KW_EXPORT int KW_CALL qrt_kw_is_wcstombs(kw_locale* h, char* out, const kw_wchar_t* ws, int wlength, int room) {
  return wcstombs(h, out, ws, wlength, room, true);
}

KW_EXPORT int KW_CALL kw_is_wcstombs(kw_locale* h, char* out, const kw_wchar_t* ws, int room) {
  return wcstombs(h, out, ws, -1, room, true);
}
