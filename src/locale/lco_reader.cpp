// The locale object readers: header, section markers and the six sections.
#include "locale/lco_reader.h"

#include <cstdio>
#include <cstring>

#include "frame/diag.h"
#include "frame/mem.h"
#include "kwa.h"
#include "locale/lco_format.h"
#include "locale/lco_input.h"
#include "locale/registry.h"

namespace kw::locale {
namespace {

// Removes the last character of a line read (its newline).
void chop(char* line) noexcept {
  const std::size_t n = std::strlen(line);
  if (n > 0) line[n - 1] = '\0';
}

Err read_header(LcoInput& in, char* codeset) noexcept {
  char line[lco::kLineLimit + 1];
  if (!in.line(line, lco::kLineLimit)) return Err::BadType;
  chop(line);
  if (std::strcmp(line, lco::kFileTypeLine) != 0) return Err::BadType;
  if (!in.line(line, lco::kLineLimit)) return Err::BadVersion;
  chop(line);
  if (std::strcmp(line, lco::kVersionLine) != 0) return Err::BadVersion;
  // The third line: only the number after its first '=' counts.
  std::int32_t lines = 0;
  if (in.line(line, lco::kLineLimit)) {
    const char* eq = std::strchr(line, '=');
    if (eq != nullptr) {
      for (const char* p = eq + 1; *p >= '0' && *p <= '9' && lines < 100000; ++p) lines = lines * 10 + (*p - '0');
    }
  }
  for (std::int32_t i = lco::kFixedHeaderLines; i < lines; ++i) {
    if (!in.line(line, lco::kLineLimit)) break;
  }
  in.skip_space();
  // The code-set name line, read with a limit of 20 characters: a longer
  // line is cut and its rest skipped as an ordinary line later.
  char name[lco::kCodesetNameLimit + 1];
  if (!in.line(name, lco::kCodesetNameLimit)) name[0] = '\0';
  const std::size_t n = std::strlen(name);
  if (n > 0 && name[n - 1] == '\n') name[n - 1] = '\0';
  std::memcpy(codeset, name, std::strlen(name) + 1);
  return Err::None;
}

// Skips lines up to and including the category's marker line.
Err find_marker(LcoInput& in, int category) noexcept {
  char line[lco::kLineLimit + 1];
  while (in.line(line, lco::kLineLimit)) {
    if (std::strcmp(line, lco::kMarkers[category]) == 0) return Err::None;
  }
  return Err::BadType;
}

// Count of a list whose entries take at least two characters each.
Err list_count(LcoInput& in, std::int32_t& n) noexcept {
  if (Err e = in.integer(n); e != Err::None) return e;
  in.skip_space();
  if (n < 0) n = 0;
  if (static_cast<std::size_t>(n) > in.remaining()) return Err::BadType;
  return Err::None;
}

// A string array: entries not read stay null.
Err read_list(LcoInput& in, StrList& l) noexcept {
  std::int32_t n = 0;
  if (Err e = list_count(in, n); e != Err::None) return e;
  l.count = 0;
  l.s = nullptr;
  l.w = nullptr;
  if (n == 0) return Err::None;
  l.s = alloc_zeroed<char*>(static_cast<std::size_t>(n));
  if (l.s == nullptr) return Err::NoMem;
  l.count = n;
  for (std::int32_t i = 0; i < n; ++i) {
    if (Err e = in.string(l.s[i]); e != Err::None) return e;
  }
  return Err::None;
}

void set_expansion_max(kw_locale& h, std::uint32_t c) noexcept {
  if (static_cast<double>(c) > h.max_coll_expansion) h.max_coll_expansion = static_cast<double>(c);
}

Err read_ctype(LcoInput& in, kw_locale& h) noexcept {
  auto a = read_automaton(in);
  if (!a) return a.error();
  codeset::automaton_release(h.ctype);
  h.ctype = *a;
  // The codec follows at once: should the rest of the section fail, the
  // handle must not decode through the automaton just released.
  refresh_codec(h);
  std::int32_t n = 0;
  if (Err e = list_count(in, n); e != Err::None) return e;
  if (n > 0) {
    h.classes = alloc_zeroed<NamedClass>(static_cast<std::size_t>(n));
    if (h.classes == nullptr) return Err::NoMem;
    h.n_classes = static_cast<std::uint32_t>(n);
    for (std::int32_t i = 0; i < n; ++i) {
      std::int32_t v = 0;
      if (Err e = in.integer(v); e != Err::None) return e;
      char name[lco::kTokenLimit + 1];
      if (Err e = in.token(name, sizeof name); e != Err::None) return e;
      // A number below 2048 is a bit number n (mask 2048 << n); 2048 or
      // more is the mask itself.
      std::uint32_t mask = static_cast<std::uint32_t>(v);
      if (v < 0) mask = 0;
      else if (static_cast<std::uint32_t>(v) < lco::kFirstNamedClassMask)
        mask = v <= 20 ? lco::kFirstNamedClassMask << v : 0;
      const std::size_t len = std::strlen(name);
      char* copy = alloc_array<char>(len + 1);
      if (copy == nullptr) return Err::NoMem;
      std::memcpy(copy, name, len + 1);
      h.classes[i] = NamedClass{mask, copy};
    }
  }
  auto c = read_automaton(in);
  if (!c) return c.error();
  codeset::automaton_release(h.ctype_case);
  h.ctype_case = *c;
  std::int32_t m = 0;
  if (Err e = in.integer(m); e != Err::None) return e;
  if (m < 0) m = 0;
  if (static_cast<std::size_t>(m) > in.remaining()) return Err::BadType;
  h.case_pairs = alloc_zeroed<CasePair>(static_cast<std::size_t>(m) + 1);
  if (h.case_pairs == nullptr) return Err::NoMem;
  h.n_case_pairs = static_cast<std::uint32_t>(m);
  for (std::int32_t i = 1; i <= m; ++i) {
    std::uint32_t up = 0, low = 0;
    in.skip_space();
    if (Err e = in.hex(8, up); e != Err::None) return e;
    in.skip_space();
    if (Err e = in.hex(8, low); e != Err::None) return e;
    h.case_pairs[i] = CasePair{up, low};
  }
  char line[lco::kLineLimit + 1];
  if (!in.line(line, lco::kLineLimit) || std::strcmp(line, "\n") == 0) {
    h.ctype_expansion = 4.0;
  } else {
    double f = 0;
    if (std::sscanf(line, "%lf", &f) == 1) h.ctype_expansion = f;
  }
  return Err::None;
}

// A collation record's characters (count c, each hex(8) after white space).
Err read_chars(LcoInput& in, std::uint32_t c, kw_wchar_t*& out) noexcept {
  out = alloc_array<kw_wchar_t>(c + 1);
  if (out == nullptr) return Err::NoMem;
  for (std::uint32_t k = 0; k < c; ++k) {
    in.skip_space();
    std::uint32_t v = 0;
    if (Err e = in.hex(8, v); e != Err::None) return e;
    out[k] = v;
  }
  out[c] = 0;
  return Err::None;
}

Err read_collate(LcoInput& in, kw_locale& h) noexcept {
  char line[lco::kLineLimit + 1];
  if (!in.line(line, lco::kLineLimit)) line[0] = '\0';
  if (std::strcmp(line, lco::kCollateThai) == 0) {
    h.coll_kind = 2;
    return Err::None;
  }
  if (std::strcmp(line, lco::kCollateAsSpecified) != 0) {
    h.coll_kind = 0;
    return kSilentFailure;
  }
  h.coll_kind = 1;
  auto a = read_automaton(in);
  if (!a) return a.error();
  codeset::automaton_release(h.coll);
  h.coll = *a;
  std::int32_t v[6];
  for (auto& x : v) {
    if (Err e = in.integer(x); e != Err::None) return e;
    in.skip_space();
  }
  const std::int32_t form = v[0], w = v[1], k = v[2], ne = v[3], nx = v[4];
  if (w < 0 || k < 0 || k > kMaxLevels || ne < 0 || nx < 0) return Err::BadType;
  // Every weight, element and expansion takes several characters.
  const std::size_t left = in.remaining();
  if ((k > 0 && static_cast<std::size_t>(w) >= left) || static_cast<std::size_t>(ne) > left ||
      static_cast<std::size_t>(nx) > left)
    return Err::BadType;
  h.coll_table_form = form;
  h.coll_max_index = w;
  h.coll_levels = k;
  h.coll_further = v[5];
  for (std::int32_t i = 0; i < k; ++i) {
    std::uint32_t d = 0;
    if (Err e = in.hex(4, d); e != Err::None) return e;
    h.coll_level_dirs[i] = d;
  }
  if (ne > 0) {
    h.coll_elements = alloc_zeroed<CollElement>(static_cast<std::size_t>(ne));
    if (h.coll_elements == nullptr) return Err::NoMem;
    h.coll_n_elements = ne;
    for (std::int32_t i = 0; i < ne; ++i) {
      std::uint32_t c = 0, idx = 0;
      in.skip_space();
      if (Err e = in.hex(1, c); e != Err::None) return e;
      if (Err e = in.hex(4, idx); e != Err::None) return e;
      set_expansion_max(h, c);
      CollElement& el = h.coll_elements[i];
      el.count = c;
      el.weight_index = static_cast<std::uint16_t>(idx);
      if (Err e = read_chars(in, c, el.chars); e != Err::None) return e;
    }
  }
  if (nx > 0) {
    h.coll_expansions = alloc_zeroed<CollExpansion>(static_cast<std::size_t>(nx));
    if (h.coll_expansions == nullptr) return Err::NoMem;
    h.coll_n_expansions = nx;
    for (std::int32_t i = 0; i < nx; ++i) {
      std::uint32_t c = 0;
      in.skip_space();
      if (Err e = in.hex(1, c); e != Err::None) return e;
      set_expansion_max(h, c);
      h.coll_expansions[i].count = c;
      if (Err e = read_chars(in, c, h.coll_expansions[i].chars); e != Err::None) return e;
    }
  }
  for (std::int32_t i = 0; i < k; ++i) {
    h.coll_weights[i] = alloc_array<std::uint16_t>(static_cast<std::size_t>(w) + 1);
    if (h.coll_weights[i] == nullptr) return Err::NoMem;
  }
  for (std::int32_t j = 0; k > 0 && j <= w; ++j) {
    for (std::int32_t i = 0; i < k; ++i) {
      in.skip_space();
      std::uint32_t x = 0;
      if (Err e = in.hex(4, x); e != Err::None) return e;
      h.coll_weights[i][j] = static_cast<std::uint16_t>(x);
    }
  }
  in.skip_space();
  // The lists over the records, and the element index by first character.
  h.coll_element_list = alloc_zeroed<const CollElement*>(static_cast<std::size_t>(ne) + 1);
  h.coll_expansion_pairs = alloc_zeroed<CollExpansion>(static_cast<std::size_t>(nx) + 1);
  if (h.coll_element_list == nullptr || h.coll_expansion_pairs == nullptr) return Err::NoMem;
  for (std::int32_t i = 0; i < ne; ++i) h.coll_element_list[i] = &h.coll_elements[i];
  for (std::int32_t i = 0; i < nx; ++i) h.coll_expansion_pairs[i] = h.coll_expansions[i];
  if (ne >= 1) {
    h.coll_element_index = alloc_zeroed<std::uint32_t>(256);
    if (h.coll_element_index == nullptr) return Err::NoMem;
    for (std::int32_t i = ne - 1; i >= 0; --i) {
      const CollElement& el = h.coll_elements[i];
      if (el.count >= 1) h.coll_element_index[el.chars[0] & 0xFF] = static_cast<std::uint32_t>(i) + 1;
    }
  }
  return Err::None;
}

Err read_pair(LcoInput& in, StrPair& p) noexcept { return in.string(p.s); }

Err read_numeric(LcoInput& in, kw_locale& h) noexcept {
  if (Err e = read_pair(in, h.decimal_point); e != Err::None) return e;
  if (Err e = read_pair(in, h.thousands_sep); e != Err::None) return e;
  if (Err e = in.grouping(h.grouping.count, h.grouping.values); e != Err::None) return e;
  if (Err e = read_pair(in, h.num_positive_sign); e != Err::None) return e;
  return read_pair(in, h.num_negative_sign);
}

Err read_monetary(LcoInput& in, kw_locale& h) noexcept {
  for (StrPair* p : {&h.int_curr_symbol, &h.currency_symbol, &h.mon_decimal_point, &h.mon_thousands_sep}) {
    if (Err e = read_pair(in, *p); e != Err::None) return e;
  }
  if (Err e = in.grouping(h.mon_grouping.count, h.mon_grouping.values); e != Err::None) return e;
  if (Err e = read_pair(in, h.positive_sign); e != Err::None) return e;
  if (Err e = read_pair(in, h.negative_sign); e != Err::None) return e;
  for (std::int32_t* n : {&h.int_frac_digits, &h.frac_digits, &h.p_cs_precedes, &h.p_sep_by_space,
                          &h.n_cs_precedes, &h.n_sep_by_space, &h.p_sign_posn, &h.n_sign_posn}) {
    if (Err e = in.integer(*n); e != Err::None) return e;
    in.skip_space();
  }
  return Err::None;
}

Err read_time(LcoInput& in, kw_locale& h) noexcept {
  char line[lco::kCalendarLineLimit + 1];
  if (!in.line(line, lco::kCalendarLineLimit)) line[0] = '\0';
  h.calendar = 0;
  for (int c = 1; c <= 4; ++c)
    if (std::strcmp(line, lco::kCalendars[c]) == 0) h.calendar = c;
  if (h.calendar == 0) return Err::Calendar;
  for (auto& s : h.abday) {
    if (Err e = in.string(s); e != Err::None) return e;
  }
  for (auto& s : h.day) {
    if (Err e = in.string(s); e != Err::None) return e;
  }
  if (Err e = read_list(in, h.abmon); e != Err::None) return e;
  if (Err e = read_list(in, h.mon); e != Err::None) return e;
  for (char** s : {&h.d_t_fmt, &h.d_fmt, &h.t_fmt, &h.am.s, &h.pm.s, &h.t_fmt_ampm}) {
    if (Err e = in.string(*s); e != Err::None) return e;
  }
  if (Err e = read_list(in, h.era); e != Err::None) return e;
  for (char** s : {&h.era_d_fmt, &h.era_d_t_fmt, &h.era_t_fmt}) {
    if (Err e = in.string(*s); e != Err::None) return e;
  }
  if (Err e = read_list(in, h.alt_digits); e != Err::None) {
    // The last list is dropped whole when it cannot be read.
    for (std::int32_t i = 0; i < h.alt_digits.count; ++i) kw_mem_free(h.alt_digits.s[i]);
    kw_mem_free(h.alt_digits.s);
    h.alt_digits = StrList{};
    return e;
  }
  in.skip_space();
  return Err::None;
}

Err read_messages(LcoInput& in, kw_locale& h) noexcept {
  for (StrPair* p : {&h.yesexpr, &h.noexpr, &h.yesstr, &h.nostr}) {
    if (Err e = read_pair(in, *p); e != Err::None) return e;
  }
  return Err::None;
}

Err widen(kw_locale& h, StrPair& p) noexcept {
  bool nomem = false;
  kw_mem_free(p.w);
  p.w = make_wide(h, p.s, nomem);
  return nomem ? Err::NoMem : Err::None;
}

Err widen_list(kw_locale& h, StrList& l) noexcept {
  if (l.count < 1) return Err::None;
  kw_mem_free(l.w);
  l.w = alloc_zeroed<kw_wchar_t*>(static_cast<std::size_t>(l.count));
  if (l.w == nullptr) return Err::NoMem;
  bool nomem = false;
  for (std::int32_t i = 0; i < l.count; ++i) l.w[i] = make_wide(h, l.s[i], nomem);
  return nomem ? Err::NoMem : Err::None;
}

// The category initialisation: wide forms (and the conventions record or
// the derived TIME strings). Needs a CTYPE with characters.
Err init_category(kw_locale& h, int category) noexcept {
  if (h.ctype == nullptr || h.ctype->longest < 1) return Err::NoCharacters;
  refresh_codec(h);
  Err e = Err::None;
  auto take = [&e](Err x) {
    if (e == Err::None) e = x;
  };
  switch (category) {
    case KW_NUMERIC:
      for (StrPair* p : {&h.decimal_point, &h.thousands_sep, &h.num_positive_sign, &h.num_negative_sign})
        take(widen(h, *p));
      take(rebuild_conv(h, KW_NUMERIC));
      break;
    case KW_MONETARY:
      for (StrPair* p : {&h.int_curr_symbol, &h.currency_symbol, &h.mon_decimal_point, &h.mon_thousands_sep,
                         &h.positive_sign, &h.negative_sign})
        take(widen(h, *p));
      take(rebuild_conv(h, KW_MONETARY));
      break;
    case KW_TIME: {
      bool nomem = false;
      for (int i = 0; i < 7; ++i) {
        h.wabday[i] = make_wide(h, h.abday[i], nomem);
        h.wday[i] = make_wide(h, h.day[i], nomem);
      }
      if (nomem) take(Err::NoMem);
      take(widen_list(h, h.abmon));
      take(widen_list(h, h.mon));
      take(widen(h, h.am));
      take(widen(h, h.pm));
      take(widen_list(h, h.alt_digits));
      take(widen_list(h, h.era));
      char* s[7] = {h.d_fmt, h.d_t_fmt, h.t_fmt, h.t_fmt_ampm, h.era_d_fmt, h.era_t_fmt, h.era_d_t_fmt};
      kw_wchar_t** w[7] = {&h.wd_fmt, &h.wd_t_fmt, &h.wt_fmt, &h.wt_fmt_ampm,
                           &h.wera_d_fmt, &h.wera_t_fmt, &h.wera_d_t_fmt};
      nomem = false;
      for (int i = 0; i < 7; ++i) *w[i] = make_wide(h, s[i], nomem);
      if (nomem) take(Err::NoMem);
      take(build_time_derived(h));
      break;
    }
    case KW_MESSAGES:
      for (StrPair* p : {&h.yesexpr, &h.noexpr, &h.yesstr, &h.nostr}) take(widen(h, *p));
      break;
    default:
      break;
  }
  return e;
}

const char* section_noun(int category) noexcept {
  switch (category) {
    case KW_NUMERIC: return "numeric";
    case KW_MONETARY: return "monetary";
    case KW_TIME: return "time";
    case KW_MESSAGES: return "messages";
    default: return nullptr;
  }
}

Err read_section(LcoInput& in, kw_locale& h, int category) noexcept {
  switch (category) {
    case KW_CTYPE: return read_ctype(in, h);
    case KW_COLLATE: return read_collate(in, h);
    case KW_NUMERIC: return read_numeric(in, h);
    case KW_MONETARY: return read_monetary(in, h);
    case KW_TIME: return read_time(in, h);
    case KW_MESSAGES: return read_messages(in, h);
    default: return Err::Inval;
  }
}

// Reads one section and runs its initialisation, writing the log lines.
// `whole` selects the whole-locale reader's log line for MESSAGES.
Err read_and_init(LcoInput& in, kw_locale& h, int category, bool whole) noexcept {
  const char* noun = section_noun(category);
  Err e = read_section(in, h, category);
  if (e != Err::None) {
    if (noun != nullptr && e != Err::NoMem) {
      if (category == KW_MESSAGES && !whole)
        frame::diagf("Failed to initialize %s information\n", noun);
      else
        frame::diagf("Failed to read %s information\n", noun);
    }
    return e;
  }
  if (noun == nullptr) return Err::None;
  e = init_category(h, category);
  if (e != Err::None && e != Err::NoMem) frame::diagf("Failed to initialize %s information\n", noun);
  return e;
}

// The number of a code-set name; an unknown name is kUnknownCodeset, but
// running out of memory is an error of its own.
Result<std::uint16_t> codeset_number(const char* name) noexcept {
  auto r = cs_name2cs_num(name, nullptr);
  if (!r && r.error() == Err::NoMem) return Err::NoMem;
  return r ? *r : kUnknownCodeset;
}

}  // namespace

Err read_whole_locale(kw_locale& h, std::FILE* f) noexcept {
  LcoInput in;
  if (Err e = in.load(f); e != Err::None) return e;
  char name[lco::kCodesetNameLimit + 1];
  if (Err e = read_header(in, name); e != Err::None) return e;
  for (int c = kFirstCategory; c <= kLastCategory; ++c) set_codeset_name(h, c, name);
  for (int c = kFirstCategory; c <= kLastCategory; ++c) {
    if (Err e = find_marker(in, c); e != Err::None) return e;
    if (Err e = read_and_init(in, h, c, true); e != Err::None) return e;
  }
  kw_ext_fclose(f);
  return Err::None;
}

Err read_one_category(kw_locale& h, int category, std::FILE* f) noexcept {
  if (!is_category(category)) return Err::Inval;
  LcoInput in;
  if (Err e = in.load(f); e != Err::None) return e;
  char name[lco::kCodesetNameLimit + 1];
  if (Err e = read_header(in, name); e != Err::None) return e;
  set_codeset_name(h, category, name);
  if (category != KW_CTYPE) {
    auto mine = codeset_number(name);
    auto ctype = codeset_number(codeset_name(h, KW_CTYPE));
    if (!mine || !ctype) return Err::NoMem;
    if (*mine != *ctype) return Err::CategoryCodeset;
  }
  if (Err e = find_marker(in, category); e != Err::None) return e;
  return read_and_init(in, h, category, false);
}

}  // namespace kw::locale
