// Wide forms of category strings, the conventions record and the derived
// TIME strings; the locale's multibyte-to-wide entry point.
#include <cstring>

#include "codeset/codec_core.h"
#include "frame/hooks.h"
#include "frame/mem.h"
#include "locale/locale.h"

namespace kw::locale {
namespace {

// Bytes of a category string: up to its first run of four zero bytes (the
// reader ends every string with four, and a character may hold zero bytes
// in code sets whose characters are longer than one byte).
std::size_t string_bytes(const char* s) noexcept {
  std::size_t n = 0;
  while (!(s[n] == 0 && s[n + 1] == 0 && s[n + 2] == 0 && s[n + 3] == 0)) ++n;
  return n;
}

// Decodes `len` bytes into at most `room` wide values; the count, or -1 for
// an illegal or truncated character. The same conversion as the handle's
// multibyte-to-wide entry point, but it stores nothing in the error slot:
// a string without a wide form is not an error of the load.
int decode(const kw_locale& h, kw_wchar_t* out, const char* s, std::size_t len, std::size_t room) noexcept {
  const auto* p = reinterpret_cast<const std::uint8_t*>(s);
  std::size_t n = 0;
  std::size_t i = 0;
  const codeset::Automaton* a = h.head.codec.automaton;
  while (i < len && n < room) {
    if (h.head.codec.single_byte != 0) {
      out[n++] = p[i++];
      continue;
    }
    if (a == nullptr || a->root == nullptr) return -1;
    const codeset::Match m = codeset::automaton_walk(*a, p + i, len - i);
    if (m.err != Err::None) return -1;
    out[n++] = m.value;
    i += m.len;
  }
  return static_cast<int>(n);
}

char* copy_conv_string(const char* s) noexcept {
  if (s == nullptr) return nullptr;
  const std::size_t n = string_bytes(s);
  if (n >= 256) return nullptr;
  char* c = alloc_zeroed<char>(n + 4);
  if (c != nullptr) std::memcpy(c, s, n);
  return c;
}

// The grouping as a byte string (null for an empty or oversized grouping);
// `nomem` is set when the block could not be allocated.
char* grouping_bytes(const Grouping& g, bool& nomem) noexcept {
  if (g.count < 1 || g.count > 255) return nullptr;
  const int n = g.count < kMaxGrouping ? g.count : kMaxGrouping;
  char* b = alloc_array<char>(static_cast<std::size_t>(n) + 1);
  if (b == nullptr) {
    nomem = true;
    return nullptr;
  }
  for (int i = 0; i < n; ++i) b[i] = static_cast<char>(g.values[i]);
  b[n] = '\0';
  return b;
}

char conv_number(std::int32_t v) noexcept { return v == 0x7FFFFFFF ? 127 : static_cast<char>(v); }

// One string member and its wide form; `nomem` is set when a block could
// not be allocated (a string of 256 bytes or more is left out silently).
void conv_member(kw_locale& h, const StrPair& src, char*& s, kw_wchar_t*& w, bool& nomem) noexcept {
  s = copy_conv_string(src.s);
  if (src.s != nullptr && s == nullptr && string_bytes(src.s) < 256) nomem = true;
  w = s != nullptr ? make_wide(h, src.s, nomem) : nullptr;
}

// The strings of a list joined by ";" (null for an empty list).
Err join(kw_locale& h, const StrList& l, StrPair& out) noexcept {
  out = StrPair{};
  if (l.count < 1 || l.s == nullptr) return Err::None;
  std::size_t total = 0;
  for (std::int32_t i = 0; i < l.count; ++i) total += (l.s[i] != nullptr ? string_bytes(l.s[i]) : 0) + 1;
  char* s = alloc_zeroed<char>(total + 4);
  if (s == nullptr) return Err::NoMem;
  std::size_t at = 0;
  for (std::int32_t i = 0; i < l.count; ++i) {
    if (i > 0) s[at++] = ';';
    if (l.s[i] != nullptr) {
      const std::size_t n = string_bytes(l.s[i]);
      std::memcpy(s + at, l.s[i], n);
      at += n;
    }
  }
  bool nomem = false;
  out.s = s;
  out.w = make_wide(h, s, nomem);
  return nomem ? Err::NoMem : Err::None;
}

}  // namespace

kw_wchar_t* make_wide(kw_locale& h, const char* s, bool& nomem) noexcept {
  if (s == nullptr) return nullptr;
  const std::size_t n = string_bytes(s);
  kw_wchar_t* w = alloc_array<kw_wchar_t>(n + 1);
  if (w == nullptr) {
    nomem = true;
    return nullptr;
  }
  const int count = decode(h, w, s, n, n);
  if (count < 0) {
    kw_mem_free(w);
    return nullptr;
  }
  w[count] = 0;
  return w;
}

void refresh_codec(kw_locale& h) noexcept {
  // The single-byte flag follows the automaton at once, so that strings
  // read after a new CTYPE are widened by its rules.
  h.single_byte = (h.ctype != nullptr && h.ctype->longest == 1) ? 1 : 0;
  codeset::CodecView& v = h.head.codec;
  v.automaton = h.ctype;
  v.sb_class = h.sb_class;
  v.single_byte = h.single_byte;
  v.shortest = h.ctype != nullptr ? h.ctype->shortest : codeset::kMaxSequence;
  v.longest = h.ctype != nullptr ? h.ctype->longest : 0;
  h.head.mbfstowcfs = h.single_byte != 0 ? &codeset::is_mbfstowcfs : &codeset::im_mbfstowcfs;
}

void free_conv(kw_locale& h, int category) noexcept {
  kw_lconv& c = h.conv;
  if (category == KW_NUMERIC) {
    for (void* p : {static_cast<void*>(c.decimal_point), static_cast<void*>(c.wdecimal_point),
                    static_cast<void*>(c.thousands_sep), static_cast<void*>(c.wthousands_sep),
                    static_cast<void*>(c.grouping), static_cast<void*>(c.num_positive_sign),
                    static_cast<void*>(c.wnum_positive_sign), static_cast<void*>(c.num_negative_sign),
                    static_cast<void*>(c.wnum_negative_sign)})
      kw_mem_free(p);
    c.decimal_point = c.thousands_sep = c.grouping = c.num_positive_sign = c.num_negative_sign = nullptr;
    c.wdecimal_point = c.wthousands_sep = c.wnum_positive_sign = c.wnum_negative_sign = nullptr;
  } else if (category == KW_MONETARY) {
    for (void* p : {static_cast<void*>(c.int_curr_symbol), static_cast<void*>(c.wint_curr_symbol),
                    static_cast<void*>(c.currency_symbol), static_cast<void*>(c.wcurrency_symbol),
                    static_cast<void*>(c.mon_decimal_point), static_cast<void*>(c.wmon_decimal_point),
                    static_cast<void*>(c.mon_thousands_sep), static_cast<void*>(c.wmon_thousands_sep),
                    static_cast<void*>(c.mon_grouping), static_cast<void*>(c.positive_sign),
                    static_cast<void*>(c.wpositive_sign), static_cast<void*>(c.negative_sign),
                    static_cast<void*>(c.wnegative_sign)})
      kw_mem_free(p);
    c.int_curr_symbol = c.currency_symbol = c.mon_decimal_point = c.mon_thousands_sep = nullptr;
    c.mon_grouping = c.positive_sign = c.negative_sign = nullptr;
    c.wint_curr_symbol = c.wcurrency_symbol = c.wmon_decimal_point = c.wmon_thousands_sep = nullptr;
    c.wpositive_sign = c.wnegative_sign = nullptr;
    c.int_frac_digits = c.frac_digits = c.p_cs_precedes = c.p_sep_by_space = 0;
    c.n_cs_precedes = c.n_sep_by_space = c.p_sign_posn = c.n_sign_posn = 0;
  }
}

Err rebuild_conv(kw_locale& h, int category) noexcept {
  free_conv(h, category);
  kw_lconv& c = h.conv;
  bool nomem = false;
  if (category == KW_NUMERIC) {
    conv_member(h, h.decimal_point, c.decimal_point, c.wdecimal_point, nomem);
    conv_member(h, h.thousands_sep, c.thousands_sep, c.wthousands_sep, nomem);
    c.grouping = grouping_bytes(h.grouping, nomem);
    conv_member(h, h.num_positive_sign, c.num_positive_sign, c.wnum_positive_sign, nomem);
    conv_member(h, h.num_negative_sign, c.num_negative_sign, c.wnum_negative_sign, nomem);
  } else if (category == KW_MONETARY) {
    conv_member(h, h.int_curr_symbol, c.int_curr_symbol, c.wint_curr_symbol, nomem);
    conv_member(h, h.currency_symbol, c.currency_symbol, c.wcurrency_symbol, nomem);
    conv_member(h, h.mon_decimal_point, c.mon_decimal_point, c.wmon_decimal_point, nomem);
    conv_member(h, h.mon_thousands_sep, c.mon_thousands_sep, c.wmon_thousands_sep, nomem);
    c.mon_grouping = grouping_bytes(h.mon_grouping, nomem);
    conv_member(h, h.positive_sign, c.positive_sign, c.wpositive_sign, nomem);
    conv_member(h, h.negative_sign, c.negative_sign, c.wnegative_sign, nomem);
    c.int_frac_digits = conv_number(h.int_frac_digits);
    c.frac_digits = conv_number(h.frac_digits);
    c.p_cs_precedes = conv_number(h.p_cs_precedes);
    c.p_sep_by_space = conv_number(h.p_sep_by_space);
    c.n_cs_precedes = conv_number(h.n_cs_precedes);
    c.n_sep_by_space = conv_number(h.n_sep_by_space);
    c.p_sign_posn = conv_number(h.p_sign_posn);
    c.n_sign_posn = conv_number(h.n_sign_posn);
  }
  return nomem ? Err::NoMem : Err::None;
}

void free_time_derived(kw_locale& h) noexcept {
  kw_mem_free(h.era_joined.s);
  kw_mem_free(h.era_joined.w);
  kw_mem_free(h.alt_digits_joined.s);
  kw_mem_free(h.alt_digits_joined.w);
  h.era_joined = h.alt_digits_joined = StrPair{};
}

Err build_time_derived(kw_locale& h) noexcept {
  free_time_derived(h);
  Err e = join(h, h.era, h.era_joined);
  if (e == Err::None) e = join(h, h.alt_digits, h.alt_digits_joined);
  return e;
}

}  // namespace kw::locale
