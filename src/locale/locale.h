// The locale handle: one flat record holding the error slot and the codec
// view (LocaleHead), the six categories, the wide form of every category
// string, the conventions record and the names each category was loaded
// under. Every subsystem reads its category's fields from here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "codeset/automaton.h"
#include "codeset/codec.h"
#include "frame/err.h"
#include "kwa.h"

namespace kw::locale {

inline constexpr int kFirstCategory = KW_CTYPE;
inline constexpr int kLastCategory = KW_MESSAGES;
inline constexpr int kCategoryCount = 6;
inline constexpr std::size_t kCodesetNameSize = 21;  // 20 characters and a terminator
inline constexpr std::size_t kLocaleNameSize = 32;   // no terminator when full
inline constexpr int kMaxLevels = 8;
inline constexpr int kMaxGrouping = 15;

// A category string: the bytes as read (followed by four zero bytes) and
// its wide form (zero-terminated), either may be null.
struct StrPair {
  char* s;
  kw_wchar_t* w;
};

// A list of strings with their wide forms.
struct StrList {
  char** s;
  kw_wchar_t** w;
  std::int32_t count;
};

struct Grouping {
  std::int32_t count;
  std::int32_t values[kMaxGrouping];
};

// A locale-defined character class: its mask and its name.
struct NamedClass {
  std::uint32_t mask;
  char* name;
};

// One case pair: the upper-case and lower-case value (0 = no mapping).
struct CasePair {
  std::uint32_t upper;
  std::uint32_t lower;
};

// An expansion: the characters that stand for one character's weight.
struct CollExpansion {
  std::uint32_t count;
  kw_wchar_t* chars;
};

// A collating element: a run of characters that collates as one unit.
struct CollElement {
  std::uint32_t count;
  kw_wchar_t* chars;
  std::uint16_t weight_index;
};

}  // namespace kw::locale

// The locale handle. Field order follows the record's published layout where
// other subsystems depend on it; the categories are embedded.
struct kw_locale {
  kw::codeset::LocaleHead head;  // error slot, codec view, entry points

  double ctype_expansion;     // most output bytes per input byte of case conversion
  double max_coll_expansion;  // longest collating element or expansion read (4.0 initially)

  // Derived single-byte CTYPE tables (single-byte locales only, else null).
  std::uint8_t* sb_upper;   // 256 bytes
  std::uint8_t* sb_lower;   // 256 bytes
  std::uint16_t* sb_class;  // 256 class masks

  std::uint32_t single_byte;  // the character automaton's longest sequence is 1
  std::uint32_t coll_tables;  // the collation table form is non-zero

  // Built by the COLLATE reader: pointers to the element records, null
  // terminated; the expansions as pairs, ended by a zero pair. Both refer to
  // the records below and own only their arrays.
  const kw::locale::CollElement** coll_element_list;
  kw::locale::CollExpansion* coll_expansion_pairs;

  // CTYPE.
  kw::codeset::Automaton* ctype;       // characters and their 16-bit class masks
  std::uint32_t n_classes;             // locale-defined classes
  kw::locale::NamedClass* classes;
  kw::codeset::Automaton* ctype_case;  // characters and their 16-bit case index
  std::uint32_t n_case_pairs;
  kw::locale::CasePair* case_pairs;    // n_case_pairs + 1 entries; index 0 unused

  // COLLATE.
  kw::codeset::Automaton* coll;        // characters and their 16-bit weight index
  std::int32_t coll_levels;            // K
  std::int32_t coll_max_index;         // W: weight arrays hold W + 1 entries
  std::int32_t coll_n_expansions;
  std::int32_t coll_n_elements;
  std::int32_t coll_further;
  std::uint32_t coll_level_dirs[kw::locale::kMaxLevels];  // 1 forward, 2 backward
  std::uint16_t* coll_weights[kw::locale::kMaxLevels];    // K arrays of W + 1 weights
  kw::locale::CollExpansion* coll_expansions;
  kw::locale::CollElement* coll_elements;
  std::int32_t coll_table_form;        // 1 plain weight table
  std::uint8_t coll_compressed[32];
  // 256 entries by the low byte of an element's first character: the number
  // of the first element that starts with such a character, plus 1; 0 = none.
  std::uint32_t* coll_element_index;
  std::int32_t coll_kind;              // 0 none, 1 weight tables, 2 Thai

  // NUMERIC, MONETARY and MESSAGES.
  kw::locale::StrPair decimal_point;   // item 55
  kw::locale::StrPair thousands_sep;   // item 56
  kw::locale::Grouping grouping;
  kw::locale::StrPair int_curr_symbol;
  kw::locale::StrPair currency_symbol;  // item 59
  kw::locale::StrPair mon_decimal_point;
  kw::locale::StrPair mon_thousands_sep;
  kw::locale::Grouping mon_grouping;
  kw::locale::StrPair positive_sign;    // monetary
  kw::locale::StrPair negative_sign;    // monetary
  kw::locale::StrPair num_positive_sign;  // numeric, for plain numbers
  kw::locale::StrPair num_negative_sign;
  std::int32_t int_frac_digits;  // the eight monetary numbers; 0x7FFFFFFF = not available
  std::int32_t frac_digits;
  std::int32_t p_cs_precedes;
  std::int32_t p_sep_by_space;
  std::int32_t n_cs_precedes;
  std::int32_t n_sep_by_space;
  std::int32_t p_sign_posn;
  std::int32_t n_sign_posn;
  kw::locale::StrPair yesexpr;  // item 71
  kw::locale::StrPair noexpr;   // item 72
  kw::locale::StrPair yesstr;   // item 57
  kw::locale::StrPair nostr;    // item 58

  // TIME.
  std::int32_t calendar;  // 1 gregorian, 2 hebrew, 3 islamic, 4 arabic
  char* abday[7];         // items 8-14
  kw_wchar_t* wabday[7];
  char* day[7];           // items 1-7
  kw_wchar_t* wday[7];
  kw::locale::StrList abmon;  // items 35-54
  kw::locale::StrList mon;    // items 15-34
  kw::locale::StrPair am;     // item 64
  kw::locale::StrPair pm;     // item 65
  kw::locale::StrList alt_digits;
  char* d_fmt;       // item 61
  char* d_t_fmt;     // item 0
  char* t_fmt;       // item 62
  char* t_fmt_ampm;  // item 63
  char* era_d_fmt;   // item 67
  char* era_t_fmt;   // item 68
  char* era_d_t_fmt; // item 69
  kw_wchar_t* wd_fmt;
  kw_wchar_t* wd_t_fmt;
  kw_wchar_t* wt_fmt;
  kw_wchar_t* wt_fmt_ampm;
  kw_wchar_t* wera_d_fmt;
  kw_wchar_t* wera_t_fmt;
  kw_wchar_t* wera_d_t_fmt;
  kw::locale::StrList era;  // POSIX era strings
  // Derived when TIME is loaded or copied, owned by this handle alone.
  kw::locale::StrPair era_joined;         // item 66: eras joined by ";"
  kw::locale::StrPair alt_digits_joined;  // item 70: alternative digits joined by ";"

  kw_lconv conv;  // rebuilt from NUMERIC and MONETARY; owned by this handle

  // Per category (index category - 2): the code-set name of the locale
  // object it was read from, and the name it was loaded under.
  char codeset_names[kw::locale::kCategoryCount][kw::locale::kCodesetNameSize];
  kw_wchar_t wcodeset_names[kw::locale::kCategoryCount][kw::locale::kCodesetNameSize];
  char locale_names[kw::locale::kCategoryCount][kw::locale::kLocaleNameSize];
  kw_wchar_t wlocale_names[kw::locale::kCategoryCount][kw::locale::kLocaleNameSize];
};

static_assert(std::is_standard_layout_v<kw_locale>);
static_assert(offsetof(kw_locale, head) == 0);

namespace kw::locale {

inline int category_index(int category) noexcept { return category - kFirstCategory; }
inline bool is_category(int category) noexcept {
  return category >= kFirstCategory && category <= kLastCategory;
}

// The category's two names; a category is loaded when both are non-empty
// and empty when both are empty.
bool category_loaded(const kw_locale& h, int category) noexcept;
bool category_empty(const kw_locale& h, int category) noexcept;

// The static handles given out when creation fails; never freed.
kw_locale* out_of_memory_handle() noexcept;
kw_locale* default_missing_handle() noexcept;
bool is_static_handle(const kw_locale* h) noexcept;

// Allocates a null locale. Err::NoMem when the record cannot be allocated;
// a failed automaton creation leaves Err::NoMem in the record's slot.
Result<kw_locale*> create_null_locale() noexcept;

// Makes one category null (see kw_make_null_category); returns Err::NoMem
// when an automaton could not be created (the field stays null).
Err make_null_category(kw_locale& h, int category) noexcept;

// Frees every block the category owns and empties its names.
void free_category(kw_locale& h, int category) noexcept;

// Frees the record and everything it owns (categories, derived tables).
void free_locale(kw_locale* h) noexcept;

// Frees the derived blocks that a handle owns even when its categories are
// shared: the conventions record, the derived TIME strings, the derived
// single-byte tables; then the record.
void free_nonshared(kw_locale* h) noexcept;

// Copies one category (or all for KW_ALL) by value from `src` into `dst`;
// checks first (NotLoaded, NotEmpty), then runs the post-load steps.
Err copy_category(kw_locale& dst, const kw_locale& src, int category) noexcept;

// Post-load steps: flags, derived single-byte tables, codec view and entry
// points, then the code-set check (Err::CodesetMismatch, load kept).
Err post_load(kw_locale& h) noexcept;

// Widens the category names into their wide forms.
void rebuild_wide_names(kw_locale& h) noexcept;

// Sets the codec view and the multibyte-to-wide entry point from CTYPE.
void refresh_codec(kw_locale& h) noexcept;

// The wide form of `n` bytes at `s` (stopping at the first run of four zero
// bytes), converted by the handle's multibyte-to-wide entry point into a new
// block of 4 * n + 4 bytes; null for a null source, a failed conversion or
// no memory (`nomem` is then set).
kw_wchar_t* make_wide(kw_locale& h, const char* s, bool& nomem) noexcept;

// Rebuilds the NUMERIC or MONETARY part of the conventions record.
Err rebuild_conv(kw_locale& h, int category) noexcept;
void free_conv(kw_locale& h, int category) noexcept;

// Builds and frees the derived TIME strings (items 66 and 70).
Err build_time_derived(kw_locale& h) noexcept;
void free_time_derived(kw_locale& h) noexcept;

// Rebuilds or frees the derived single-byte CTYPE tables.
Err build_sb_tables(kw_locale& h) noexcept;
void free_sb_tables(kw_locale& h) noexcept;

// Sets the category's code-set name (at most 20 characters) and locale
// name (at most 32 bytes, unterminated when full).
void set_codeset_name(kw_locale& h, int category, const char* name) noexcept;
void set_locale_name(kw_locale& h, int category, const char* name) noexcept;

// The category's code-set name / locale name as a string (at most 32 bytes).
const char* codeset_name(const kw_locale& h, int category) noexcept;
std::size_t locale_name_length(const kw_locale& h, int category) noexcept;

// The locale cache.
struct CacheEntry {
  char* name;
  kw_locale* handle;
  std::int32_t refs;
  CacheEntry* next;
};
CacheEntry* cache_find(const char* name) noexcept;
CacheEntry* cache_find_handle(const kw_locale* h) noexcept;
Err cache_add(const char* name, kw_locale* h) noexcept;
void cache_remove(CacheEntry* e) noexcept;
std::size_t cache_size() noexcept;

// Frees the locale cache (entries and their handles); tests call it between
// cases so that none depends on another's loads.
void reset_locale_cache_for_tests() noexcept;

}  // namespace kw::locale
