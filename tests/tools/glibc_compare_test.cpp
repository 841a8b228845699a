// The bundled locales against glibc as a second opinion: each locale source
// of data/locales.manifest is compiled again with glibc's localedef into a
// private directory, and our object (read by the library's own reader) is
// compared with it character by character (classes, case, display width)
// and item by item. Characters
// are compared by their bytes: ours are the bytes read big-endian, glibc's
// wide characters are Unicode, and the charmap links the two.
//
// Every difference that is accepted is listed in kTolerated with its reason;
// any other difference fails the test.
#include <gtest/gtest.h>

#include <langinfo.h>
#include <locale.h>
#include <wctype.h>

#include <cstdio>
#include <cwchar>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "charmap.h"
#include "locale/lco_reader.h"
#include "locale/locale.h"
#include "test_support.h"

// glibc's newlocale keeps the LOCPATH list it splits (argz) for good: not
// a leak of ours. Read by LeakSanitizer in sanitizer builds.
extern "C" const char* __lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }

namespace kw::localedef {
namespace {

namespace fs = std::filesystem;

struct BundledLocale {
  std::string source, charmap, name;
};

std::vector<BundledLocale> manifest_locales() {
  std::vector<BundledLocale> out;
  const char* src = std::getenv("KWA_SOURCE_DIR");
  std::ifstream in(std::string(src ? src : ".") + "/data/locales.manifest");
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream w(line);
    std::string kind, a, b, c;
    w >> kind >> a >> b >> c;
    if (kind == "locale") out.push_back({a, b, c});
  }
  return out;
}

// A difference the comparison accepts, and why. `locale` and `what` are
// prefixes ("" matches all).
struct Tolerated {
  const char* locale;
  const char* what;
  const char* reason;
};

constexpr Tolerated kTolerated[] = {
    {"", "case ",
     "a case mapping whose other character is missing from the charmap: glibc's tables are "
     "Unicode-wide and keep it, our objects hold only mappings between characters of the code set"},
    {"", "class combining",
     "glibc keeps the i18n classes combining and combining_level3; our objects have five bits for "
     "locale-defined classes and spend them on full_width and the locale's own classes first"},
    {"ja_JP", "class jdigit",
     "ja_JP defines five classes of its own; with full_width there is no bit left for the last one"},
    {"", "item currency_symbol",
     "glibc transliterates a currency sign that the code set lacks (EUR for the euro sign); we "
     "leave characters the charmap lacks out, as the compiler is asked to"},
    {"", "item thousands_sep",
     "U+202F (narrow no-break space) is missing from the legacy code sets: glibc transliterates "
     "it to a space or U+00A0, we leave it out"},
    {"", "item mon_thousands_sep", "as thousands_sep: U+202F transliterated by glibc, left out by us"},
    {"", "item int_curr_symbol", "as thousands_sep: U+202F transliterated by glibc, left out by us"},
};

const Tolerated* tolerated(const std::string& locale, const std::string& what) {
  for (const Tolerated& t : kTolerated)
    if (locale.rfind(t.locale, 0) == 0 && what.rfind(t.what, 0) == 0) return &t;
  return nullptr;
}

// glibc's compiled locales, made once per process in a private directory
// and removed when the tests end.
fs::path glibc_dir() {
  static const fs::path dir = fs::temp_directory_path() / ("kwa_glibc_" + std::to_string(::getpid()));
  return dir;
}

class RemoveGlibcDir : public ::testing::Environment {
 public:
  void TearDown() override {
    std::error_code ec;
    fs::remove_all(glibc_dir(), ec);
  }
};
::testing::Environment* const kRemoveGlibcDir = ::testing::AddGlobalTestEnvironment(new RemoveGlibcDir);

bool compile_with_glibc(const BundledLocale& p) {
  const fs::path out = glibc_dir() / p.name;
  if (fs::exists(out / "LC_CTYPE")) return true;
  fs::create_directories(glibc_dir());
  // -c: write the locale despite warnings (SHIFT_JIS is not ASCII-compatible).
  const std::string cmd = "localedef -c -i " + p.source + " -f " + p.charmap + " " + out.string() + " > /dev/null 2>&1";
  (void)std::system(cmd.c_str());
  return fs::exists(out / "LC_CTYPE");
}

class GlibcCompare : public kw::testing::KwTest, public ::testing::WithParamInterface<BundledLocale> {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    const BundledLocale& p = GetParam();
    const char* data = std::getenv("KWA_TEST_DATA");
    ASSERT_NE(data, nullptr) << "KWA_TEST_DATA not set";
    if (std::system("localedef --help > /dev/null 2>&1") != 0) GTEST_SKIP() << "no glibc localedef";
    ASSERT_TRUE(compile_with_glibc(p)) << "glibc localedef failed for " << p.name;
    ::setenv("LOCPATH", glibc_dir().c_str(), 1);
    glibc_ = ::newlocale(LC_ALL_MASK, p.name.c_str(), nullptr);
    ASSERT_NE(glibc_, nullptr) << p.name;

    cm_ = load_charmap(p.charmap, {"/usr/share/i18n/charmaps"});
    // Our object, by the file name the library builds for it.
    std::string file;
    for (const auto& e : fs::recursive_directory_iterator(fs::path(data) / "kwa/lc11")) {
      if (!e.is_regular_file()) continue;
      std::ifstream in(e.path());
      std::string l;
      for (int i = 0; i < 6 && std::getline(in, l); ++i)
        if (l == "LOCALE=" + p.name) file = e.path().string();
      if (!file.empty()) break;
    }
    ASSERT_FALSE(file.empty()) << "no object for " << p.name;
    ASSERT_EQ(kw_create_null_locale_4(&ours_), 0);
    std::FILE* f = std::fopen(file.c_str(), "r");
    ASSERT_NE(f, nullptr);
    const Err e = kw::locale::read_whole_locale(*ours_, f);
    if (e != Err::None) std::fclose(f);
    ASSERT_EQ(e, Err::None) << file;
  }

  void TearDown() override {
    if (ours_ != nullptr) {
      // A handle read directly owns its categories: free them, then the handle.
      for (int c = KW_CTYPE; c <= KW_MESSAGES; ++c) kw_free_category(ours_, c);
      kw_free_nonshared_loc(ours_);
    }
    if (glibc_ != nullptr) ::freelocale(glibc_);
    KwTest::TearDown();
  }

  // Records a difference; tolerated ones are only counted.
  void differ(const std::string& what, const std::string& detail) {
    const Tolerated* t = tolerated(GetParam().name, what);
    if (t != nullptr) {
      ++tolerated_[t->what];
      return;
    }
    if (++failures_ <= 40) ADD_FAILURE() << GetParam().name << ": " << what << ": " << detail;
  }

  void report() {
    for (const auto& [what, n] : tolerated_)
      std::printf("  %s: %d tolerated difference(s) in '%s'\n", GetParam().name.c_str(), n, what.c_str());
    if (failures_ > 40) ADD_FAILURE() << failures_ << " differences in all";
  }

  // Our 16-bit data of a character in one of the handle's automata.
  static int data(const kw::codeset::Automaton* a, const Bytes& b) {
    std::uint8_t s[4] = {};
    for (int i = 0; i < b.len; ++i) s[i] = b.byte(i);
    const kw::codeset::Match m = kw::codeset::automaton_walk(*a, s, b.len);
    if (m.err != Err::None || m.len != b.len) return -1;
    const std::uint8_t* d = kw::codeset::automaton_data(*a, m.node, m.last);
    return d[0] | (d[1] << 8);
  }

  std::string ours_item(int item) {
    const char* s = kw_nl_langinfo(ours_, item);
    return s ? s : "(null)";
  }

  locale_t glibc_ = nullptr;
  kw_locale* ours_ = nullptr;
  Charmap cm_;
  std::map<std::string, int> tolerated_;
  int failures_ = 0;
};

std::string hex(const std::string& s) {
  std::string out;
  char b[4];
  for (unsigned char c : s) {
    std::snprintf(b, sizeof b, "%02X ", c);
    out += b;
  }
  return out;
}

TEST_P(GlibcCompare, ClassesAndCaseOfEveryCharacter) {
  static const char* const kClasses[11] = {"upper", "lower", "alpha", "digit", "space", "cntrl",
                                           "punct", "graph", "print", "xdigit", "blank"};
  wctype_t glibc_class[11];
  for (int k = 0; k < 11; ++k) glibc_class[k] = ::wctype_l(kClasses[k], glibc_);
  // Our locale-defined classes that glibc knows by name too.
  std::vector<std::pair<std::string, std::uint32_t>> named;
  for (std::uint32_t i = 0; i < ours_->n_classes; ++i) named.emplace_back(ours_->classes[i].name, ours_->classes[i].mask);

  // Classes glibc has that our object lacks (each counts once).
  for (const char* name : {"combining", "combining_level3", "jspace", "jhira", "jkata", "jkanji", "jdigit",
                           "hangul", "hanja", "hanzi"}) {
    bool ours = false;
    for (const auto& n : named) ours = ours || n.first == name;
    if (!ours && ::wctype_l(name, glibc_) != 0) differ(std::string("class ") + name, "not in our object");
  }

  std::uint32_t full_width = 0;
  for (const auto& [name, bit] : named)
    if (name == "full_width") full_width = bit;
  ::uselocale(glibc_);  // wcwidth has no _l form

  for (const CharmapChar& c : cm_.chars) {
    if (c.ucs == kNoCodePoint || cm_.by_bytes.at(c.bytes.key()) != static_cast<std::size_t>(&c - cm_.chars.data()))
      continue;
    const int mask = data(ours_->ctype, c.bytes);
    char at[64];
    std::snprintf(at, sizeof at, "U+%04X (bytes %X)", c.ucs, c.bytes.value);
    if (mask < 0) {
      differ("character", std::string(at) + " missing from our object");
      continue;
    }
    for (int k = 0; k < 11; ++k) {
      const bool g = ::iswctype_l(static_cast<wint_t>(c.ucs), glibc_class[k], glibc_) != 0;
      const bool o = (mask & (1 << k)) != 0;
      if (g != o) differ(std::string("class ") + kClasses[k], std::string(at) + (g ? " only in glibc" : " only in ours"));
    }
    for (const auto& [name, bit] : named) {
      const wctype_t t = ::wctype_l(name.c_str(), glibc_);
      if (t == 0) continue;  // full_width: ours alone
      const bool g = ::iswctype_l(static_cast<wint_t>(c.ucs), t, glibc_) != 0;
      const bool o = (static_cast<std::uint32_t>(mask) & bit) != 0;
      if (g != o) differ("class " + name, std::string(at) + (g ? " only in glibc" : " only in ours"));
    }
    // Display width: our full_width class against glibc's width 2.
    const bool g_wide = ::wcwidth(static_cast<wchar_t>(c.ucs)) == 2;
    const bool o_wide = (static_cast<std::uint32_t>(mask) & full_width) != 0;
    if (g_wide != o_wide) differ("width", std::string(at) + (g_wide ? " wide only in glibc" : " wide only in ours"));
    // Case: our pair's bytes, turned back into Unicode through the charmap.
    const int index = data(ours_->ctype_case, c.bytes);
    std::uint32_t our_up = c.ucs, our_low = c.ucs;
    if (index > 0 && static_cast<std::uint32_t>(index) <= ours_->n_case_pairs) {
      const auto& pair = ours_->case_pairs[index];
      auto ucs_of = [&](std::uint32_t v, std::uint32_t self) {
        if (v == 0) return self;
        // The value's byte count: its significant bytes, at least the
        // code set's shortest character.
        std::uint64_t len = v > 0xFFFFFF ? 4 : v > 0xFFFF ? 3 : v > 0xFF ? 2 : 1;
        if (len < static_cast<std::uint64_t>(cm_.shortest)) len = static_cast<std::uint64_t>(cm_.shortest);
        const auto it = cm_.by_bytes.find((len << 32) | v);
        return it == cm_.by_bytes.end() ? kNoCodePoint : cm_.chars[it->second].ucs;
      };
      our_up = ucs_of(pair.upper, c.ucs);
      our_low = ucs_of(pair.lower, c.ucs);
    }
    const auto g_up = static_cast<std::uint32_t>(::towupper_l(static_cast<wint_t>(c.ucs), glibc_));
    const auto g_low = static_cast<std::uint32_t>(::towlower_l(static_cast<wint_t>(c.ucs), glibc_));
    auto check_case = [&](const char* dir, std::uint32_t g, std::uint32_t o) {
      if (g == o) return;
      // A mapping to a character outside the charmap is tolerated only as such.
      const bool outside = cm_.find_ucs(g) == nullptr;
      char d[96];
      std::snprintf(d, sizeof d, "%s: glibc U+%04X, ours U+%04X", at, g, o);
      differ(outside ? std::string("case ") + dir : std::string("mapping ") + dir, d);
    };
    check_case("upper", g_up, our_up);
    check_case("lower", g_low, our_low);
  }
  ::uselocale(LC_GLOBAL_LOCALE);
  report();
}

TEST_P(GlibcCompare, InformationItemsBothHave) {
  struct Pair {
    const char* what;
    int ours;
    nl_item glibc;
  };
  std::vector<Pair> items = {
      {"d_t_fmt", 0, D_T_FMT},     {"d_fmt", 61, D_FMT},         {"t_fmt", 62, T_FMT},
      {"t_fmt_ampm", 63, T_FMT_AMPM}, {"am", 64, AM_STR},          {"pm", 65, PM_STR},
      {"era_d_fmt", 67, ERA_D_FMT}, {"era_t_fmt", 68, ERA_T_FMT}, {"era_d_t_fmt", 69, ERA_D_T_FMT},
      {"decimal_point", 55, RADIXCHAR}, {"thousands_sep", 56, THOUSEP}, {"yesexpr", 71, YESEXPR},
      {"noexpr", 72, NOEXPR},
  };
  for (int i = 0; i < 7; ++i) {
    items.push_back({"day", 1 + i, static_cast<nl_item>(DAY_1 + i)});
    items.push_back({"abday", 8 + i, static_cast<nl_item>(ABDAY_1 + i)});
  }
  for (int i = 0; i < 12; ++i) {
    items.push_back({"mon", 15 + i, static_cast<nl_item>(MON_1 + i)});
    items.push_back({"abmon", 35 + i, static_cast<nl_item>(ABMON_1 + i)});
  }
  for (const Pair& p : items) {
    const std::string g = ::nl_langinfo_l(p.glibc, glibc_);
    const std::string o = ours_item(p.ours);
    if (g != o) differ(std::string("item ") + p.what, "glibc [" + hex(g) + "] ours [" + hex(o) + "]");
  }
  // Eras and alternative digits: glibc holds them as strings one after the
  // other, ours joined by ';'.
  auto multi = [&](nl_item item, std::size_t n) {
    std::vector<std::string> out;
    const char* s = ::nl_langinfo_l(item, glibc_);
    for (std::size_t i = 0; i < n && s != nullptr; ++i) {
      out.emplace_back(s);
      s += std::strlen(s) + 1;
    }
    return out;
  };
  auto split = [](const std::string& s) {
    std::vector<std::string> out;
    if (s.empty() || s == "(null)") return out;
    std::size_t a = 0;
    for (std::size_t b; (b = s.find(';', a)) != std::string::npos; a = b + 1) out.push_back(s.substr(a, b - a));
    out.push_back(s.substr(a));
    return out;
  };
  // A word item: glibc returns the count in the low 32 bits of the pointer.
  const std::size_t n_eras =
      static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(::nl_langinfo_l(_NL_TIME_ERA_NUM_ENTRIES, glibc_)));
  const std::vector<std::string> our_eras = split(ours_item(66));
  if (our_eras.size() != n_eras) differ("item era", "count glibc " + std::to_string(n_eras) + " ours " + std::to_string(our_eras.size()));
  else if (multi(ERA, n_eras) != our_eras) differ("item era", "entries differ");
  const std::vector<std::string> our_digits = split(ours_item(70));
  if (multi(ALT_DIGITS, our_digits.size()) != our_digits) differ("item alt_digits", "entries differ");
  report();
}

TEST_P(GlibcCompare, ConventionsRecord) {
  ::uselocale(glibc_);
  const struct lconv g = *::localeconv();
  const std::string g_strings[] = {g.decimal_point, g.thousands_sep, g.grouping, g.int_curr_symbol,
                                   g.currency_symbol, g.mon_decimal_point, g.mon_thousands_sep,
                                   g.mon_grouping, g.positive_sign, g.negative_sign};
  const char g_numbers[] = {g.int_frac_digits, g.frac_digits, g.p_cs_precedes, g.p_sep_by_space,
                            g.n_cs_precedes, g.n_sep_by_space, g.p_sign_posn, g.n_sign_posn};
  ::uselocale(LC_GLOBAL_LOCALE);
  const kw_lconv* o = kw_localeconv(ours_);
  ASSERT_NE(o, nullptr);
  auto str = [](const char* s) { return std::string(s ? s : "(null)"); };
  const std::string o_strings[] = {str(o->decimal_point), str(o->thousands_sep), str(o->grouping),
                                   str(o->int_curr_symbol), str(o->currency_symbol), str(o->mon_decimal_point),
                                   str(o->mon_thousands_sep), str(o->mon_grouping), str(o->positive_sign),
                                   str(o->negative_sign)};
  const char o_numbers[] = {o->int_frac_digits, o->frac_digits, o->p_cs_precedes, o->p_sep_by_space,
                            o->n_cs_precedes, o->n_sep_by_space, o->p_sign_posn, o->n_sign_posn};
  static const char* const kStrings[] = {"decimal_point", "thousands_sep", "grouping", "int_curr_symbol",
                                         "currency_symbol", "mon_decimal_point", "mon_thousands_sep",
                                         "mon_grouping", "positive_sign", "negative_sign"};
  static const char* const kNumbers[] = {"int_frac_digits", "frac_digits", "p_cs_precedes", "p_sep_by_space",
                                         "n_cs_precedes", "n_sep_by_space", "p_sign_posn", "n_sign_posn"};
  for (int i = 0; i < 10; ++i)
    if (g_strings[i] != o_strings[i])
      differ(std::string("item ") + kStrings[i], "glibc [" + hex(g_strings[i]) + "] ours [" + hex(o_strings[i]) + "]");
  for (int i = 0; i < 8; ++i)
    if (g_numbers[i] != o_numbers[i])
      differ(std::string("number ") + kNumbers[i],
             "glibc " + std::to_string(g_numbers[i]) + " ours " + std::to_string(o_numbers[i]));
  report();
}

// The bundle is laid out as the library looks objects up: through the
// registry to the code-set number, and from there to the file names.
class BundledLayout : public kw::testing::KwTest {
 protected:
  void SetUp() override {
    KwTest::SetUp();
    const char* data = std::getenv("KWA_TEST_DATA");
    ASSERT_NE(data, nullptr);
    ::unsetenv("KW_PATH");
    ::setenv("KESTAVORDIR", data, 1);
  }
  void TearDown() override {
    ::unsetenv("KESTAVORDIR");
    KwTest::TearDown();
  }
};

TEST_F(BundledLayout, LibraryFindsLocalesCharmapsAndDefaultByName) {
  for (const BundledLocale& l : manifest_locales()) {
    kw_locale* h = nullptr;
    EXPECT_EQ(kw_lc_load(&h, l.name.c_str(), nullptr, nullptr), 0) << l.name;
    if (h != nullptr) kw_lc_unload(h);
    kw_charmap* cm = nullptr;
    EXPECT_EQ(kw_cm_load(&cm, l.charmap.c_str(), -1, nullptr), 0) << l.charmap;
    if (cm != nullptr) kw_cm_unload(cm);
  }
  kw_locale* d = nullptr;
  EXPECT_EQ(kw_createlocale_4(&d), 0);
  if (d != nullptr) {
    const char* radix = kw_nl_langinfo(d, 55);
    EXPECT_STREQ(radix, ".");
    kw_lc_unload(d);
  }
}

// Names the locale in failure messages instead of dumping its bytes.
void PrintTo(const BundledLocale& l, std::ostream* os) { *os << l.name; }

std::string param_name(const ::testing::TestParamInfo<BundledLocale>& info) {
  std::string n = info.param.name;
  for (char& c : n)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return n;
}

INSTANTIATE_TEST_SUITE_P(Bundled, GlibcCompare, ::testing::ValuesIn(manifest_locales()), param_name);
// Without the source tree's manifest there is nothing to compare.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(GlibcCompare);

}  // namespace
}  // namespace kw::localedef
