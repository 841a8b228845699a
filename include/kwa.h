/* kwa.h: the C interface of the kwa locale library (shared library qkw4n304).
 *
 * Nearly every function takes a locale handle first. A failing call stores
 * one error number in the handle's error slot, the 32-bit word that
 * kw_ext_errno(handle) points to (the handle's first word by default), and
 * returns its failure value. Plain C99; usable from C++. */
#ifndef KWA_H
#define KWA_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(_WIN32)
#define KW_CALL __cdecl
#if defined(KWA_BUILDING_LIBRARY)
#define KW_API
#else
#define KW_API __declspec(dllimport)
#endif
#else
#define KW_CALL
#define KW_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types ------------------------------------------------------------ */

/* A locale handle; opaque. Its first 32-bit word is its error slot. */
typedef struct kw_locale kw_locale;
/* A charmap record from kw_cm_load; opaque. Its first word is its error slot. */
typedef struct kw_charmap kw_charmap;
/* A wide character: the bytes of a multibyte character read big-endian. */
typedef uint32_t kw_wchar_t;
/* Any platform hook installed with kw_setextfunc; cast to the slot's type. */
typedef void (KW_CALL *kw_extfunc)(void);

/* ---- Error numbers (stored in an error slot) -------------------------- */

#define KW_EILSEQ 1        /* illegal byte sequence or unencodable value */
#define KW_EBADPTR 2       /* a required pointer argument is null */
#define KW_ENOMEM 3        /* an allocation failed */
#define KW_EBADINDEX 4     /* a character index or count is negative */
#define KW_ENOPREV 5       /* no character before the given position */
#define KW_ENUMCONV 6      /* a multibyte-to-number conversion failed */
#define KW_ESHORT 7        /* length below 1, input ends inside a character, bad specification */
#define KW_ENOFILE 8       /* an object file could not be opened */
#define KW_EINVAL 9        /* an argument is outside its domain */
#define KW_EBADTYPE 11     /* wrong object FILE_TYPE or malformed registry number */
#define KW_ECSMISMATCH 12  /* a locale's categories use different code sets */
#define KW_EIO 13          /* a stream read or write failed */
#define KW_E2BIG 14        /* the output buffer is too small */
#define KW_EFORMAT 15      /* formatting failed; registry file missing */
#define KW_EEOF 16         /* end of file before a whole character was read */
#define KW_ESTREAMEND 17   /* end of file with neither indicator set */
#define KW_ENOTLOADED 18   /* kw_copy_cat: source category not loaded */
#define KW_ENOTEMPTY 19    /* kw_copy_cat: target category not empty */
#define KW_EKEYLEN 21      /* serialised automaton sequences longer than 4 bytes */
#define KW_ECALENDAR 50    /* unknown calendar name in a locale object */
#define KW_EBADVERSION 51  /* the object's COMPILER_VERSION is not the one read */
#define KW_ENOSYMBOL 53    /* a character symbol name is not in the charmap */
#define KW_ELOADFAIL 55    /* a category could not be selected or read */
#define KW_EMIXLEN 56      /* -1 mixed with an explicit length */
#define KW_ENOCHARS 57     /* the locale's character automaton is empty */
#define KW_ECATCODESET 58  /* a category's code set differs from CTYPE's */

/* ---- Category numbers ------------------------------------------------- */

#define KW_ALL 1       /* all six categories below */
#define KW_CTYPE 2     /* classification, case, character set */
#define KW_COLLATE 3   /* collation */
#define KW_NUMERIC 4   /* numbers */
#define KW_MONETARY 5  /* money */
#define KW_TIME 6      /* dates and times */
#define KW_MESSAGES 7  /* yes/no expressions */

/* ---- External function table slots (kw_setextfunc index) -------------- */

#define KW_EXT_GETENV 0     /* char *(const char *name) */
#define KW_EXT_ERRNO 1      /* uint32_t *(void *handle): where errors are stored */
#define KW_EXT_FCLOSE 2     /* int (FILE *) */
#define KW_EXT_FEOF 3       /* int (FILE *): end-of-file bit, non-zero when set */
#define KW_EXT_FERROR 4     /* int (FILE *): error bit, non-zero when set */
#define KW_EXT_FGETC 5      /* int (FILE *) */
#define KW_EXT_FGETS 6      /* char *(char *buf, int size, FILE *) */
#define KW_EXT_FOPEN 7      /* FILE *(const char *path, const char *mode) */
#define KW_EXT_FREE 8       /* void (void *) */
#define KW_EXT_FSEEK 9      /* int (FILE *, int32_t offset, int whence) */
#define KW_EXT_FTELL 10     /* long (FILE *) */
#define KW_EXT_FWRITE 11    /* size_t (const void *, size_t, size_t, FILE *) */
#define KW_EXT_GETC 12      /* int (FILE *) */
#define KW_EXT_MALLOC 13    /* void *(size_t) */
#define KW_EXT_UNGETC 14    /* int (int c, FILE *) */
#define KW_EXT_PUTENV 15    /* int (char *name_equals_value) */
#define KW_EXT_CURRDATE 16  /* int (uint16_t out[3]): month, day, year */
#define KW_EXT_CURRTIME 17  /* int (int32_t out[12]): 0, the nine tm fields, 0, 0 */
#define KW_EXT_SLOTS 18     /* number of slots */

/* ==== Library frame ===================================================== */

/* Installs `function` in slot `index` (0..17) of the process-wide table; null
 * restores the default. Bad index: KW_EINVAL in handle's slot and -1. */
KW_API int KW_CALL kw_setextfunc(void *handle, int index, kw_extfunc function);

/* Dispatchers: call the installed hook, else the platform default. */
KW_API char *KW_CALL kw_ext_getenv(const char *name);
/* Address of the 32-bit error slot of `handle`; by default the handle itself. */
KW_API uint32_t *KW_CALL kw_ext_errno(void *handle);
KW_API int KW_CALL kw_ext_fclose(FILE *stream);
/* End-of-file indicator as the masked bit 0x10 (not normalised to 1). */
KW_API int KW_CALL kw_ext_feof(FILE *stream);
/* Error indicator as the masked bit 0x20. */
KW_API int KW_CALL kw_ext_ferror(FILE *stream);
KW_API int KW_CALL kw_ext_fgetc(FILE *stream);
KW_API char *KW_CALL kw_ext_fgets(char *buffer, int size, FILE *stream);
KW_API FILE *KW_CALL kw_ext_fopen(const char *path, const char *mode);
KW_API void KW_CALL kw_ext_free(void *pointer);
KW_API int KW_CALL kw_ext_fseek(FILE *stream, int32_t offset, int whence);
KW_API long KW_CALL kw_ext_ftell(FILE *stream);
KW_API size_t KW_CALL kw_ext_fwrite(const void *buffer, size_t size, size_t count, FILE *stream);
KW_API int KW_CALL kw_ext_getc(FILE *stream);
KW_API void *KW_CALL kw_ext_malloc(size_t size);
KW_API int KW_CALL kw_ext_ungetc(int character, FILE *stream);
KW_API int KW_CALL kw_ext_putenv(char *name_equals_value);
/* Stores the local month (1-12), day (1-31) and full year; returns 0. */
KW_API int KW_CALL kw_ext_currdate(uint16_t *month_day_year);
/* Stores 0, sec, min, hour, mday, mon, year-1900, wday, yday, isdst, 0, 0; returns 0. */
KW_API int KW_CALL kw_ext_currtime(int32_t *fields);

/* Releases a string that the library allocated for the caller. */
KW_API void KW_CALL kw_destroystring(void *string);

/* Version strings: library, and the charmap, locale and conversion object formats read. */
KW_API const char *KW_CALL kw_version(void);
KW_API const char *KW_CALL kw_cm_version(void);
KW_API const char *KW_CALL kw_lc_version(void);
KW_API const char *KW_CALL kw_cv_version(void);

/* ==== Object file streams =============================================== */
/* @@frame-streams@@ */
/* Stream wrappers: each forwards to its kw_ext_* dispatcher and adds nothing. */
KW_API FILE *KW_CALL kw_fopen(const char *path, const char *mode);
/* End-of-file indicator as the masked bit 0x10. */
KW_API int KW_CALL kw_feof(FILE *stream);
/* Error indicator as the masked bit 0x20. */
KW_API int KW_CALL kw_ferror(FILE *stream);
KW_API int KW_CALL kw_fseek(FILE *stream, int32_t offset, int whence);
KW_API long KW_CALL kw_ftell(FILE *stream);
KW_API int KW_CALL kw_fclose(FILE *stream);

/* ==== Code-set names and registry ======================================= */
/* @@registry@@ */
/* Code-set number meaning "unknown"; every failed name lookup returns it. */
#define KW_CODESET_UNKNOWN 0xE000
/* Number of code-set `name` (case folded, cut to 21 characters) via cache, built-in table or the
 * registry file (null: "registry" on the search path); else KW_CODESET_UNKNOWN, error 7, 11 or 15. */
KW_API uint16_t KW_CALL kw_cs_name2cs_num(void *handle, const char *name, const char *registry);
/* Reads the registry file into the process-wide cache; 0, or -1 with KW_EFORMAT (no file),
 * KW_ENOMEM or KW_EBADTYPE, after which lookups use the built-in table only. */
KW_API int KW_CALL kw_cache_registry(void *handle, const char *registry);
/* Frees the registry cache and switches the built-in table off; returns 0. */
KW_API int KW_CALL kw_free_registry_cache(void);

/* ==== Locale specifications and file names ============================== */
/* @@specs@@ */
/* Locale specifications: "ll_TT.codeset[@mod]" or composite "KW_CTYPE = spec ; KW_TIME = spec".
 * Failures store KW_ESHORT (bad specification) unless a code-set lookup failed with its own error;
 * a null required pointer stores KW_EBADPTR and a result longer than its buffer KW_E2BIG.
 * A null or empty directory adds no directory part; otherwise it is the directory, byte 0xFF.
 * Output sizes in bytes, terminator included: */
#define KW_LC_FNAME_SIZE 1024 /* file names from kw_lc_spec2lc_fname, kw_cs_nums2cv_fname */
#define KW_LC_DNAME_SIZE 11   /* message directory name from kw_lc_spec2msg_dname */
#define KW_LC_SHORT_SIZE 17   /* short form "en_US.65535@abcd" */
#define KW_LC_LONG_SIZE 33    /* long form "en_US." + 21-character code-set name + "@abcd" */
#define KW_LC_LANG_SIZE 6     /* language piece "en_US" */
#define KW_LC_CSNUM_SIZE 6    /* code-set piece "65535" */
#define KW_LC_MOD_SIZE 5      /* modifier piece "abcd" */
/* Locale object file name (en_us/0333.lco) of a simple spec; for a composite, the same text with
 * each spec replaced by directory, byte 0xFF and its file name. `fname`: KW_LC_FNAME_SIZE. 0 or -1. */
KW_API int KW_CALL kw_lc_spec2lc_fname(void *handle, const char *spec, char *fname,
                                       const char *registry, const char *directory);
/* Code-set number of a composite spec (all entries equal, each followed by " ; "), a simple spec
 * or a bare code-set name; KW_CODESET_UNKNOWN on failure. */
KW_API uint16_t KW_CALL kw_lc_spec2cs_num(void *handle, const char *spec, const char *registry);
/* Message directory name: first 10 bytes of the file name (of the KW_MESSAGES entry of a
 * composite), e.g. en_us/0333; `dname`: KW_LC_DNAME_SIZE. 0 or -1. */
KW_API int KW_CALL kw_lc_spec2msg_dname(void *handle, const char *spec, char *dname,
                                        const char *registry, const char *directory);
/* Conversion object file name: [directory 0xFF] + both numbers as 4 hex digits + ".cvo"
 * (033301b5.cvo); `fname`: KW_LC_FNAME_SIZE. 0, or -1 with KW_E2BIG. */
KW_API int KW_CALL kw_cs_nums2cv_fname(void *handle, uint16_t first, uint16_t second, char *fname,
                                       const char *directory);
/* Joins "ll_TT", a non-empty code-set piece (first 5 characters, each a hex digit) and an optional
 * modifier (first 4 characters) into "ll_TT.cs@mod"; `spec`: KW_LC_SHORT_SIZE. 0 or -1 (error only
 * with a handle). */
KW_API int KW_CALL kw_lc_pieces2lc_spec(void *handle, const char *language, const char *codeset,
                                        const char *modifier, char *spec);
/* Splits en_us/0333mod.lco into "en_US", "819", "mod" (sizes KW_LC_LANG_SIZE, KW_LC_CSNUM_SIZE,
 * KW_LC_MOD_SIZE). 0 or -1; no separator at byte 6 is -1 with no error; errors only with a handle. */
KW_API int KW_CALL kw_lc_fname2lc_pieces(void *handle, const char *fname, char *language,
                                         char *codeset, char *modifier);
/* Normal short form of a simple spec, through its file name and pieces: EN_us.8859-1 gives
 * en_US.819; `norm`: KW_LC_SHORT_SIZE. 0 or -1. */
KW_API int KW_CALL kw_lc_short_spec2lc_short_norm(void *handle, const char *spec, char *norm,
                                                  const char *registry);
/* Short spec of a locale object file name ll_tt/hhhh[@]mod.lco, after any directory part ending
 * in 0xFF: en_us/0333euro.lco gives en_US.819@euro. 0, or -1 with KW_EFORMAT for other names. */
KW_API int KW_CALL kw_lc_fname2lc_spec(void *handle, const char *fname, char *spec, size_t size);
/* Normal form: a simple spec as kw_lc_spec2lc_short; a composite one entry by entry, in category
 * order KW_CTYPE..KW_MESSAGES, joined by " ; " with no trailing " ; ". 0 or -1. */
KW_API int KW_CALL kw_lc_spec2lc_norm(void *handle, const char *spec, char *norm, size_t size,
                                      const char *registry);
/* Long form of a simple spec: ll_TT.<name>[@mod], name being the first in search order (file or
 * cache order, else built-in order; "c", "posix" and names with '@' skipped) mapping to its number,
 * else the number. */
KW_API int KW_CALL kw_lc_short2lc_long(void *handle, const char *spec, char *long_spec, size_t size,
                                       const char *registry);
/* Short form of a simple spec, short or long: ll_TT.<decimal number>[@mod]
 * (en_US.ISO-8859-1 gives en_US.819). 0 or -1. */
KW_API int KW_CALL kw_lc_spec2lc_short(void *handle, const char *spec, char *short_spec, size_t size,
                                       const char *registry);
/* 1 when `text` is a simple or composite spec by syntax alone (code-set names not looked up,
 * trailing " ; " allowed), else 0; never stores an error. */
KW_API int KW_CALL kw_is_lc_spec(void *handle, const char *text);
/* Copies the simple spec that a composite `spec` gives for `category` (2..7), or all of a simple
 * spec (any category 1..7). 0, or -1 with KW_EINVAL (category), KW_ESHORT (bad or absent). */
KW_API int KW_CALL kw_lc_spec2category(void *handle, const char *spec, int category, char *out,
                                       size_t size);

/* ==== Charmap objects ==================================================== */
/* @@charmap@@ */
/* Loads the charmap object of code set or locale `name` (`length` bytes, -1 up
 * to its terminator) from `directory`, or along the object search path when
 * null. Stores a record in *result even on failure: 0, or -1 with the reason
 * in the record's error slot (a static record for KW_ENOMEM/KW_ENOFILE).
 * KW_EBADTYPE also covers malformed entries: a name over 70 characters, an
 * unknown kind, a byte count outside 1..4, a range of over 2^24 characters,
 * a character that is a prefix of another. */
KW_API int KW_CALL kw_cm_load(kw_charmap **result, const char *name, int length, const char *directory);
/* Releases a record from kw_cm_load; null and the static records are ignored. */
KW_API void KW_CALL kw_cm_unload(kw_charmap *charmap);
/* The SOURCE_VERSION and COMPILER_VERSION numbers of the charmap object. */
KW_API int32_t KW_CALL kw_cm_srcver(kw_charmap *charmap);
KW_API int32_t KW_CALL kw_cm_cmpver(kw_charmap *charmap);
/* The code-set name (CODESET=, at most 21 characters) inside the record. */
KW_API const char *KW_CALL kw_cm_csname(kw_charmap *charmap);
/* Bytes of the longest (0 when empty) and shortest (4 when empty) character. */
KW_API int32_t KW_CALL kw_mb_cm_max(kw_charmap *charmap);
KW_API int32_t KW_CALL kw_mb_cm_min(kw_charmap *charmap);
/* Bytes of the character at s (a zero byte is an ordinary character); null s
 * gives 0; -1 with KW_ESHORT (length below 1, truncated) or KW_EILSEQ. */
KW_API int32_t KW_CALL kw_cm_mblen(kw_charmap *charmap, const char *s, int length);

/* ==== Character codec ==================================================== */
/* @@codec@@ */
/* Multibyte strings end in kw_mb_loc_min zero bytes (the terminator). "full"
 * functions serve any code set, "is" single-byte ones, "im" multibyte ones;
 * qrt_ forms take byte lengths where -1 means "up to the terminator". */

/* Decodes the character at s (at most length bytes; -1: the string) into *wc.
 * Returns its byte count, 0 for NUL or null s, -1 (KW_ESHORT, KW_EILSEQ). A
 * string that -1 cannot measure (kw_mbsbytes fails) is KW_ESHORT. */
KW_API int KW_CALL qrt_kw_full_mbtowc(kw_locale *h, kw_wchar_t *wc, const char *s, int length);
/* The same without the -1 convention: a length below 1 is KW_ESHORT. */
KW_API int KW_CALL kw_full_mbtowc(kw_locale *h, kw_wchar_t *wc, const char *s, int length);
/* Byte count of the character at s (0 for NUL or null s; length -1: the
 * string), -1 with KW_ESHORT or KW_EILSEQ. */
KW_API int KW_CALL kw_full_mblen(kw_locale *h, const char *s, int length);
/* The same, but the NUL character gives its byte count; no -1 convention. */
KW_API int KW_CALL qrt_kw_full_mblen(kw_locale *h, const char *s, int length);
/* Encodes value into out (room for 4 bytes) through the automaton: at least
 * kw_mb_loc_min bytes. Returns the byte count, or -1 with KW_EILSEQ. */
KW_API int KW_CALL kw_full_wctomb(kw_locale *h, char *out, kw_wchar_t value);
/* Bytes of value's encoding: 1 in single-byte code sets; -1 with KW_EILSEQ. */
KW_API int KW_CALL kw_wclen(kw_locale *h, kw_wchar_t value);
/* Pointer past the character at s; null with KW_EILSEQ (KW_EBADPTR for null s). */
KW_API char *KW_CALL kw_full_mbsnext(kw_locale *h, const char *s);
/* The same reading at most length bytes: null with KW_ESHORT when length is
 * below 1 or the character is longer. */
KW_API char *KW_CALL qrt_kw_full_mbsnext(kw_locale *h, const char *s, int length);
/* Start of the character that ends at position; null with KW_ENOPREV when
 * position is not after start, or with the decoding error. */
KW_API char *KW_CALL kw_full_mbsprev(kw_locale *h, const char *start, const char *position);
/* Bytes of s with its terminator; 0 for null s, or 0 with the decoding error. */
KW_API unsigned KW_CALL kw_mbsbytes(kw_locale *h, const char *s);
/* Characters before the NUL character (automaton walk); -1 on a decoding error. */
KW_API int KW_CALL kw_im_mbslen(kw_locale *h, const char *s);
/* Characters in the first length bytes (-1: up to the terminator); a
 * character running past them is KW_EILSEQ, a length below -1 KW_EINVAL. */
KW_API int KW_CALL qrt_kw_im_mbfslen(kw_locale *h, const char *s, int length);
/* Values before the 0 value of a wide string (0 for null). */
KW_API int KW_CALL kw_wcslen(const kw_wchar_t *ws);
/* Bytes of a wide string with its 0 value: (kw_wcslen + 1) * 4. */
KW_API int KW_CALL kw_wcsbytes(const kw_wchar_t *ws);
/* Writes the terminator (kw_mb_loc_min zero bytes) to out; returns its length. */
KW_API int KW_CALL kw_mbsterm(kw_locale *h, char *out);
/* The terminator's length when s starts with it, else 0. */
KW_API int KW_CALL kw_ismbsterm(kw_locale *h, const char *s);
/* Decodes at most count characters of s (length bytes, -1: terminated) into
 * out (null: count only; slots after those stored may be zeroed). Returns the
 * values before the stored 0 (-1 form) or the values stored; -1, KW_EILSEQ
 * (KW_EINVAL for a length below -1 or a negative count). */
KW_API int KW_CALL qrt_kw_im_mbfstowcfs(kw_locale *h, kw_wchar_t *out, const char *s, int length, int count);
/* The same for a terminated string. */
KW_API int KW_CALL kw_im_mbstowcs(kw_locale *h, kw_wchar_t *out, const char *s, int count);
/* Single-byte form: copies at most count bytes to values; with length -1
 * stops after copying a 0 byte. */
KW_API void KW_CALL qrt_kw_is_mbfstowcfs(kw_locale *h, kw_wchar_t *out, const char *s, int length, int count);
KW_API void KW_CALL kw_is_mbstowcs(kw_locale *h, kw_wchar_t *out, const char *s, int count);
/* Encodes wide values (wlength, -1: up to 0) into at most room bytes (those
 * after the written ones may be zeroed), stopping before a character that does
 * not fit; the -1 form adds the terminator when it fits (not counted).
 * Returns the bytes written, -1 with KW_EILSEQ (KW_EINVAL: wlength below -1
 * or negative room). */
KW_API int KW_CALL qrt_kw_full_wcstombs(kw_locale *h, char *out, const kw_wchar_t *ws, int wlength, int room);
KW_API int KW_CALL kw_full_wcstombs(kw_locale *h, char *out, const kw_wchar_t *ws, int room);
/* Single-byte form: a value above 255 is KW_EILSEQ. */
KW_API int KW_CALL qrt_kw_is_wcstombs(kw_locale *h, char *out, const kw_wchar_t *ws, int wlength, int room);
KW_API int KW_CALL kw_is_wcstombs(kw_locale *h, char *out, const kw_wchar_t *ws, int room);
/* Pointer to character number index of s (0: s itself; the string's length:
 * its terminator); null with KW_EBADINDEX (negative or past the end), KW_EBADPTR. */
KW_API char *KW_CALL kw_full_getmbsi(kw_locale *h, const char *s, int index);
/* Replaces character number index of s by the one character at `character`
 * (at the terminator: appends it) and returns s. The caller's buffer must
 * have room for the longer string; the tail is moved to fit. Errors as
 * kw_full_getmbsi; a NUL replacement character is KW_EINVAL. */
KW_API char *KW_CALL kw_full_putmbsi(kw_locale *h, char *s, int index, const char *character);
/* Characters (bytes) of s without its trailing run of blank, non-control
 * characters; -1 on error (KW_EBADPTR, decoding errors, KW_EINVAL length). */
KW_API int KW_CALL kw_mbsntslen(kw_locale *h, const char *s);
KW_API int KW_CALL qrt_kw_mbsntslen(kw_locale *h, const char *s, int length);
KW_API int KW_CALL kw_mbsntsbytes(kw_locale *h, const char *s);
KW_API int KW_CALL qrt_kw_mbsntsbytes(kw_locale *h, const char *s, int length);
/* Values of ws without its trailing run of space, non-control values; a
 * length below -1 is KW_EINVAL. */
KW_API int KW_CALL kw_wcsntslen(kw_locale *h, const kw_wchar_t *ws);
KW_API int KW_CALL qrt_kw_wcsntslen(kw_locale *h, const kw_wchar_t *ws, int length);
/* Writes the terminator over the trailing blank run of s and returns where;
 * null when there is no such run (nothing written). */
KW_API char *KW_CALL kw_mbsntstrunc(kw_locale *h, char *s);
/* Writes 0 over the trailing run of space values of ws (controls included). */
KW_API void KW_CALL kw_wcsntstrunc(kw_locale *h, kw_wchar_t *ws);

/* ==== Character symbols ================================================== */
/* @@symbols@@ */
/* Symbol names are written <name>. A range character's name is the range's
 * prefix and its number (decimal, or upper-case hexadecimal, zero-padded to
 * the range's width): <U3400>, <j0101>. Errors go to the charmap's slot:
 * KW_E2BIG (output too small), KW_ENOSYMBOL (no such name / character without
 * one), KW_EILSEQ, KW_EBADPTR (null pointer), KW_EINVAL (bad length or text). */

/* Writes the first symbol name of each character of mbs (length bytes, -1: up
 * to the terminator) into out (size bytes, terminated); returns its length. */
KW_API int KW_CALL kw_mbstosyms(kw_charmap *charmap, char *out, int size, const char *mbs, int length);
/* The same for wide values (length values, -1: up to the 0 value). */
KW_API int KW_CALL kw_wcstosyms(kw_charmap *charmap, char *out, int size, const kw_wchar_t *wcs, int length);
/* Turns a text of <name> symbols (blanks between them allowed) into bytes and
 * the charmap's terminator; returns the bytes before the terminator. */
KW_API int KW_CALL kw_symstombs(kw_charmap *charmap, char *out, int size, const char *syms);
/* The same into wide values (count values, room for the 0 included). */
KW_API int KW_CALL kw_symstowcs(kw_charmap *charmap, kw_wchar_t *out, int count, const char *syms);
/* Writes every symbol name of the character at mb (at most length bytes, -1:
 * up to 4) as <a><b>..., range names included; returns the number of names. */
KW_API int KW_CALL kw_mbtosymlist(kw_charmap *charmap, char *out, int size, const char *mb, int length);

/* ==== Locale handles, creation and selection ============================ */
/* @@locale@@ */
/* Makes a null locale (no category loaded) in *result; 0, or -1 with the
 * out-of-memory handle (error KW_ENOMEM) stored in *result. */
KW_API int KW_CALL kw_create_null_locale_4(kw_locale **result);
/* Makes one category (KW_CTYPE..KW_MESSAGES) of `handle` null. */
KW_API void KW_CALL kw_make_null_category(kw_locale *handle, int category);
/* Frees the blocks a category owns and empties its names (not made null). */
KW_API void KW_CALL kw_free_category(kw_locale *handle, int category);
/* Shares category (or KW_ALL) data of `source` with `target`; 0, or -1 with
 * KW_ENOTLOADED / KW_ENOTEMPTY and nothing changed. */
KW_API int KW_CALL kw_copy_cat(kw_locale *target, kw_locale *source, int category);
/* Frees a handle whose categories were copied from another (shared data kept). */
KW_API void KW_CALL kw_free_nonshared_loc(kw_locale *handle);
/* Releases a handle (through the locale cache when it came from kw_lc_load). */
KW_API void KW_CALL kw_lc_unload(kw_locale *handle);
/* The default locale (default.lco) in *result; 0, or -1 (a static handle
 * with KW_ENOMEM or KW_ENOFILE, or the handle with its error set). */
KW_API int KW_CALL kw_createlocale_4(kw_locale **result);
/* The same, looking for default.lco in `directory` (ending in a separator) first. */
KW_API int KW_CALL kw_createlocale2_4(kw_locale **result, const char *directory);
/* Loads `category` (or KW_ALL) as `spec` names, or from the environment when
 * spec is empty; null spec queries. Returns the locale string (311 bytes,
 * free with kw_destroystring), or null with the error set. */
KW_API char *KW_CALL kw_setlocale_4(kw_locale *handle, int category, const char *spec);
/* A whole locale named by a locale specification, shared through the reference-counted
 * cache; 0, or -1 with the error in (*result)'s slot. */
KW_API int KW_CALL kw_lc_load(kw_locale **result, const char *spec, const char *registry,
                              const char *directory);

/* ==== Locale information ================================================= */
/* @@info@@ */
/* The locale conventions of the NUMERIC and MONETARY categories: each string
 * beside its wide form; the eight numbers as bytes (127 = not available). */
typedef struct kw_lconv {
  char *decimal_point;
  kw_wchar_t *wdecimal_point;
  char *thousands_sep;
  kw_wchar_t *wthousands_sep;
  char *grouping;
  char *int_curr_symbol;
  kw_wchar_t *wint_curr_symbol;
  char *currency_symbol;
  kw_wchar_t *wcurrency_symbol;
  char *mon_decimal_point;
  kw_wchar_t *wmon_decimal_point;
  char *mon_thousands_sep;
  kw_wchar_t *wmon_thousands_sep;
  char *mon_grouping;
  char *positive_sign;
  kw_wchar_t *wpositive_sign;
  char *negative_sign;
  kw_wchar_t *wnegative_sign;
  char *num_positive_sign;
  kw_wchar_t *wnum_positive_sign;
  char *num_negative_sign;
  kw_wchar_t *wnum_negative_sign;
  char int_frac_digits;
  char frac_digits;
  char p_cs_precedes;
  char p_sep_by_space;
  char n_cs_precedes;
  char n_sep_by_space;
  char p_sign_posn;
  char n_sign_posn;
} kw_lconv;

/* Information item `item` (0..73) of the locale; null when absent. */
KW_API char *KW_CALL kw_nl_langinfo(kw_locale *handle, int item);
/* The wide form of the same item. */
KW_API kw_wchar_t *KW_CALL kw_wc_nl_langinfo(kw_locale *handle, int item);
/* The handle's conventions record (valid until NUMERIC/MONETARY reload). */
KW_API kw_lconv *KW_CALL kw_localeconv(kw_locale *handle);
/* Longest / shortest character of the locale, in bytes. */
KW_API int KW_CALL kw_mb_loc_max(kw_locale *handle);
KW_API int KW_CALL kw_mb_loc_min(kw_locale *handle);

/* ==== Classification and case =========================================== */

/* ==== String operations ================================================= */

/* ==== Display width ===================================================== */

/* ==== Character streams ================================================= */

/* ==== Collation ========================================================= */

/* ==== Integers and decimals ============================================= */

/* ==== Number formatting and parsing ===================================== */

/* ==== Money ============================================================= */

/* ==== Time formatting and parsing ======================================= */

/* ==== Time information, century and calendars =========================== */

/* ==== Conversion objects and engine ===================================== */

#ifdef __cplusplus
}
#endif

#endif /* KWA_H */
