// Shared test helpers.
#include "test_support.h"

#include <unistd.h>

#include <cstdlib>
#include <new>
#include <unordered_set>

#include "frame/platform.h"
#include "process_state.h"

namespace kw::testing {
namespace {

std::size_t g_fail_at = 0;
bool g_fail_after = false;
std::size_t g_calls = 0;
std::size_t g_allocations = 0;
std::unordered_set<void*>* g_live = nullptr;

void* KW_CALL counting_malloc(std::size_t size) {
  ++g_calls;
  if (g_fail_at != 0 && (g_calls == g_fail_at || (g_fail_after && g_calls > g_fail_at))) return nullptr;
  void* p = std::malloc(size);
  if (p != nullptr) {
    ++g_allocations;
    g_live->insert(p);
  }
  return p;
}

void KW_CALL counting_free(void* p) {
  if (p == nullptr) return;
  if (g_live->erase(p) == 0) ADD_FAILURE() << "free of a block not allocated through the hook: " << p;
  std::free(p);
}

}  // namespace

void CountingAllocator::install(std::size_t fail_at, bool fail_after) {
  if (g_live == nullptr) g_live = new std::unordered_set<void*>();
  g_live->clear();
  g_fail_at = fail_at;
  g_fail_after = fail_after;
  g_calls = 0;
  g_allocations = 0;
  kw_setextfunc(nullptr, KW_EXT_MALLOC, reinterpret_cast<kw_extfunc>(&counting_malloc));
  kw_setextfunc(nullptr, KW_EXT_FREE, reinterpret_cast<kw_extfunc>(&counting_free));
}

void CountingAllocator::uninstall() {
  kw_setextfunc(nullptr, KW_EXT_MALLOC, nullptr);
  kw_setextfunc(nullptr, KW_EXT_FREE, nullptr);
  g_fail_at = 0;
}

std::size_t CountingAllocator::live() { return g_live == nullptr ? 0 : g_live->size(); }
std::size_t CountingAllocator::allocations() { return g_allocations; }
std::size_t CountingAllocator::calls() { return g_calls; }

void KwTest::SetUp() {
  kw::reset_process_state_for_tests();
  // Diagnostics never reach the real log or settings file from a test.
  kw::platform::set_paths_for_tests(scratch_log_path().c_str(), "");
  slot_ = 0;
}

void KwTest::TearDown() { kw::reset_process_state_for_tests(); }

std::string scratch_log_path() {
  return ::testing::TempDir() + "kwa-test-" + std::to_string(static_cast<long>(getpid())) + ".log";
}

std::string test_data_dir() {
  const char* d = std::getenv("KWA_TEST_DATA");
  return d != nullptr ? d : "";
}

std::string source_dir() {
  const char* d = std::getenv("KWA_SOURCE_DIR");
  return d != nullptr ? d : ".";
}

}  // namespace kw::testing
