// Locale handle life cycle: null locales and categories, freeing, copying,
// the static handles and the post-load steps.
#include <cstring>
#include <span>

#include "frame/hooks.h"
#include "frame/mem.h"
#include "locale/locale.h"
#include "locale/registry.h"

namespace kw::locale {
namespace {

kw_locale g_out_of_memory;
kw_locale g_default_missing;

// An empty automaton for the static handles, so that the codec and the
// queries find a valid (characterless) automaton there too.
codeset::Node g_empty_node = {0, -1, -1, codeset::kZeroTable, codeset::kZeroTable, nullptr, nullptr};
std::uint8_t g_empty_default[2] = {0, 0};
codeset::Automaton g_empty_automaton = {2, 0, codeset::kMaxSequence, codeset::kMarkComplete,
                                        0, 0, 0, &g_empty_node, g_empty_default, 1,
                                        nullptr, nullptr, nullptr, nullptr};

kw_locale* prepare_static(kw_locale& h, Err e) noexcept {
  h.head.error = err_number(e);
  h.head.codec.automaton = &g_empty_automaton;
  h.head.codec.shortest = g_empty_automaton.shortest;
  h.head.codec.longest = 0;
  h.ctype_expansion = 1.0;
  h.max_coll_expansion = 4.0;
  h.int_frac_digits = h.frac_digits = h.p_cs_precedes = h.p_sep_by_space = 0x7FFFFFFF;
  h.n_cs_precedes = h.n_sep_by_space = h.p_sign_posn = h.n_sign_posn = 0x7FFFFFFF;
  return &h;
}

void free_pair(StrPair& p) noexcept {
  kw_mem_free(p.s);
  kw_mem_free(p.w);
  p = StrPair{nullptr, nullptr};
}

void free_list(StrList& l) noexcept {
  for (std::int32_t i = 0; i < l.count; ++i) {
    if (l.s != nullptr) kw_mem_free(l.s[i]);
    if (l.w != nullptr) kw_mem_free(l.w[i]);
  }
  kw_mem_free(l.s);
  kw_mem_free(l.w);
  l = StrList{nullptr, nullptr, 0};
}

void free_strings(char** s, kw_wchar_t** w, int n) noexcept {
  for (int i = 0; i < n; ++i) {
    kw_mem_free(s[i]);
    kw_mem_free(w[i]);
    s[i] = nullptr;
    w[i] = nullptr;
  }
}

void clear_names(kw_locale& h, int category) noexcept {
  const int i = category_index(category);
  std::memset(h.codeset_names[i], 0, sizeof h.codeset_names[i]);
  std::memset(h.locale_names[i], 0, sizeof h.locale_names[i]);
  std::memset(h.wcodeset_names[i], 0, sizeof h.wcodeset_names[i]);
  std::memset(h.wlocale_names[i], 0, sizeof h.wlocale_names[i]);
}

// The string members of the categories that hold their own strings, so that
// nulling, freeing and copying a category cover the same members.
using PairMember = StrPair kw_locale::*;
constexpr PairMember kNumericPairs[] = {&kw_locale::decimal_point, &kw_locale::thousands_sep,
                                        &kw_locale::num_positive_sign, &kw_locale::num_negative_sign};
constexpr PairMember kMonetaryPairs[] = {&kw_locale::int_curr_symbol,   &kw_locale::currency_symbol,
                                         &kw_locale::mon_decimal_point, &kw_locale::mon_thousands_sep,
                                         &kw_locale::positive_sign,     &kw_locale::negative_sign};
constexpr PairMember kMessagesPairs[] = {&kw_locale::yesexpr, &kw_locale::noexpr, &kw_locale::yesstr,
                                         &kw_locale::nostr};

std::span<const PairMember> string_pairs(int category) noexcept {
  switch (category) {
    case KW_NUMERIC: return kNumericPairs;
    case KW_MONETARY: return kMonetaryPairs;
    case KW_MESSAGES: return kMessagesPairs;
    default: return {};
  }
}

void null_strings(kw_locale& h, int category) noexcept {
  for (PairMember m : string_pairs(category)) h.*m = StrPair{};
  switch (category) {
    case KW_NUMERIC:
      h.grouping = Grouping{};
      break;
    case KW_MONETARY:
      h.mon_grouping = Grouping{};
      h.int_frac_digits = h.frac_digits = h.p_cs_precedes = h.p_sep_by_space = 0x7FFFFFFF;
      h.n_cs_precedes = h.n_sep_by_space = h.p_sign_posn = h.n_sign_posn = 0x7FFFFFFF;
      break;
    default:
      break;
  }
}

void null_time(kw_locale& h) noexcept {
  h.calendar = 0;
  for (int i = 0; i < 7; ++i) h.abday[i] = h.day[i] = nullptr, h.wabday[i] = h.wday[i] = nullptr;
  h.abmon = h.mon = h.alt_digits = h.era = StrList{};
  h.am = h.pm = StrPair{};
  h.d_fmt = h.d_t_fmt = h.t_fmt = h.t_fmt_ampm = h.era_d_fmt = h.era_t_fmt = h.era_d_t_fmt = nullptr;
  h.wd_fmt = h.wd_t_fmt = h.wt_fmt = h.wt_fmt_ampm = h.wera_d_fmt = h.wera_t_fmt = h.wera_d_t_fmt = nullptr;
  h.era_joined = h.alt_digits_joined = StrPair{};
}

void null_collate(kw_locale& h) noexcept {
  h.coll_levels = h.coll_max_index = h.coll_n_expansions = h.coll_n_elements = h.coll_further = 0;
  for (int i = 0; i < kMaxLevels; ++i) {
    h.coll_level_dirs[i] = 0;
    h.coll_weights[i] = nullptr;
  }
  h.coll_expansions = nullptr;
  h.coll_elements = nullptr;
  h.coll_table_form = 0;
  std::memset(h.coll_compressed, 0, sizeof h.coll_compressed);
  h.coll_element_index = nullptr;
  h.coll_kind = 0;
  h.coll_element_list = nullptr;
  h.coll_expansion_pairs = nullptr;
}

}  // namespace

kw_locale* out_of_memory_handle() noexcept { return prepare_static(g_out_of_memory, Err::NoMem); }
kw_locale* default_missing_handle() noexcept { return prepare_static(g_default_missing, Err::NoFile); }
bool is_static_handle(const kw_locale* h) noexcept { return h == &g_out_of_memory || h == &g_default_missing; }

bool category_loaded(const kw_locale& h, int category) noexcept {
  const int i = category_index(category);
  return h.codeset_names[i][0] != '\0' && h.locale_names[i][0] != '\0';
}

bool category_empty(const kw_locale& h, int category) noexcept {
  const int i = category_index(category);
  return h.codeset_names[i][0] == '\0' && h.locale_names[i][0] == '\0';
}

void set_codeset_name(kw_locale& h, int category, const char* name) noexcept {
  char* d = h.codeset_names[category_index(category)];
  std::size_t n = 0;
  while (name != nullptr && n + 1 < kCodesetNameSize && name[n] != '\0') {
    d[n] = name[n];
    ++n;
  }
  std::memset(d + n, 0, kCodesetNameSize - n);
}

void set_locale_name(kw_locale& h, int category, const char* name) noexcept {
  char* d = h.locale_names[category_index(category)];
  std::size_t n = 0;
  while (name != nullptr && n < kLocaleNameSize && name[n] != '\0') {
    d[n] = name[n];
    ++n;
  }
  if (n < kLocaleNameSize) std::memset(d + n, 0, kLocaleNameSize - n);
}

const char* codeset_name(const kw_locale& h, int category) noexcept {
  return h.codeset_names[category_index(category)];
}

std::size_t locale_name_length(const kw_locale& h, int category) noexcept {
  const char* n = h.locale_names[category_index(category)];
  std::size_t len = 0;
  while (len < kLocaleNameSize && n[len] != '\0') ++len;
  return len;
}

void rebuild_wide_names(kw_locale& h) noexcept {
  for (int i = 0; i < kCategoryCount; ++i) {
    for (std::size_t k = 0; k < kCodesetNameSize; ++k)
      h.wcodeset_names[i][k] = static_cast<unsigned char>(h.codeset_names[i][k]);
    for (std::size_t k = 0; k < kLocaleNameSize; ++k)
      h.wlocale_names[i][k] = static_cast<unsigned char>(h.locale_names[i][k]);
  }
}

Err make_null_category(kw_locale& h, int category) noexcept {
  Err err = Err::None;
  switch (category) {
    case KW_CTYPE: {
      const std::uint8_t zero[2] = {0, 0};
      auto a = codeset::automaton_create(2, zero);
      h.ctype = a ? *a : nullptr;
      auto b = codeset::automaton_create(2, zero);
      h.ctype_case = b ? *b : nullptr;
      if (!a || !b) err = Err::NoMem;
      h.n_classes = 0;
      h.classes = nullptr;
      h.n_case_pairs = 0;
      h.case_pairs = nullptr;
      free_sb_tables(h);
      refresh_codec(h);
      break;
    }
    case KW_COLLATE: {
      const std::uint8_t zero[2] = {0, 0};
      auto a = codeset::automaton_create(2, zero);
      h.coll = a ? *a : nullptr;
      if (!a) err = Err::NoMem;
      null_collate(h);
      break;
    }
    case KW_NUMERIC:
    case KW_MONETARY:
      null_strings(h, category);
      free_conv(h, category);
      break;
    case KW_TIME:
      null_time(h);
      break;
    case KW_MESSAGES:
      null_strings(h, category);
      break;
    default:
      return Err::Inval;
  }
  clear_names(h, category);
  return err;
}

void free_category(kw_locale& h, int category) noexcept {
  switch (category) {
    case KW_CTYPE:
      codeset::automaton_release(h.ctype);
      codeset::automaton_release(h.ctype_case);
      h.ctype = h.ctype_case = nullptr;
      for (std::uint32_t i = 0; h.classes != nullptr && i < h.n_classes; ++i) kw_mem_free(h.classes[i].name);
      kw_mem_free(h.classes);
      kw_mem_free(h.case_pairs);
      h.classes = nullptr;
      h.case_pairs = nullptr;
      h.n_classes = h.n_case_pairs = 0;
      refresh_codec(h);
      break;
    case KW_COLLATE:
      codeset::automaton_release(h.coll);
      h.coll = nullptr;
      for (int i = 0; i < kMaxLevels; ++i) kw_mem_free(h.coll_weights[i]);
      for (std::int32_t i = 0; h.coll_expansions != nullptr && i < h.coll_n_expansions; ++i)
        kw_mem_free(h.coll_expansions[i].chars);
      for (std::int32_t i = 0; h.coll_elements != nullptr && i < h.coll_n_elements; ++i)
        kw_mem_free(h.coll_elements[i].chars);
      kw_mem_free(h.coll_expansions);
      kw_mem_free(h.coll_elements);
      kw_mem_free(h.coll_element_index);
      kw_mem_free(h.coll_element_list);
      kw_mem_free(h.coll_expansion_pairs);
      null_collate(h);
      break;
    case KW_NUMERIC:
    case KW_MONETARY:
      for (PairMember m : string_pairs(category)) free_pair(h.*m);
      free_conv(h, category);
      break;
    case KW_TIME:
      free_strings(h.abday, h.wabday, 7);
      free_strings(h.day, h.wday, 7);
      free_list(h.abmon);
      free_list(h.mon);
      free_pair(h.am);
      free_pair(h.pm);
      free_list(h.alt_digits);
      free_list(h.era);
      {
        char** s[7] = {&h.d_fmt, &h.d_t_fmt, &h.t_fmt, &h.t_fmt_ampm, &h.era_d_fmt, &h.era_t_fmt, &h.era_d_t_fmt};
        kw_wchar_t** w[7] = {&h.wd_fmt, &h.wd_t_fmt, &h.wt_fmt, &h.wt_fmt_ampm,
                             &h.wera_d_fmt, &h.wera_t_fmt, &h.wera_d_t_fmt};
        for (int i = 0; i < 7; ++i) {
          kw_mem_free(*s[i]);
          kw_mem_free(*w[i]);
          *s[i] = nullptr;
          *w[i] = nullptr;
        }
      }
      free_time_derived(h);
      break;
    case KW_MESSAGES:
      for (PairMember m : string_pairs(category)) free_pair(h.*m);
      break;
    default:
      return;
  }
  clear_names(h, category);
}

Result<kw_locale*> create_null_locale() noexcept {
  kw_locale* h = alloc_array<kw_locale>(1);
  if (h == nullptr) return Err::NoMem;
  // Zero everything first: the record's pointers must be null before the
  // categories are made null, and the names empty.
  std::memset(static_cast<void*>(h), 0, sizeof *h);
  // The error slot is cleared, and a failed automaton reported, through
  // the error hook like every other store.
  frame::store_error(h, Err::None);
  h->ctype_expansion = 1.0;
  h->max_coll_expansion = 4.0;
  Err err = Err::None;
  for (int c = kFirstCategory; c <= kLastCategory; ++c) {
    const Err e = make_null_category(*h, c);
    if (e != Err::None) err = e;
  }
  refresh_codec(*h);
  if (err != Err::None) frame::store_error(h, err);
  return h;
}

void free_sb_tables(kw_locale& h) noexcept {
  kw_mem_free(h.sb_upper);
  kw_mem_free(h.sb_lower);
  kw_mem_free(h.sb_class);
  h.sb_upper = h.sb_lower = nullptr;
  h.sb_class = nullptr;
  h.head.codec.sb_class = nullptr;
}

Err build_sb_tables(kw_locale& h) noexcept {
  free_sb_tables(h);
  auto* up = alloc_array<std::uint8_t>(256);
  auto* low = alloc_array<std::uint8_t>(256);
  auto* cls = alloc_array<std::uint16_t>(256);
  if (up == nullptr || low == nullptr || cls == nullptr) {
    kw_mem_free(up);
    kw_mem_free(low);
    kw_mem_free(cls);
    return Err::NoMem;
  }
  for (unsigned b = 0; b < 256; ++b) {
    const std::uint8_t byte = static_cast<std::uint8_t>(b);
    std::uint16_t mask = 0;
    if (h.ctype != nullptr && h.ctype->root != nullptr && h.ctype->root->cls[b] == codeset::kComplete) {
      const std::uint8_t* d = codeset::automaton_data(*h.ctype, h.ctype->root, byte);
      std::memcpy(&mask, d, 2);
    }
    cls[b] = mask;
    up[b] = low[b] = byte;
    if (h.ctype_case != nullptr && h.ctype_case->root != nullptr &&
        h.ctype_case->root->cls[b] == codeset::kComplete && h.case_pairs != nullptr) {
      std::uint16_t idx = 0;
      std::memcpy(&idx, codeset::automaton_data(*h.ctype_case, h.ctype_case->root, byte), 2);
      if (idx >= 1 && idx <= h.n_case_pairs) {
        const CasePair& p = h.case_pairs[idx];
        if (p.upper != 0 && p.upper < 256) up[b] = static_cast<std::uint8_t>(p.upper);
        if (p.lower != 0 && p.lower < 256) low[b] = static_cast<std::uint8_t>(p.lower);
      }
    }
  }
  h.sb_upper = up;
  h.sb_lower = low;
  h.sb_class = cls;
  h.head.codec.sb_class = cls;
  return Err::None;
}

Err post_load(kw_locale& h) noexcept {
  h.single_byte = (h.ctype != nullptr && h.ctype->longest == 1) ? 1 : 0;
  h.coll_tables = h.coll_table_form != 0 ? 1 : 0;
  refresh_codec(h);
  if (h.single_byte != 0) {
    const Err e = build_sb_tables(h);
    if (e != Err::None) return e;
  } else {
    free_sb_tables(h);
    // The codec's derived tables, for an automaton read from a locale object.
    if (h.ctype != nullptr && h.ctype->fast == nullptr) {
      const Err e = codeset::automaton_prepare(*h.ctype);
      if (e != Err::None) return e;
    }
  }
  refresh_codec(h);
  // The code-set check compares the categories that are loaded; an empty
  // category has no code set to disagree with. MESSAGES is left out.
  // An unknown name counts as kUnknownCodeset; no memory is an error.
  bool nomem = false;
  auto number = [&nomem](const char* name) -> std::uint32_t {
    auto r = cs_name2cs_num(name, nullptr);
    if (!r && r.error() == Err::NoMem) nomem = true;
    return r ? *r : kUnknownCodeset;
  };
  if (!category_loaded(h, KW_CTYPE)) return Err::None;
  const std::uint32_t ctype_cs = number(codeset_name(h, KW_CTYPE));
  for (int c : {KW_COLLATE, KW_NUMERIC, KW_MONETARY, KW_TIME}) {
    if (!category_loaded(h, c)) continue;
    const std::uint32_t n = number(codeset_name(h, c));
    if (nomem) return Err::NoMem;
    if (n != ctype_cs) return Err::CodesetMismatch;
  }
  return nomem ? Err::NoMem : Err::None;
}

void free_locale(kw_locale* h) noexcept {
  if (h == nullptr || is_static_handle(h)) return;
  for (int c = kFirstCategory; c <= kLastCategory; ++c) free_category(*h, c);
  free_sb_tables(*h);
  kw_mem_free(h);
}

void free_nonshared(kw_locale* h) noexcept {
  if (h == nullptr || is_static_handle(h)) return;
  free_conv(*h, KW_NUMERIC);
  free_conv(*h, KW_MONETARY);
  free_time_derived(*h);
  free_sb_tables(*h);
  kw_mem_free(h);
}

Err copy_category(kw_locale& dst, const kw_locale& src, int category) noexcept {
  const int first = category == KW_ALL ? kFirstCategory : category;
  const int last = category == KW_ALL ? kLastCategory : category;
  if (category != KW_ALL && !is_category(category)) return Err::Inval;
  for (int c = first; c <= last; ++c)
    if (!category_loaded(src, c)) return Err::NotLoaded;
  for (int c = first; c <= last; ++c)
    if (!category_empty(dst, c)) return Err::NotEmpty;
  Err err = Err::None;
  for (int c = first; c <= last; ++c) {
    free_category(dst, c);
    for (PairMember m : string_pairs(c)) dst.*m = src.*m;
    switch (c) {
      case KW_CTYPE:
        dst.ctype = src.ctype;
        dst.n_classes = src.n_classes;
        dst.classes = src.classes;
        dst.ctype_case = src.ctype_case;
        dst.n_case_pairs = src.n_case_pairs;
        dst.case_pairs = src.case_pairs;
        dst.ctype_expansion = src.ctype_expansion;
        break;
      case KW_COLLATE:
        std::memcpy(static_cast<void*>(&dst.coll), &src.coll,
                    offsetof(kw_locale, coll_kind) + sizeof dst.coll_kind - offsetof(kw_locale, coll));
        dst.coll_element_list = src.coll_element_list;
        dst.coll_expansion_pairs = src.coll_expansion_pairs;
        dst.max_coll_expansion = src.max_coll_expansion;
        break;
      case KW_NUMERIC:
        dst.grouping = src.grouping;
        break;
      case KW_MONETARY:
        dst.mon_grouping = src.mon_grouping;
        std::memcpy(&dst.int_frac_digits, &src.int_frac_digits, 8 * sizeof(std::int32_t));
        break;
      case KW_TIME:
        std::memcpy(static_cast<void*>(&dst.calendar), &src.calendar,
                    offsetof(kw_locale, era_joined) - offsetof(kw_locale, calendar));
        // The derived strings stay with the source; the target builds its
        // own below, so that each handle frees only what it made.
        dst.era_joined = dst.alt_digits_joined = StrPair{};
        break;
      default:
        break;
    }
    const int i = category_index(c);
    std::memcpy(dst.codeset_names[i], src.codeset_names[i], kCodesetNameSize);
    std::memcpy(dst.locale_names[i], src.locale_names[i], kLocaleNameSize);
    if (c == KW_CTYPE) refresh_codec(dst);
    if (c == KW_NUMERIC || c == KW_MONETARY) {
      const Err e = rebuild_conv(dst, c);
      if (e != Err::None && err == Err::None) err = e;
    }
    if (c == KW_TIME) {
      const Err e = build_time_derived(dst);
      if (e != Err::None && err == Err::None) err = e;
    }
  }
  rebuild_wide_names(dst);
  const Err e = post_load(dst);
  return err != Err::None ? err : e;
}

}  // namespace kw::locale
