// Helpers shared by the kwa subcommands: locale loading and option parsing.
#include <cstdio>
#include <cstring>

#include "commands.h"

namespace kwa_cmd {

std::size_t string_bytes(const char* s) {
  std::size_t n = 0;
  while (!(s[n] == 0 && s[n + 1] == 0 && s[n + 2] == 0 && s[n + 3] == 0)) ++n;
  return n;
}

const char* load_error_text(std::uint32_t e) {
  switch (e) {
    case KW_ENOMEM: return "out of memory";
    case KW_ENOFILE: return "no locale object found (or a malformed string in one)";
    case KW_EBADINDEX: return "a grouping of more than 15 values";
    case KW_EKEYLEN: return "a character of more than 4 bytes";
    case KW_ECALENDAR: return "an unknown calendar";
    case KW_EBADTYPE: return "not a locale object (or a malformed one)";
    case KW_EBADVERSION: return "locale object of another format version";
    case KW_ECSMISMATCH: return "its categories use different code sets";
    case KW_ELOADFAIL: return "a category could not be read";
    case KW_ENOCHARS: return "its character set is empty";
    case KW_ECATCODESET: return "a category's code set differs from the character set's";
    default: return "the locale object could not be read";
  }
}

kw_locale* load_locale(const char* spec, int* status) {
  kw_locale* h = nullptr;
  *status = 1;
  if (spec == nullptr) {
    // The locale that the environment selects (KW_ALL, KW_<category>,
    // KW_LANG), else default.lco.
    if (kw_create_null_locale_4(&h) != 0) {
      std::fprintf(stderr, "kwa: out of memory\n");
      return nullptr;
    }
    char* s = kw_setlocale_4(h, KW_ALL, "");
    if (s == nullptr) {
      std::fprintf(stderr, "kwa: cannot load the locale the environment selects: %s (error %u)\n",
                   load_error_text(*kw_ext_errno(h)), *kw_ext_errno(h));
      kw_lc_unload(h);
      return nullptr;
    }
    kw_destroystring(s);
    return h;
  }
  // "C" and "POSIX" name the default locale object.
  if (std::strcmp(spec, "C") == 0 || std::strcmp(spec, "POSIX") == 0) spec = "default.lco";
  char fname[KW_LC_FNAME_SIZE];
  const bool is_spec = kw_lc_spec2lc_fname(nullptr, spec, fname, nullptr, nullptr) == 0;
  const std::size_t n = std::strlen(spec);
  const bool is_file = n > 4 && std::strcmp(spec + n - 4, ".lco") == 0;
  if (!is_spec && !is_file && std::strcmp(spec, "native") != 0) {
    std::fprintf(stderr,
                 "kwa: bad locale specification \"%s\" (expected ll_TT.codeset[@modifier], "
                 "KW_<CATEGORY> = ... entries, or a .lco file name)\n",
                 spec);
    *status = 2;
    return nullptr;
  }
  const int r = kw_lc_load(&h, spec, nullptr, nullptr);
  const std::uint32_t e = *kw_ext_errno(h);
  if (r != 0 && e != KW_ECSMISMATCH) {
    std::fprintf(stderr, "kwa: cannot load locale \"%s\"%s%s%s: %s (error %u)\n", spec, is_spec ? " (" : "",
                 is_spec ? fname : "", is_spec ? ")" : "", load_error_text(e), e);
    kw_lc_unload(h);
    return nullptr;
  }
  if (e == KW_ECSMISMATCH) std::fprintf(stderr, "kwa: warning: %s\n", load_error_text(e));
  *kw_ext_errno(h) = 0;
  return h;
}

bool take_locale_option(int& argc, char**& argv, const char*& spec) {
  spec = nullptr;
  if (argc == 0 || std::strcmp(argv[0], "-l") != 0) return true;
  if (argc < 2) {
    std::fprintf(stderr, "kwa: -l needs a locale specification\n");
    return false;
  }
  spec = argv[1];
  argc -= 2;
  argv += 2;
  return true;
}

}  // namespace kwa_cmd
