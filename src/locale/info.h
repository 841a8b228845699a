// Locale information items: the datum of an item number in a locale.
#pragma once

#include "frame/err.h"
#include "locale/locale.h"

namespace kw::locale {

inline constexpr int kLastItem = 73;

// The multibyte and wide form of one item; both null when absent. Err::Inval
// for a month item beyond the set's count.
struct Item {
  const char* s;
  const kw_wchar_t* w;
};
Result<Item> langinfo(const kw_locale& h, int item) noexcept;

// The conventional name of an item (abday_1, mon_12, d_t_fmt, radixchar ...).
const char* item_name(int item) noexcept;

}  // namespace kw::locale
