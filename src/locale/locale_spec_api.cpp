// Exported locale specification functions: file names, code-set numbers,
// pieces and normal forms.
#include <cstring>
#include <span>
#include <string_view>

#include "frame/export.h"
#include "frame/hooks.h"
#include "locale/registry.h"
#include "locale/locale_spec.h"

using kw::Err;
namespace lc = kw::locale;

namespace {

int fail(void* handle, Err e) noexcept {
  kw::frame::store_error(handle, e);
  return -1;
}

// For the functions whose handle may be null: errors are stored only when
// one is given.
int fail_if_handle(void* handle, Err e) noexcept {
  if (handle != nullptr) kw::frame::store_error(handle, e);
  return -1;
}

template <class T>
int done(void* handle, const kw::Result<T>& r) noexcept {
  return r.ok() ? 0 : fail(handle, r.error());
}

std::string_view view(const char* s) noexcept { return s != nullptr ? std::string_view(s) : std::string_view(); }

}  // namespace

KW_EXPORT int KW_CALL kw_lc_spec2lc_fname(void* handle, const char* spec, char* fname, const char* registry,
                                          const char* directory) {
  if (spec == nullptr || fname == nullptr) return fail(handle, Err::BadPtr);
  return done(handle, lc::spec2lc_fname(spec, std::span<char>(fname, lc::kFnameSize), registry, directory));
}

KW_EXPORT std::uint16_t KW_CALL kw_lc_spec2cs_num(void* handle, const char* spec, const char* registry) {
  if (spec == nullptr) {
    kw::frame::store_error(handle, Err::BadPtr);
    return lc::kUnknownCodeset;
  }
  return lc::lc_spec2cs_num(handle, spec, -1, registry);
}

KW_EXPORT int KW_CALL kw_lc_spec2msg_dname(void* handle, const char* spec, char* dname, const char* registry,
                                           const char* directory) {
  if (spec == nullptr || dname == nullptr) return fail(handle, Err::BadPtr);
  const Err e = lc::spec2msg_dname(spec, std::span<char>(dname, lc::kDnameSize), registry, directory);
  return e == Err::None ? 0 : fail(handle, e);
}

KW_EXPORT int KW_CALL kw_cs_nums2cv_fname(void* handle, std::uint16_t first, std::uint16_t second, char* fname,
                                          const char* directory) {
  if (fname == nullptr) return fail_if_handle(handle, Err::BadPtr);
  kw::Result<std::size_t> r = lc::cs_nums2cv_fname(first, second, std::span<char>(fname, lc::kFnameSize), directory);
  return r.ok() ? 0 : fail_if_handle(handle, r.error());
}

KW_EXPORT int KW_CALL kw_lc_pieces2lc_spec(void* handle, const char* language, const char* codeset,
                                           const char* modifier, char* spec) {
  if (language == nullptr || codeset == nullptr || spec == nullptr) return fail_if_handle(handle, Err::BadPtr);
  kw::Result<std::size_t> r =
      lc::pieces2lc_spec(language, codeset, view(modifier), std::span<char>(spec, lc::kShortSize));
  return r.ok() ? 0 : fail_if_handle(handle, r.error());
}

KW_EXPORT int KW_CALL kw_lc_fname2lc_pieces(void* handle, const char* fname, char* language, char* codeset,
                                            char* modifier) {
  if (fname == nullptr || language == nullptr || codeset == nullptr || modifier == nullptr) {
    return fail_if_handle(handle, Err::BadPtr);
  }
  lc::FnamePieces pieces{};
  bool separator_ok = true;
  const Err e = lc::fname2lc_pieces(fname, pieces, separator_ok);
  if (e != Err::None) return fail_if_handle(handle, e);
  if (!separator_ok) return -1;
  std::memcpy(language, pieces.language, sizeof pieces.language);
  std::memcpy(codeset, pieces.codeset, sizeof pieces.codeset);
  std::memcpy(modifier, pieces.modifier, sizeof pieces.modifier);
  return 0;
}

KW_EXPORT int KW_CALL kw_lc_short_spec2lc_short_norm(void* handle, const char* spec, char* norm,
                                                     const char* registry) {
  if (spec == nullptr || norm == nullptr) return fail(handle, Err::BadPtr);
  return done(handle, lc::spec2lc_short_norm(spec, std::span<char>(norm, lc::kShortSize), registry));
}

KW_EXPORT int KW_CALL kw_lc_fname2lc_spec(void* handle, const char* fname, char* spec, std::size_t size) {
  if (fname == nullptr || spec == nullptr) return fail(handle, Err::BadPtr);
  return done(handle, lc::fname2lc_spec(fname, std::span<char>(spec, size)));
}

KW_EXPORT int KW_CALL kw_lc_spec2lc_norm(void* handle, const char* spec, char* norm, std::size_t size,
                                         const char* registry) {
  if (spec == nullptr || norm == nullptr) return fail(handle, Err::BadPtr);
  return done(handle, lc::spec2lc_norm(spec, std::span<char>(norm, size), registry));
}

KW_EXPORT int KW_CALL kw_lc_short2lc_long(void* handle, const char* spec, char* long_spec, std::size_t size,
                                          const char* registry) {
  if (spec == nullptr || long_spec == nullptr) return fail(handle, Err::BadPtr);
  return done(handle, lc::spec2lc_long(spec, std::span<char>(long_spec, size), registry));
}

KW_EXPORT int KW_CALL kw_lc_spec2lc_short(void* handle, const char* spec, char* short_spec, std::size_t size,
                                          const char* registry) {
  if (spec == nullptr || short_spec == nullptr) return fail(handle, Err::BadPtr);
  return done(handle, lc::spec2lc_short(spec, std::span<char>(short_spec, size), registry));
}

KW_EXPORT int KW_CALL kw_is_lc_spec(void* handle, const char* text) {
  (void)handle;
  return text != nullptr && lc::is_lc_spec(text) ? 1 : 0;
}

KW_EXPORT int KW_CALL kw_lc_spec2category(void* handle, const char* spec, int category, char* out,
                                          std::size_t size) {
  if (spec == nullptr || out == nullptr) return fail(handle, Err::BadPtr);
  kw::Result<std::string_view> r = lc::spec2category(spec, category);
  if (!r.ok()) return fail(handle, r.error());
  if (r->size() >= size) {
    if (size != 0) out[0] = '\0';
    return fail(handle, Err::TooBig);
  }
  std::memcpy(out, r->data(), r->size());
  out[r->size()] = '\0';
  return 0;
}
