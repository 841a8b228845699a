// The external function table: slot bounds, redirection and defaults.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "frame/mem.h"
#include "kwa.h"
#include "test_support.h"

namespace kw::testing {
namespace {

class HooksTest : public KwTest {};

std::uint32_t g_redirected_slot;
std::uint32_t* KW_CALL redirect_errno(void*) { return &g_redirected_slot; }

int g_malloc_calls;
void* KW_CALL counting_malloc(std::size_t size) {
  ++g_malloc_calls;
  return std::malloc(size);
}

char g_fake_value[] = "from-hook";
char* KW_CALL fake_getenv(const char*) { return g_fake_value; }

int KW_CALL fixed_currdate(std::uint16_t* out) {
  out[0] = 3;
  out[1] = 5;
  out[2] = 1997;
  return 0;
}

TEST_F(HooksTest, RejectsIndexOutsideTableAndKeepsTable) {
  ASSERT_EQ(kw_setextfunc(slot_handle(), KW_EXT_GETENV, reinterpret_cast<kw_extfunc>(&fake_getenv)), 0);
  for (int index : {-1, 18, 1000}) {
    EXPECT_EQ(kw_setextfunc(slot_handle(), index, nullptr), -1) << index;
    EXPECT_KW_ERROR(slot_, Err::Inval);
  }
  EXPECT_STREQ(kw_ext_getenv("ANY"), "from-hook");
  EXPECT_EQ(kw_setextfunc(slot_handle(), 17, nullptr), 0);
  EXPECT_EQ(kw_setextfunc(nullptr, 18, nullptr), -1);  // no handle: nothing stored, no crash
  EXPECT_EQ(slot_, 0u);
}

TEST_F(HooksTest, ErrnoHookRedirectsEveryStoredError) {
  EXPECT_EQ(kw_ext_errno(slot_handle()), &slot_);
  g_redirected_slot = 0;
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_ERRNO, reinterpret_cast<kw_extfunc>(&redirect_errno)), 0);
  EXPECT_EQ(kw_ext_errno(slot_handle()), &g_redirected_slot);
  EXPECT_EQ(kw_setextfunc(slot_handle(), -1, nullptr), -1);
  EXPECT_EQ(g_redirected_slot, 9u);
  EXPECT_EQ(slot_, 0u);
}

TEST_F(HooksTest, NullHookRestoresDefault) {
  g_malloc_calls = 0;
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_MALLOC, reinterpret_cast<kw_extfunc>(&counting_malloc)), 0);
  void* a = kw_mem_alloc(8);
  EXPECT_EQ(g_malloc_calls, 1);
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_MALLOC, nullptr), 0);
  void* b = kw_mem_alloc(8);
  EXPECT_EQ(g_malloc_calls, 1);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  kw_mem_free(a);
  kw_mem_free(b);
}

TEST_F(HooksTest, AllocationHelpersUseTheTableAndIgnoreEmptyRequests) {
  CountingAllocator::install();
  EXPECT_EQ(kw_mem_alloc(0), nullptr);
  EXPECT_EQ(CountingAllocator::calls(), 0u);
  kw_mem_free(nullptr);
  void* s = kw_mem_alloc(16);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(CountingAllocator::live(), 1u);
  kw_destroystring(s);
  EXPECT_EQ(CountingAllocator::live(), 0u);
  CountingAllocator::uninstall();

  CountingAllocator::install(1);
  EXPECT_EQ(kw_mem_alloc(4), nullptr);
  CountingAllocator::uninstall();
}

TEST_F(HooksTest, StreamIndicatorsAreMaskedFlagBits) {
  std::FILE* f = std::tmpfile();
  ASSERT_NE(f, nullptr);
  std::fputs("x", f);
  std::rewind(f);
  EXPECT_EQ(kw_ext_feof(f), 0);
  EXPECT_EQ(kw_ext_fgetc(f), 'x');
  EXPECT_EQ(kw_ext_fgetc(f), EOF);
  EXPECT_EQ(kw_ext_feof(f), 16);
  EXPECT_EQ(kw_feof(f), 16);
  EXPECT_EQ(kw_ext_ferror(f), 0);
  std::fclose(f);

  // Reading a stream opened for writing only sets its error indicator.
  char path[] = "/tmp/kwa-ferror-XXXXXX";
  const int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  close(fd);
  std::FILE* w = std::fopen(path, "w");
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(std::fgetc(w), EOF);
  EXPECT_EQ(kw_ext_ferror(w), 32);
  EXPECT_EQ(kw_ferror(w), 32);
  std::fclose(w);
  std::remove(path);
}

TEST_F(HooksTest, DefaultsTreatNullArgumentsAsFailure) {
  EXPECT_EQ(kw_ext_feof(nullptr), 0);
  EXPECT_EQ(kw_ext_fclose(nullptr), EOF);
  EXPECT_EQ(kw_ext_fgetc(nullptr), EOF);
  EXPECT_EQ(kw_ext_fopen(nullptr, "r"), nullptr);
  EXPECT_EQ(kw_ext_getenv(nullptr), nullptr);
  EXPECT_EQ(kw_ext_currdate(nullptr), 0);
}

TEST_F(HooksTest, CurrentDateComesFromHookOrLocalClock) {
  std::uint16_t date[3] = {};
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_CURRDATE, reinterpret_cast<kw_extfunc>(&fixed_currdate)), 0);
  EXPECT_EQ(kw_ext_currdate(date), 0);
  EXPECT_EQ(date[0], 3);
  EXPECT_EQ(date[1], 5);
  EXPECT_EQ(date[2], 1997);
  ASSERT_EQ(kw_setextfunc(nullptr, KW_EXT_CURRDATE, nullptr), 0);

  // Retry if the day changes between the two clock reads.
  for (int tries = 0; tries < 3; ++tries) {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    EXPECT_EQ(kw_ext_currdate(date), 0);
    if (date[1] != tm.tm_mday) continue;
    EXPECT_EQ(date[0], tm.tm_mon + 1);
    EXPECT_EQ(date[2], tm.tm_year + 1900);
    return;
  }
  ADD_FAILURE() << "day of month never matched the local clock";
}

TEST_F(HooksTest, CurrentTimeFillsBrokenDownFieldsBetweenZeroWords) {
  std::int32_t fields[12];
  for (auto& f : fields) f = -7;
  std::time_t t = std::time(nullptr);
  std::tm tm{};
  localtime_r(&t, &tm);
  EXPECT_EQ(kw_ext_currtime(fields), 0);
  EXPECT_EQ(fields[0], 0);
  EXPECT_EQ(fields[6], tm.tm_year);
  EXPECT_EQ(fields[10], 0);
  EXPECT_EQ(fields[11], 0);
}

TEST_F(HooksTest, VersionStrings) {
  EXPECT_STREQ(kw_version(), "kwalib-3.07.TC2");
  EXPECT_STREQ(kw_cm_version(), "3");
  EXPECT_STREQ(kw_lc_version(), "11");
  EXPECT_STREQ(kw_cv_version(), "9");
}

}  // namespace
}  // namespace kw::testing
