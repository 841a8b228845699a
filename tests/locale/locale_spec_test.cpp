// Locale specifications: grammar, file names, code-set numbers, pieces and forms.
#include <cstring>
#include <string>

#include "locale/locale_spec.h"
#include "names_test_support.h"

namespace {

using kw::Err;

constexpr std::uint16_t kUnknown = KW_CODESET_UNKNOWN;
const std::string kSep(1, '/');
const std::string kMark(1, '\xFF');

class SpecTest : public kw::testing::RegistryTest {
 protected:
  void SetUp() override {
    RegistryTest::SetUp();
    reg_ = write_file(
        "c 819\n"
        "8859-1 819\n"
        "latin-1 819\n"
        "iso-8859-1 819\n"
        "ibm-437 437\n"
        "abcdefghijklmnopqrstu 1000\n"
        "eucjp 5050\n");
  }

  // kw_lc_spec2lc_fname into a buffer of the documented size; "" on failure.
  std::string fname(const char* spec, const char* dir = nullptr) {
    char out[KW_LC_FNAME_SIZE];
    if (kw_lc_spec2lc_fname(slot_handle(), spec, out, reg_.c_str(), dir) != 0) return "<failed>";
    return out;
  }
  std::uint16_t cs_num(const char* spec) { return kw_lc_spec2cs_num(slot_handle(), spec, reg_.c_str()); }

  std::string reg_;
};

// File names of specifications (with the directory "/d" where one is
// given): each row the name made, or "<failed>" with the error stored.
TEST_F(SpecTest, FileNamesOfSpecifications) {
  const std::string en = "en_us" + kSep + "0333";
  const struct {
    const char* spec;
    const char* dir;
    std::string fname;
    Err err;
  } rows[] = {
      {"EN_US.8859-1", nullptr, en + ".lco", Err::None},  // letters folded, code set looked up
      {"en_us.latin-1", nullptr, en + ".lco", Err::None},
      {"ja_JP.eucJP", nullptr, "ja_jp" + kSep + "13ba.lco", Err::None},
      {"en_US.819@Euro", nullptr, en + "Euro.lco", Err::None},
      {"en_US.437", "/d", "en_us" + kSep + "01b5.lco", Err::None},  // a simple one ignores the directory
      {"en_US.819@", nullptr, en + ".lco", Err::None},  // an empty modifier adds nothing
      {"en_US.abcdefghijklmnopqrstu", nullptr, "en_us" + kSep + "03e8.lco", Err::None},
      {"en_US.819@abcd", nullptr, en + "abcd.lco", Err::None},
      {"en_US.57343", nullptr, "en_us" + kSep + "dfff.lco", Err::None},
      {"KW_CTYPE = en_US.819 ; KW_TIME = en_GB.latin-1", "/d",
       "KW_CTYPE = /d" + kMark + en + ".lco ; KW_TIME = /d" + kMark + "en_gb" + kSep + "0333.lco", Err::None},
      // The trailing separator of a locale string is accepted and kept.
      {"KW_MESSAGES = fr_FR.8859-1 ; ", nullptr, "KW_MESSAGES = fr_fr" + kSep + "0333.lco ; ", Err::None},
      {"KW_CTYPE = en_US.819 ; KW_NUMERIC = de_DE.latin-1", nullptr,
       "KW_CTYPE = " + en + ".lco ; KW_NUMERIC = de_de" + kSep + "0333.lco", Err::None},
      // Malformed simple specifications and names that are too long.
      {"en_US", nullptr, "<failed>", Err::Short},
      {"en_US.", nullptr, "<failed>", Err::Short},
      {"enUS.819", nullptr, "<failed>", Err::Short},
      {"e1_US.819", nullptr, "<failed>", Err::Short},
      {"en-US.819", nullptr, "<failed>", Err::Short},
      {"en_U1.819", nullptr, "<failed>", Err::Short},
      {"en_US.#819", nullptr, "<failed>", Err::Short},
      {"en_US. 819", nullptr, "<failed>", Err::Short},
      {"en_US.819@e-u", nullptr, "<failed>", Err::Short},
      {"", nullptr, "<failed>", Err::Short},
      {"en_US.abcdefghijklmnopqrstuv", nullptr, "<failed>", Err::Short},
      {"en_US.unknown", nullptr, "<failed>", Err::Short},
      {"en_US.57344", nullptr, "<failed>", Err::Short},  // 0xE000 is the unknown number
      {"KW_TIME = en_US.57344", nullptr, "<failed>", Err::Short},
      // The code set is looked up before the modifier and what follows the
      // specification are checked: with a registry these fail as Short.
      {"en_US.819 ", nullptr, "<failed>", Err::Short},
      {"en_US.819@euros", nullptr, "<failed>", Err::Short},
      {"en_US.819@abcde", nullptr, "<failed>", Err::Short},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(fname(row.spec, row.dir), row.fname) << row.spec;
    EXPECT_KW_ERROR(slot_, row.err);
  }
}

// Composite specifications that neither walk accepts.
TEST_F(SpecTest, CompositeRejectsRepeatsMismatchesAndBadSeparators) {
  const char* bad[] = {
      "KW_TIME = en_US.819 ; KW_TIME = en_US.819",   // category twice
      "KW_CTYPE = en_US.819 ; KW_TIME = en_US.437",  // different code sets
      "KW_CTYPE=en_US.819",                          // separators are exact
      "KW_CTYPE = en_US.819;KW_TIME = en_US.819",
      "KW_CTYPE = en_US.819 ; junk",
      "KW_CTYPEX = en_US.819",
      "KW_ctype = en_US.819",
  };
  for (const char* spec : bad) {
    EXPECT_EQ(fname(spec), "<failed>") << spec;
    EXPECT_KW_ERROR(slot_, Err::Short);
    EXPECT_EQ(cs_num(spec), kUnknown) << spec;
    EXPECT_KW_ERROR(slot_, Err::Short);
  }
}

// Code-set numbers of simple specifications, composite ones (which want
// " ; " after every entry, the last one included) and bare names.
TEST_F(SpecTest, CodeSetNumbersOfSpecifications) {
  const struct {
    const char* spec;
    std::uint16_t number;
    Err err;
  } rows[] = {
      {"en_US.ISO-8859-1", 819, Err::None},
      {"en_US.437@euro", 437, Err::None},
      {"Latin-1", 819, Err::None},
      {"1252", 1252, Err::None},
      {"KW_CTYPE = en_US.819 ; KW_NUMERIC = de_DE.latin-1 ; ", 819, Err::None},
      {"KW_CTYPE = en_US.819 ; KW_NUMERIC = de_DE.latin-1", kUnknown, Err::Short},
      {"en_US.819 x", kUnknown, Err::Short},
      {"nonsense", kUnknown, Err::Short},
      {"en_US.57344", kUnknown, Err::Short},  // the unknown number names no code set
      {"KW_CTYPE = en_US.57344 ; ", kUnknown, Err::Short},
      {"57344", kUnknown, Err::Short},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(cs_num(row.spec), row.number) << row.spec;
    EXPECT_KW_ERROR(slot_, row.err);
  }
}

// Without a registry file every lookup fails with Format, and the code set
// is looked up as soon as its name is read, before the modifier and what
// follows the specification are checked.
TEST_F(SpecTest, LookupErrorsStayInTheSlot) {
  reg_ = missing_file();
  for (const char* spec : {"en_US.819", "en_US.819@abcde", "en_US.819 junk", "KW_CTYPE = en_US.819@abcde",
                           "KW_CTYPE = en_US.819 ; "}) {
    EXPECT_EQ(fname(spec), "<failed>") << spec;
    EXPECT_KW_ERROR(slot_, Err::Format);
    EXPECT_EQ(cs_num(spec), kUnknown) << spec;
    EXPECT_KW_ERROR(slot_, Err::Format);
  }
  char out[KW_LC_SHORT_SIZE];
  EXPECT_EQ(kw_lc_short_spec2lc_short_norm(slot_handle(), "KW_CTYPE = en_US.819", out, reg_.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::Format);
}

TEST_F(SpecTest, LengthTakingFormConsidersOnlyItsBytes) {
  using kw::locale::lc_spec2cs_num;
  EXPECT_EQ(lc_spec2cs_num(slot_handle(), "en_US.437@euro trailing", 14, reg_.c_str()), 437);
  EXPECT_EQ(lc_spec2cs_num(slot_handle(), "latin-1xyz", 7, reg_.c_str()), 819);
  // A terminator inside the length ends the text.
  EXPECT_EQ(lc_spec2cs_num(slot_handle(), "ibm-437\0junk", 12, reg_.c_str()), 437);
  EXPECT_EQ(lc_spec2cs_num(slot_handle(), "en_US.437", -1, reg_.c_str()), 437);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(lc_spec2cs_num(slot_handle(), "en_US.437", -2, reg_.c_str()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Inval);
  EXPECT_EQ(lc_spec2cs_num(slot_handle(), "en_US.437", 0, reg_.c_str()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(SpecTest, MessageDirectoryNameIsTenBytes) {
  char out[16];
  std::memset(out, 'X', sizeof out);
  ASSERT_EQ(kw_lc_spec2msg_dname(slot_handle(), "EN_us.latin-1@euro", out, reg_.c_str(), nullptr), 0);
  EXPECT_EQ(std::string(out), "en_us" + kSep + "0333");
  EXPECT_EQ(out[11], 'X');

  ASSERT_EQ(kw_lc_spec2msg_dname(slot_handle(), "KW_CTYPE = en_US.819 ; KW_MESSAGES = fr_FR.819", out,
                                 reg_.c_str(), "ab"),
            0);
  EXPECT_EQ(std::string(out), "ab" + kMark + "fr_fr" + kSep + "0");
  EXPECT_EQ(out[11], 'X');

  EXPECT_EQ(kw_lc_spec2msg_dname(slot_handle(), "KW_CTYPE = en_US.819", out, reg_.c_str(), nullptr), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(out[11], 'X');
}

TEST_F(SpecTest, ConversionFileName) {
  char out[KW_LC_FNAME_SIZE];
  ASSERT_EQ(kw_cs_nums2cv_fname(nullptr, 819, 437, out, nullptr), 0);
  EXPECT_STREQ(out, "033301b5.cvo");
  ASSERT_EQ(kw_cs_nums2cv_fname(nullptr, 0xE00A, 5, out, "/cv"), 0);
  EXPECT_EQ(std::string(out), "/cv" + kMark + "e00a0005.cvo");
  const std::string long_dir(KW_LC_FNAME_SIZE, 'd');
  EXPECT_EQ(kw_cs_nums2cv_fname(slot_handle(), 1, 2, out, long_dir.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::TooBig);
}

TEST_F(SpecTest, FileNamePiecesRoundTrip) {
  char lang[KW_LC_LANG_SIZE];
  char cs[KW_LC_CSNUM_SIZE];
  char mod[KW_LC_MOD_SIZE];
  char spec[KW_LC_SHORT_SIZE];
  ASSERT_EQ(kw_lc_fname2lc_pieces(slot_handle(), "en_us/0333euro.lco", lang, cs, mod), 0);
  EXPECT_STREQ(lang, "en_US");
  EXPECT_STREQ(cs, "819");
  EXPECT_STREQ(mod, "euro");
  ASSERT_EQ(kw_lc_pieces2lc_spec(slot_handle(), lang, cs, mod, spec), 0);
  EXPECT_STREQ(spec, "en_US.819@euro");

  ASSERT_EQ(kw_lc_fname2lc_pieces(nullptr, "DE_de\\ffff.lco", lang, cs, mod), 0);
  EXPECT_STREQ(lang, "de_DE");
  EXPECT_STREQ(cs, "65535");
  EXPECT_STREQ(mod, "");
  ASSERT_EQ(kw_lc_pieces2lc_spec(nullptr, lang, cs, "", spec), 0);
  EXPECT_STREQ(spec, "de_DE.65535");
  EXPECT_EQ(slot_, 0u);
}

TEST_F(SpecTest, FileNamePiecesErrors) {
  char lang[KW_LC_LANG_SIZE];
  char cs[KW_LC_CSNUM_SIZE];
  char mod[KW_LC_MOD_SIZE];
  // No separator at position 6: failure without an error number.
  EXPECT_EQ(kw_lc_fname2lc_pieces(slot_handle(), "en_us.0333.lco", lang, cs, mod), -1);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(kw_lc_fname2lc_pieces(slot_handle(), "en-us/0333.lco", lang, cs, mod), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(kw_lc_fname2lc_pieces(slot_handle(), "en_us/x333.lco", lang, cs, mod), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
  // Errors need a handle to be stored.
  EXPECT_EQ(kw_lc_fname2lc_pieces(nullptr, "en_us/x333.lco", lang, cs, mod), -1);
}

TEST_F(SpecTest, PiecesToSpecificationChecksEachPiece) {
  char spec[KW_LC_SHORT_SIZE + 4];
  std::memset(spec, 'X', sizeof spec);
  ASSERT_EQ(kw_lc_pieces2lc_spec(slot_handle(), "EN_us", "fffff", "modifier", spec), 0);
  EXPECT_STREQ(spec, "EN_us.fffff@modi");
  EXPECT_EQ(spec[KW_LC_SHORT_SIZE], 'X');
  // Only the first five characters of the code-set piece are read and copied.
  ASSERT_EQ(kw_lc_pieces2lc_spec(slot_handle(), "en_US", "123456", nullptr, spec), 0);
  EXPECT_STREQ(spec, "en_US.12345");
  ASSERT_EQ(kw_lc_pieces2lc_spec(slot_handle(), "en_US", "12345-x", "", spec), 0);
  EXPECT_STREQ(spec, "en_US.12345");
  const struct {
    const char* lang;
    const char* cs;
  } bad[] = {{"en_U", "819"}, {"en-US", "819"}, {"en_US", ""}, {"en_US", "8859-1"}, {"en_US", "1234g"}};
  for (const auto& b : bad) {
    EXPECT_EQ(kw_lc_pieces2lc_spec(slot_handle(), b.lang, b.cs, nullptr, spec), -1) << b.lang << " " << b.cs;
    EXPECT_KW_ERROR(slot_, Err::Short);
  }
  EXPECT_EQ(kw_lc_pieces2lc_spec(nullptr, "en_U", "819", nullptr, spec), -1);
}

TEST_F(SpecTest, ShortNormalFormThroughFileNameAndPieces) {
  char out[KW_LC_SHORT_SIZE];
  ASSERT_EQ(kw_lc_short_spec2lc_short_norm(slot_handle(), "EN_us.8859-1", out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "en_US.819");
  ASSERT_EQ(kw_lc_short_spec2lc_short_norm(slot_handle(), "ja_jp.EUCJP@Kana", out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "ja_JP.5050@Kana");
  EXPECT_EQ(kw_lc_short_spec2lc_short_norm(slot_handle(), "KW_CTYPE = en_US.819", out, reg_.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(SpecTest, FileNameToSpecification) {
  char out[KW_LC_SHORT_SIZE];
  const struct {
    const char* fname;
    const char* spec;
  } good[] = {
      {"en_us/0333.lco", "en_US.819"},
      {"en_us/0333euro.lco", "en_US.819@euro"},
      {"en_us/0333@euro.lco", "en_US.819@euro"},
      {"FR_fr\\13BA.lco", "fr_FR.5050"},
      {"/opt/kwa\xFF" "de_de/ffffAbc1.lco", "de_DE.65535@Abc1"},
  };
  for (const auto& g : good) {
    ASSERT_EQ(kw_lc_fname2lc_spec(slot_handle(), g.fname, out, sizeof out), 0) << g.fname;
    EXPECT_STREQ(out, g.spec);
  }
  const char* bad[] = {"en_us/0333", "en_us/033.lco", "en_us.0333.lco", "en_us/0333euros.lco",
                       "en_us/0333e-u.lco", "en_us/0333.cvo", "033301b5.cvo"};
  for (const char* b : bad) {
    EXPECT_EQ(kw_lc_fname2lc_spec(slot_handle(), b, out, sizeof out), -1) << b;
    EXPECT_KW_ERROR(slot_, Err::Format);
  }
  EXPECT_EQ(kw_lc_fname2lc_spec(slot_handle(), "en_us/0333euro.lco", out, 14), -1);
  EXPECT_KW_ERROR(slot_, Err::TooBig);
}

TEST_F(SpecTest, NormalFormOfSimpleAndCompositeSpecifications) {
  char out[256];
  ASSERT_EQ(kw_lc_spec2lc_norm(slot_handle(), "EN_us.iso-8859-1@euro", out, sizeof out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "en_US.819@euro");
  ASSERT_EQ(kw_lc_spec2lc_norm(slot_handle(), "KW_TIME = fr_fr.latin-1 ; KW_CTYPE = EN_us.8859-1 ; ", out,
                               sizeof out, reg_.c_str()),
            0);
  EXPECT_STREQ(out, "KW_CTYPE = en_US.819 ; KW_TIME = fr_FR.819");
  EXPECT_EQ(kw_lc_spec2lc_norm(slot_handle(), "KW_TIME = fr_fr.latin-1", out, 19, reg_.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::TooBig);
}

TEST_F(SpecTest, ShortAndLongForms) {
  char out[KW_LC_LONG_SIZE];
  // The first name in file order, skipping the C-locale alias "c".
  ASSERT_EQ(kw_lc_short2lc_long(slot_handle(), "en_US.819", out, sizeof out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "en_US.8859-1");
  ASSERT_EQ(kw_lc_short2lc_long(slot_handle(), "EN_us.1000@x", out, sizeof out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "en_US.abcdefghijklmnopqrstu@x");
  // A number that no name maps to stays a number.
  ASSERT_EQ(kw_lc_short2lc_long(slot_handle(), "en_US.4242", out, sizeof out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "en_US.4242");
  // A registry name holding '@' would read back as a modifier: it is passed over.
  const std::string with_at = write_file("cs@x 4000\nplain 4000\n", "registry-at");
  ASSERT_EQ(kw_lc_short2lc_long(slot_handle(), "en_US.4000@m", out, sizeof out, with_at.c_str()), 0);
  EXPECT_STREQ(out, "en_US.plain@m");
  ASSERT_EQ(kw_lc_spec2lc_short(slot_handle(), "en_us.ISO-8859-1", out, sizeof out, reg_.c_str()), 0);
  EXPECT_STREQ(out, "en_US.819");
  EXPECT_EQ(slot_, 0u);

  // With the built-in table, the first name for 819 after the C-locale aliases.
  ASSERT_EQ(kw_cache_registry(slot_handle(), missing_file().c_str()), -1);
  slot_ = 0;
  ASSERT_EQ(kw_lc_short2lc_long(slot_handle(), "en_US.819", out, sizeof out, nullptr), 0);
  EXPECT_STREQ(out, "en_US.8859-1");
  EXPECT_EQ(kw_lc_short2lc_long(slot_handle(), "en_US.819", out, 12, nullptr), -1);
  EXPECT_KW_ERROR(slot_, Err::TooBig);
  EXPECT_EQ(kw_lc_short2lc_long(slot_handle(), "KW_CTYPE = en_US.819", out, sizeof out, nullptr), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(SpecTest, ValidityTestIsSyntaxOnly) {
  const char* valid[] = {"en_US.819", "en_US.no-such-codeset@abcd", "KW_CTYPE = en_US.819",
                         "KW_TIME = en_US.1 ; KW_CTYPE = de_DE.2 ; "};
  const char* invalid[] = {"",          "en_US",         "819",
                           "en_US.819 ", "en_US.819@abcde", "KW_TIME = en_US.1 ; KW_TIME = en_US.1",
                           "KW_CTYPE = en_US.819 ;"};
  for (const char* v : valid) EXPECT_EQ(kw_is_lc_spec(slot_handle(), v), 1) << v;
  for (const char* v : invalid) EXPECT_EQ(kw_is_lc_spec(slot_handle(), v), 0) << v;
  EXPECT_EQ(kw_is_lc_spec(slot_handle(), nullptr), 0);
  EXPECT_EQ(slot_, 0u);
}

TEST_F(SpecTest, CategoryOfASpecification) {
  char out[32];
  const char* composite = "KW_TIME = fr_FR.819 ; KW_CTYPE = de_DE.Latin-1@euro ; ";
  ASSERT_EQ(kw_lc_spec2category(slot_handle(), composite, KW_CTYPE, out, sizeof out), 0);
  EXPECT_STREQ(out, "de_DE.Latin-1@euro");
  ASSERT_EQ(kw_lc_spec2category(slot_handle(), composite, KW_TIME, out, sizeof out), 0);
  EXPECT_STREQ(out, "fr_FR.819");
  ASSERT_EQ(kw_lc_spec2category(slot_handle(), "EN_us.437", KW_ALL, out, sizeof out), 0);
  EXPECT_STREQ(out, "EN_us.437");
  EXPECT_EQ(slot_, 0u);

  EXPECT_EQ(kw_lc_spec2category(slot_handle(), composite, KW_NUMERIC, out, sizeof out), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(kw_lc_spec2category(slot_handle(), composite, KW_ALL, out, sizeof out), -1);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(kw_lc_spec2category(slot_handle(), composite, 8, out, sizeof out), -1);
  EXPECT_KW_ERROR(slot_, Err::Inval);
  EXPECT_EQ(kw_lc_spec2category(slot_handle(), composite, KW_TIME, out, 9), -1);
  EXPECT_KW_ERROR(slot_, Err::TooBig);
}

TEST_F(SpecTest, NullPointersAreRejected) {
  char out[KW_LC_FNAME_SIZE];
  EXPECT_EQ(kw_lc_spec2lc_fname(slot_handle(), nullptr, out, reg_.c_str(), nullptr), -1);
  EXPECT_KW_ERROR(slot_, Err::BadPtr);
  EXPECT_EQ(kw_lc_spec2lc_fname(slot_handle(), "en_US.819", nullptr, reg_.c_str(), nullptr), -1);
  EXPECT_KW_ERROR(slot_, Err::BadPtr);
  EXPECT_EQ(kw_lc_spec2cs_num(slot_handle(), nullptr, reg_.c_str()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::BadPtr);
  EXPECT_EQ(kw_cs_name2cs_num(slot_handle(), nullptr, reg_.c_str()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::BadPtr);
  EXPECT_EQ(kw_lc_spec2lc_norm(slot_handle(), "en_US.819", out, 0, reg_.c_str()), -1);
  EXPECT_KW_ERROR(slot_, Err::TooBig);
}


std::string g_kw_path;
char* KW_CALL long_search_path(const char* name) {
  return std::strcmp(name, "KW_PATH") == 0 ? g_kw_path.data() : nullptr;
}

// Null, empty and over-long inputs and tiny buffers never crash, never write
// past the given size, and fail with an error number rather than succeed.
TEST_F(SpecTest, EntryPointsSurviveNullEmptyAndOverlongInput) {
  g_kw_path = std::string(2500, 'p') + ";" + std::string(2499, 'q');  // 5000 characters
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_GETENV, reinterpret_cast<kw_extfunc>(&long_search_path)), 0);
  std::string composite;
  while (composite.size() < 10240) composite += "KW_CTYPE = en_US.819 ; ";
  const std::string long_spec = "en_US." + std::string(10240, 'x');
  const std::string long_name(2000, 'n');
  const std::string long_registry = write_file(long_name + " 5\n8859-1 819\n", "registry-long");
  const char* texts[] = {nullptr,           "",  composite.c_str(), long_spec.c_str(), long_name.c_str(),
                         "KW_CTYPE = ",     "e", "en_us/",          "\xff\xff"};
  const char* registries[] = {nullptr, reg_.c_str(), long_registry.c_str(), long_name.c_str()};
  constexpr char kGuard = '#';
  for (const char* registry : registries) {
    for (const char* text : texts) {
      const std::string what = std::string(text == nullptr ? "(null)" : std::string(text).substr(0, 12));
      char fixed[KW_LC_FNAME_SIZE];
      EXPECT_EQ(kw_lc_spec2lc_fname(slot_handle(), text, fixed, registry, long_name.c_str()), -1) << what;
      EXPECT_NE(kw_lc_spec2msg_dname(slot_handle(), text, fixed, registry, long_name.c_str()), 0) << what;
      EXPECT_EQ(kw_lc_spec2cs_num(slot_handle(), text, registry), kUnknown) << what;
      EXPECT_EQ(kw_lc_short_spec2lc_short_norm(slot_handle(), text, fixed, registry), -1) << what;
      EXPECT_EQ(kw_is_lc_spec(slot_handle(), text), 0) << what;
      char lang[KW_LC_LANG_SIZE], cs[KW_LC_CSNUM_SIZE], mod[KW_LC_MOD_SIZE];
      EXPECT_EQ(kw_lc_fname2lc_pieces(slot_handle(), text, lang, cs, mod), -1) << what;
      EXPECT_EQ(kw_lc_pieces2lc_spec(slot_handle(), text, text, text, fixed), -1) << what;
      for (std::size_t size : {0, 1, 5}) {
        char buf[8];
        std::memset(buf, kGuard, sizeof buf);
        EXPECT_EQ(kw_lc_fname2lc_spec(slot_handle(), text, buf, size), -1) << what;
        EXPECT_EQ(kw_lc_spec2lc_norm(slot_handle(), text, buf, size, registry), -1) << what;
        EXPECT_EQ(kw_lc_short2lc_long(slot_handle(), text, buf, size, registry), -1) << what;
        EXPECT_EQ(kw_lc_spec2lc_short(slot_handle(), text, buf, size, registry), -1) << what;
        EXPECT_EQ(kw_lc_spec2category(slot_handle(), text, KW_CTYPE, buf, size), -1) << what;
        for (std::size_t i = size; i < sizeof buf; ++i) ASSERT_EQ(buf[i], kGuard) << what << " size " << size;
      }
      EXPECT_NE(slot_, 0u) << what;
      slot_ = 0;
    }
  }
  // The code-set name lookup cuts long names and fails cleanly on odd ones.
  EXPECT_EQ(kw_cs_name2cs_num(slot_handle(), long_name.c_str(), long_registry.c_str()), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(kw_cs_name2cs_num(slot_handle(), long_name.c_str(), nullptr), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Format);
  // Tiny buffers for a valid specification: too small, nothing past them.
  for (std::size_t size : {0, 1, 9}) {
    char buf[12];
    std::memset(buf, kGuard, sizeof buf);
    EXPECT_EQ(kw_lc_spec2lc_short(slot_handle(), "en_US.819@euro", buf, size, reg_.c_str()), -1);
    EXPECT_KW_ERROR(slot_, Err::TooBig);
    for (std::size_t i = size; i < sizeof buf; ++i) ASSERT_EQ(buf[i], kGuard) << size;
  }
}

}  // namespace
