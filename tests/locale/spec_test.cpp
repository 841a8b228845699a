// Locale specifications: grammar, file names, code-set numbers, pieces and forms.
#include <cstring>
#include <string>

#include "locale/spec.h"
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

TEST_F(SpecTest, SimpleFileNameFoldsLettersAndLooksUpTheCodeSet) {
  EXPECT_EQ(fname("EN_US.8859-1"), "en_us" + kSep + "0333.lco");
  EXPECT_EQ(fname("en_us.latin-1"), "en_us" + kSep + "0333.lco");
  EXPECT_EQ(fname("ja_JP.eucJP"), "ja_jp" + kSep + "13ba.lco");
  EXPECT_EQ(fname("en_US.819@Euro"), "en_us" + kSep + "0333Euro.lco");
  // A simple specification ignores the directory.
  EXPECT_EQ(fname("en_US.437", "/data"), "en_us" + kSep + "01b5.lco");
  EXPECT_EQ(slot_, 0u);
}

TEST_F(SpecTest, RejectsMalformedSimpleSpecifications) {
  const char* bad[] = {
      "en_US",      "en_US.",     "enUS.819",     "e1_US.819",  "en-US.819",   "en_U1.819",
      "en_US.#819", "en_US. 819", "en_US.819 ",   "en_US.819@euros",
      "en_US.819@e-u", "",
  };
  for (const char* spec : bad) {
    EXPECT_EQ(fname(spec), "<failed>") << spec;
    EXPECT_KW_ERROR(slot_, Err::Short);
  }
  // An '@' with no modifier after it is accepted and adds nothing.
  EXPECT_EQ(fname("en_US.819@"), "en_us" + kSep + "0333.lco");
}

TEST_F(SpecTest, CodeSetNamesUpToTwentyOneCharacters) {
  EXPECT_EQ(fname("en_US.abcdefghijklmnopqrstu"), "en_us" + kSep + "03e8.lco");
  EXPECT_EQ(fname("en_US.abcdefghijklmnopqrstuv"), "<failed>");
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(fname("en_US.819@abcd"), "en_us" + kSep + "0333abcd.lco");
  EXPECT_EQ(fname("en_US.819@abcde"), "<failed>");
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(SpecTest, LookupErrorsStayInTheSlot) {
  EXPECT_EQ(fname("en_US.unknown"), "<failed>");
  EXPECT_KW_ERROR(slot_, Err::Short);
  reg_ = missing_file();
  EXPECT_EQ(fname("en_US.819"), "<failed>");
  EXPECT_KW_ERROR(slot_, Err::Format);
  EXPECT_EQ(cs_num("KW_CTYPE = en_US.819 ; "), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Format);
}

TEST_F(SpecTest, CompositeFileNameCarriesTheDirectoryPart) {
  EXPECT_EQ(fname("KW_CTYPE = en_US.819 ; KW_TIME = en_GB.latin-1", "/d"),
            "KW_CTYPE = /d" + kMark + "en_us" + kSep + "0333.lco ; KW_TIME = /d" + kMark + "en_gb" + kSep +
                "0333.lco");
  // The trailing separator of a locale string is accepted and kept.
  EXPECT_EQ(fname("KW_MESSAGES = fr_FR.8859-1 ; "), "KW_MESSAGES = fr_fr" + kSep + "0333.lco ; ");
  EXPECT_EQ(slot_, 0u);
}

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

// The file-name walk stops at the end of the text; the code-set walk wants
// " ; " after every entry, the last one included.
TEST_F(SpecTest, TheTwoCompositeWalksDifferOnTheLastSeparator) {
  const char* without = "KW_CTYPE = en_US.819 ; KW_NUMERIC = de_DE.latin-1";
  const char* with = "KW_CTYPE = en_US.819 ; KW_NUMERIC = de_DE.latin-1 ; ";
  EXPECT_NE(fname(without), "<failed>");
  EXPECT_NE(fname(with), "<failed>");
  EXPECT_EQ(cs_num(with), 819);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(cs_num(without), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
}

TEST_F(SpecTest, CodeSetNumberOfSimpleSpecsAndBareNames) {
  EXPECT_EQ(cs_num("en_US.ISO-8859-1"), 819);
  EXPECT_EQ(cs_num("en_US.437@euro"), 437);
  EXPECT_EQ(cs_num("Latin-1"), 819);
  EXPECT_EQ(cs_num("1252"), 1252);
  EXPECT_EQ(slot_, 0u);
  EXPECT_EQ(cs_num("en_US.819 x"), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
  EXPECT_EQ(cs_num("nonsense"), kUnknown);
  EXPECT_KW_ERROR(slot_, Err::Short);
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
  const struct {
    const char* lang;
    const char* cs;
  } bad[] = {{"en_U", "819"}, {"en-US", "819"}, {"en_US", ""}, {"en_US", "8859-1"}, {"en_US", "123456"}};
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

}  // namespace
