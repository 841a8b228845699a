// Exported version strings and the object-file stream wrappers.
#include <cstdint>
#include <cstdio>

#include "frame/export.h"

KW_EXPORT const char* KW_CALL kw_version(void) { return "kwalib-3.07.TC2"; }

// The COMPILER_VERSION of each object format that this library reads.
KW_EXPORT const char* KW_CALL kw_cm_version(void) { return "3"; }
KW_EXPORT const char* KW_CALL kw_lc_version(void) { return "11"; }
KW_EXPORT const char* KW_CALL kw_cv_version(void) { return "9"; }

// The stream wrappers add nothing to their dispatchers: an application that
// hooks the table sees the library's own opens and its own calls alike.
KW_EXPORT FILE* KW_CALL kw_fopen(const char* path, const char* mode) { return kw_ext_fopen(path, mode); }
KW_EXPORT int KW_CALL kw_feof(FILE* stream) { return kw_ext_feof(stream); }
KW_EXPORT int KW_CALL kw_ferror(FILE* stream) { return kw_ext_ferror(stream); }
KW_EXPORT int KW_CALL kw_fseek(FILE* stream, std::int32_t offset, int whence) {
  return kw_ext_fseek(stream, offset, whence);
}
KW_EXPORT long KW_CALL kw_ftell(FILE* stream) { return kw_ext_ftell(stream); }
KW_EXPORT int KW_CALL kw_fclose(FILE* stream) { return kw_ext_fclose(stream); }
