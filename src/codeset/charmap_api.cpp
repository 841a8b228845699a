// Exported charmap-object functions: loading, unloading and the accessors.
#include "codeset/charmap.h"
#include "frame/export.h"
#include "frame/hooks.h"

using kw::codeset::Match;

KW_EXPORT int KW_CALL kw_cm_load(kw_charmap** result, const char* name, int length, const char* directory) {
  if (result == nullptr) return -1;
  const kw::Err e = kw::codeset::cm_load(result, name, length, directory);
  if (e == kw::Err::None) return 0;
  // The static records already carry their reason; a partly read record
  // gets it stored now.
  if (!(*result)->is_static) kw::frame::store_error(*result, e);
  return -1;
}

KW_EXPORT void KW_CALL kw_cm_unload(kw_charmap* cm) { kw::codeset::cm_unload(cm); }

KW_EXPORT int32_t KW_CALL kw_cm_srcver(kw_charmap* cm) { return cm == nullptr ? 0 : cm->source_version; }

KW_EXPORT int32_t KW_CALL kw_cm_cmpver(kw_charmap* cm) { return cm == nullptr ? 0 : cm->compiler_version; }

KW_EXPORT const char* KW_CALL kw_cm_csname(kw_charmap* cm) { return cm == nullptr ? nullptr : cm->name; }

KW_EXPORT int32_t KW_CALL kw_mb_cm_max(kw_charmap* cm) {
  if (cm == nullptr || cm->automaton == nullptr) return 0;
  return static_cast<int32_t>(cm->automaton->longest);
}

KW_EXPORT int32_t KW_CALL kw_mb_cm_min(kw_charmap* cm) {
  if (cm == nullptr || cm->automaton == nullptr) return static_cast<int32_t>(kw::codeset::kMaxSequence);
  return static_cast<int32_t>(cm->automaton->shortest);
}

KW_EXPORT int32_t KW_CALL kw_cm_mblen(kw_charmap* cm, const char* s, int length) {
  if (s == nullptr) return 0;
  if (cm == nullptr) return -1;
  if (length < 1) {
    kw::frame::store_error(cm, kw::Err::Short);
    return -1;
  }
  if (cm->automaton == nullptr) {
    kw::frame::store_error(cm, kw::Err::Ilseq);
    return -1;
  }
  const Match m = kw::codeset::automaton_walk(*cm->automaton, reinterpret_cast<const std::uint8_t*>(s),
                                              static_cast<std::size_t>(length));
  if (m.err != kw::Err::None) {
    kw::frame::store_error(cm, m.err);
    return -1;
  }
  return static_cast<int32_t>(m.len);
}
