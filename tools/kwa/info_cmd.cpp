// "kwa info [SPEC]": the information items and the conventions of a locale in
// the manner of "locale -k LC_ALL"; "kwa paths": the library version and the
// directories searched for objects.
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "frame/lookup.h"
#include "locale/info.h"

namespace kwa_cmd {
namespace {

bool print_dir(void*, const char* dir, bool fits) noexcept {
  std::printf("    %s%s\n", dir, fits ? "" : " (too long, skipped)");
  return false;
}

// name="value": bytes as they are, control bytes and quotes escaped.
void print_value(const char* name, const char* s, std::size_t n) {
  std::printf("%s=\"", name);
  for (std::size_t i = 0; i < n; ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c == '"' || c == '\\') std::printf("\\%c", c);
    else if (c == '\n') std::printf("\\n");
    else if (c < 0x20 || c == 0x7F) std::printf("\\x%02x", c);
    else std::putchar(c);
  }
  std::printf("\"\n");
}

void print_string(const char* name, const char* s) {
  if (s != nullptr) print_value(name, s, string_bytes(s));
}

void print_grouping(const char* name, const char* g) {
  std::printf("%s=", name);
  if (g == nullptr) std::printf("-1");
  for (const char* p = g; p != nullptr && *p != '\0'; ++p)
    std::printf("%s%d", p == g ? "" : ";", static_cast<int>(static_cast<signed char>(*p)));
  std::printf("\n");
}

void print_conventions(kw_locale* h) {
  const kw_lconv* c = kw_localeconv(h);
  print_string("decimal_point", c->decimal_point);
  print_string("thousands_sep", c->thousands_sep);
  print_grouping("grouping", c->grouping);
  print_string("int_curr_symbol", c->int_curr_symbol);
  print_string("currency_symbol", c->currency_symbol);
  print_string("mon_decimal_point", c->mon_decimal_point);
  print_string("mon_thousands_sep", c->mon_thousands_sep);
  print_grouping("mon_grouping", c->mon_grouping);
  print_string("positive_sign", c->positive_sign);
  print_string("negative_sign", c->negative_sign);
  print_string("num_positive_sign", c->num_positive_sign);
  print_string("num_negative_sign", c->num_negative_sign);
  const struct {
    const char* name;
    char value;
  } numbers[] = {{"int_frac_digits", c->int_frac_digits}, {"frac_digits", c->frac_digits},
                 {"p_cs_precedes", c->p_cs_precedes},     {"p_sep_by_space", c->p_sep_by_space},
                 {"n_cs_precedes", c->n_cs_precedes},     {"n_sep_by_space", c->n_sep_by_space},
                 {"p_sign_posn", c->p_sign_posn},         {"n_sign_posn", c->n_sign_posn}};
  for (const auto& n : numbers) std::printf("%s=%d\n", n.name, static_cast<int>(static_cast<signed char>(n.value)));
}

void print_items(kw_locale* h) {
  char* all = kw_setlocale_4(h, KW_ALL, nullptr);
  if (all != nullptr) print_value("locale", all, std::strlen(all));
  kw_destroystring(all);
  for (int item = 0; item <= kw::locale::kLastItem; ++item) {
    const char* s = kw_nl_langinfo(h, item);
    const bool beyond = *kw_ext_errno(h) == KW_EINVAL;  // a month beyond the set's count
    *kw_ext_errno(h) = 0;
    if (beyond) continue;
    if (s == nullptr) {
      print_value(kw::locale::item_name(item), "", 0);
      continue;
    }
    // The code-set and calendar names are plain terminated strings.
    const bool plain = item == 60 || item == 73;
    print_value(kw::locale::item_name(item), s, plain ? std::strlen(s) : string_bytes(s));
  }
  std::printf("mb_cur_max=%d\n", kw_mb_loc_max(h));
  std::printf("mb_cur_min=%d\n", kw_mb_loc_min(h));
  print_conventions(h);
}

}  // namespace

int run_info(int argc, char** argv) {
  if (argc > 1) return 2;
  int status = 0;
  kw_locale* h = load_locale(argc == 1 ? argv[0] : nullptr, &status);
  if (h == nullptr) return status;
  print_items(h);
  kw_lc_unload(h);
  return 0;
}

int run_paths(int argc, char**) {
  if (argc != 0) return 2;
  std::printf("kwa library %s (object formats: charmap %s, locale %s, conversion %s)\n", kw_version(),
              kw_cm_version(), kw_lc_version(), kw_cv_version());
  const char* path = kw_ext_getenv("KW_PATH");
  const char* install = kw_ext_getenv("KESTAVORDIR");
  if (path != nullptr && path[0] != '\0') {
    std::printf("Object files are looked for along KW_PATH=%s\n", path);
  } else if (install != nullptr && install[0] != '\0') {
    std::printf("Object files are looked for under KESTAVORDIR=%s\n", install);
  } else {
    std::printf("Object files are looked for under the installation directory\n");
  }
  struct Kind {
    const char* what;
    const char* kind;
    const char* version;
  };
  const Kind kinds[] = {{"charmap objects (.cmo)", "cm", kw_cm_version()},
                        {"locale objects (.lco)", "lc", kw_lc_version()},
                        {"conversion objects (.cvo)", "cv", kw_cv_version()}};
  for (const Kind& k : kinds) {
    std::printf("  %s:\n", k.what);
    kw::frame::visit_search_dirs(k.kind, k.version, &print_dir, nullptr);
  }
  return 0;
}

}  // namespace kwa_cmd
