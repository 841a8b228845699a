// Locale creation and selection: the default locale, category-by-category
// selection from a specification or the environment, and the locale string.
#include "locale/select.h"

#include <cstring>

#include "frame/hooks.h"
#include "frame/lookup.h"
#include "frame/mem.h"
#include "kwa.h"
#include "locale/lco_format.h"
#include "locale/lco_reader.h"
#include "locale/locale_spec.h"

namespace kw::locale {
namespace {

constexpr const char* kVariables[8] = {"",         "KW_ALL",      "KW_CTYPE", "KW_COLLATE",
                                       "KW_NUMERIC", "KW_MONETARY", "KW_TIME",  "KW_MESSAGES"};
constexpr char kNative[] = "native";

bool is_blank(char c) noexcept { return c == ' ' || c == '\t'; }

// Joins a directory, the platform separator and a name into `out`; false
// when the path does not fit.
bool join_path(char* out, std::size_t size, const char* dir, const char* name) noexcept {
  const std::size_t d = std::strlen(dir);
  const std::size_t n = std::strlen(name);
  if (d + 1 + n + 1 > size) return false;
  std::memcpy(out, dir, d);
  out[d] = '/';
  std::memcpy(out + d + 1, name, n + 1);
  return true;
}

// The value that names the category's locale (see select_category).
// `value` has room for kMaxSpecLength + 1 bytes.
void category_value(int category, const char* spec, char* value) noexcept {
  value[0] = '\0';
  if (spec != nullptr && spec[0] != '\0') {
    const char* at = std::strstr(spec, kVariables[category]);
    if (at == nullptr) {
      std::size_t n = std::strlen(spec);
      if (n > kMaxSpecLength) n = kMaxSpecLength;
      std::memcpy(value, spec, n);
      value[n] = '\0';
      return;
    }
    const char* eq = std::strchr(at, '=');
    if (eq == nullptr) return;
    const char* p = eq + 1;
    while (is_blank(*p)) ++p;
    std::size_t n = 0;
    while (p[n] != '\0' && !is_blank(p[n]) && n < kLocaleNameSize) ++n;
    std::memcpy(value, p, n);
    value[n] = '\0';
    return;
  }
  for (const char* var : {kVariables[KW_ALL], kVariables[category], "KW_LANG"}) {
    const char* v = kw_ext_getenv(var);
    if (v != nullptr && v[0] != '\0') {
      std::size_t n = std::strlen(v);
      if (n > kMaxSpecLength) n = kMaxSpecLength;
      std::memcpy(value, v, n);
      value[n] = '\0';
      return;
    }
  }
  std::memcpy(value, lco::kDefaultObject, sizeof lco::kDefaultObject);
}

// Selects and reads one category. `selected` receives the name the category
// is loaded under (kMaxSpecLength + 1 bytes). A file that cannot be opened
// is Err::NoFile, as the lookup stores it.
Err select_category(kw_locale& h, int category, const char* spec, const char* dir, char* selected) noexcept {
  char value[kMaxSpecLength + 1];
  category_value(category, spec, value);
  std::memcpy(selected, value, std::strlen(value) + 1);
  const bool native = std::strcmp(value, kNative) == 0;
  std::FILE* f = nullptr;
  if (dir != nullptr) {
    char path[kMaxObjectPath];
    if (!join_path(path, sizeof path, dir, native ? kNative : value)) return Err::NoFile;
    f = kw_open_escaped(&h, path);
  } else {
    f = kw_find_object(&h, native ? lco::kDefaultObject : value, lco::kLookupKind, lco::kVersion, 0);
  }
  if (f == nullptr) return Err::NoFile;
  free_category(h, category);
  Err e = make_null_category(h, category);
  if (e == Err::None) e = read_one_category(h, category, f);
  kw_ext_fclose(f);
  return e;
}

void append(char* out, std::size_t& at, const char* text, std::size_t n) noexcept {
  if (at + n >= kLocaleStringSize) n = kLocaleStringSize - 1 - at;
  std::memcpy(out + at, text, n);
  at += n;
  out[at] = '\0';
}

// The locale string: one category's name, or every category as
// "KW_CTYPE = name ; " ... in category order.
void fill_locale_string(const kw_locale& h, int category, char* out) noexcept {
  std::size_t at = 0;
  out[0] = '\0';
  if (is_category(category)) {
    append(out, at, h.locale_names[category_index(category)], locale_name_length(h, category));
    return;
  }
  if (category != KW_ALL) return;
  for (int c = kFirstCategory; c <= kLastCategory; ++c) {
    append(out, at, kVariables[c], std::strlen(kVariables[c]));
    append(out, at, " = ", 3);
    append(out, at, h.locale_names[category_index(c)], locale_name_length(h, c));
    append(out, at, " ; ", 3);
  }
}

// Runs the post-load steps; a code-set mismatch is stored and the load kept.
Err finish_load(kw_locale& h) noexcept {
  const Err e = post_load(h);
  rebuild_wide_names(h);
  if (e == Err::CodesetMismatch) {
    frame::store_error(&h, e);
    return Err::None;
  }
  return e;
}

}  // namespace

char* select_locale(kw_locale& h, int category, const char* spec, const char* dir) noexcept {
  char* out = alloc_array<char>(kLocaleStringSize);
  if (out == nullptr) {
    frame::store_error(&h, Err::NoMem);
    return nullptr;
  }
  if (spec == nullptr) {
    fill_locale_string(h, category, out);
    return out;
  }
  if (std::strlen(spec) > kMaxSpecLength || (category != KW_ALL && !is_category(category))) {
    kw_mem_free(out);
    frame::store_error(&h, Err::Inval);
    return nullptr;
  }
  const int first = category == KW_ALL ? kFirstCategory : category;
  const int last = category == KW_ALL ? kLastCategory : category;
  for (int c = first; c <= last; ++c) {
    char selected[kMaxSpecLength + 1];
    const Err e = select_category(h, c, spec, dir, selected);
    if (e != Err::None) {
      kw_mem_free(out);
      if (e != kSilentFailure) frame::store_error(&h, e);
      if (frame::load_error(&h) == 0) frame::store_error(&h, Err::LoadFailed);
      return nullptr;
    }
    set_locale_name(h, c, selected);
  }
  if (Err e = finish_load(h); e != Err::None) {
    kw_mem_free(out);
    frame::store_error(&h, e);
    return nullptr;
  }
  fill_locale_string(h, category, out);
  return out;
}

int create_default_locale(kw_locale** result, const char* dir) noexcept {
  // A record whose automata could not all be made counts as no memory here:
  // the caller gets the out-of-memory handle rather than a half-made one.
  auto made = create_null_locale();
  if (!made || frame::load_error(*made) != 0) {
    if (made) free_locale(*made);
    *result = out_of_memory_handle();
    return -1;
  }
  kw_locale* h = *made;
  std::FILE* f = nullptr;
  if (dir != nullptr) {
    char path[kMaxObjectPath];
    const std::size_t d = std::strlen(dir);
    if (d + sizeof lco::kDefaultObject <= sizeof path) {
      std::memcpy(path, dir, d);
      std::memcpy(path + d, lco::kDefaultObject, sizeof lco::kDefaultObject);
      f = kw_ext_fopen(path, "r");
    }
  }
  if (f == nullptr) f = kw_find_object(h, lco::kDefaultObject, lco::kLookupKind, lco::kVersion, 0);
  if (f == nullptr) {
    free_locale(h);
    *result = default_missing_handle();
    return -1;
  }
  *result = h;
  const Err e = read_whole_locale(*h, f);
  if (e != Err::None) {
    // The reader leaves the stream open on failure; it is closed here once.
    kw_ext_fclose(f);
    if (e != kSilentFailure) frame::store_error(h, e);
    return -1;
  }
  // The reader closed the stream on success; it is not closed a second time.
  for (int c = kFirstCategory; c <= kLastCategory; ++c) set_locale_name(*h, c, lco::kDefaultObject);
  if (Err p = finish_load(*h); p != Err::None) {
    frame::store_error(h, p);
    return -1;
  }
  return 0;
}

int load_locale(kw_locale** result, const char* spec, const char* registry, const char* dir) noexcept {
  char fname[KW_LC_FNAME_SIZE];
  const char* text = spec != nullptr ? spec : "";
  auto r = spec2lc_fname(text, std::span<char>(fname, sizeof fname), registry, nullptr);
  if (!r) {
    std::size_t n = std::strlen(text);
    if (n >= sizeof fname) n = sizeof fname - 1;
    std::memcpy(fname, text, n);
    fname[n] = '\0';
  }
  if (CacheEntry* e = cache_find(fname)) {
    ++e->refs;
    *result = e->handle;
    return 0;
  }
  auto made = create_null_locale();
  if (!made) {
    *result = out_of_memory_handle();
    return -1;
  }
  kw_locale* h = *made;
  *result = h;
  char* s = select_locale(*h, KW_ALL, fname, dir);
  kw_mem_free(s);
  if (frame::load_error(h) != 0) return -1;
  if (Err e = cache_add(fname, h); e != Err::None) {
    frame::store_error(h, e);
    return -1;
  }
  return 0;
}

}  // namespace kw::locale
