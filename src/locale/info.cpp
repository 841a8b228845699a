// Locale information items: the item table over the handle's fields.
#include "locale/info.h"

namespace kw::locale {
namespace {

constexpr const char* kCalendarNames[5] = {nullptr, "gregorian\n", "hebrew\n", "islamic\n", "arabic\n"};
constexpr kw_wchar_t kWideGregorian[] = {'g', 'r', 'e', 'g', 'o', 'r', 'i', 'a', 'n', '\n', 0};
constexpr kw_wchar_t kWideHebrew[] = {'h', 'e', 'b', 'r', 'e', 'w', '\n', 0};
constexpr kw_wchar_t kWideIslamic[] = {'i', 's', 'l', 'a', 'm', 'i', 'c', '\n', 0};
constexpr kw_wchar_t kWideArabic[] = {'a', 'r', 'a', 'b', 'i', 'c', '\n', 0};
constexpr const kw_wchar_t* kWideCalendarNames[5] = {nullptr, kWideGregorian, kWideHebrew, kWideIslamic,
                                                     kWideArabic};

Item pair(const StrPair& p) noexcept { return Item{p.s, p.w}; }

Result<Item> month(const StrList& l, int n) noexcept {
  if (l.count < n) return Err::Inval;
  return Item{l.s != nullptr ? l.s[n - 1] : nullptr, l.w != nullptr ? l.w[n - 1] : nullptr};
}

constexpr const char* kNames[kLastItem + 1] = {
    "d_t_fmt",    "day_1",      "day_2",       "day_3",       "day_4",     "day_5",     "day_6",
    "day_7",      "abday_1",    "abday_2",     "abday_3",     "abday_4",   "abday_5",   "abday_6",
    "abday_7",    "mon_1",      "mon_2",       "mon_3",       "mon_4",     "mon_5",     "mon_6",
    "mon_7",      "mon_8",      "mon_9",       "mon_10",      "mon_11",    "mon_12",    "mon_13",
    "mon_14",     "mon_15",     "mon_16",      "mon_17",      "mon_18",    "mon_19",    "mon_20",
    "abmon_1",    "abmon_2",    "abmon_3",     "abmon_4",     "abmon_5",   "abmon_6",   "abmon_7",
    "abmon_8",    "abmon_9",    "abmon_10",    "abmon_11",    "abmon_12",  "abmon_13",  "abmon_14",
    "abmon_15",   "abmon_16",   "abmon_17",    "abmon_18",    "abmon_19",  "abmon_20",  "radixchar",
    "thousep",    "yesstr",     "nostr",       "crncystr",    "codeset",   "d_fmt",     "t_fmt",
    "t_fmt_ampm", "am_str",     "pm_str",      "era",         "era_d_fmt", "era_t_fmt", "era_d_t_fmt",
    "alt_digits", "yesexpr",    "noexpr",      "calendar"};

}  // namespace

const char* item_name(int item) noexcept {
  return item >= 0 && item <= kLastItem ? kNames[item] : nullptr;
}

Result<Item> langinfo(const kw_locale& h, int item) noexcept {
  if (item >= 1 && item <= 7) return Item{h.day[item - 1], h.wday[item - 1]};
  if (item >= 8 && item <= 14) return Item{h.abday[item - 8], h.wabday[item - 8]};
  if (item >= 15 && item <= 34) return month(h.mon, item - 14);
  if (item >= 35 && item <= 54) return month(h.abmon, item - 34);
  switch (item) {
    case 0: return Item{h.d_t_fmt, h.wd_t_fmt};
    case 55: return pair(h.decimal_point);
    case 56: return pair(h.thousands_sep);
    case 57: return pair(h.yesstr);
    case 58: return pair(h.nostr);
    case 59: return pair(h.currency_symbol);
    case 60: {
      const int i = category_index(KW_NUMERIC);
      return Item{h.codeset_names[i], h.wcodeset_names[i]};
    }
    case 61: return Item{h.d_fmt, h.wd_fmt};
    case 62: return Item{h.t_fmt, h.wt_fmt};
    case 63: return Item{h.t_fmt_ampm, h.wt_fmt_ampm};
    case 64: return pair(h.am);
    case 65: return pair(h.pm);
    case 66: return pair(h.era_joined);
    case 67: return Item{h.era_d_fmt, h.wera_d_fmt};
    case 68: return Item{h.era_t_fmt, h.wera_t_fmt};
    case 69: return Item{h.era_d_t_fmt, h.wera_d_t_fmt};
    case 70: return pair(h.alt_digits_joined);
    case 71: return pair(h.yesexpr);
    case 72: return pair(h.noexpr);
    case 73:
      if (h.calendar >= 1 && h.calendar <= 4) return Item{kCalendarNames[h.calendar], kWideCalendarNames[h.calendar]};
      return Item{nullptr, nullptr};
    default: return Item{nullptr, nullptr};
  }
}

}  // namespace kw::locale
