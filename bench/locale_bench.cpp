// Loading a locale's CTYPE automaton with every UTF-8 character
// (U+0000..U+10FFFF without surrogates): time per load, and the bytes the
// loaded automaton holds, in the compact and in the node form.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unordered_map>

#include "codeset/automaton.h"
#include "kwa.h"
#include "lco_writer.h"
#include "locale/lco_input.h"
#include "locale_fixtures.h"

namespace {

// Allocation hooks that count the bytes live.
std::unordered_map<void*, std::size_t>* g_sizes = nullptr;
std::size_t g_live_bytes = 0;

void* KW_CALL counting_malloc(std::size_t n) {
  void* p = std::malloc(n);
  if (p != nullptr) {
    (*g_sizes)[p] = n;
    g_live_bytes += n;
  }
  return p;
}

void KW_CALL counting_free(void* p) {
  if (p == nullptr) return;
  auto it = g_sizes->find(p);
  if (it != g_sizes->end()) {
    g_live_bytes -= it->second;
    g_sizes->erase(it);
  }
  std::free(p);
}

const std::string& utf8_text(kw::writers::AutomatonForm form) {
  static std::unordered_map<int, std::string> cache;
  auto it = cache.find(static_cast<int>(form));
  if (it != cache.end()) return it->second;
  const kw::writers::LcoAutomaton a = kw::testing::full_utf8_classes();
  return cache[static_cast<int>(form)] = kw::writers::write_lco_automaton(a, form);
}

// Writes `text` to a temporary file and returns its path.
std::string temp_file(const std::string& text, const char* tag) {
  std::string path = std::string("/tmp/kwa_locale_bench_") + tag + ".txt";
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f != nullptr) {
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
  }
  return path;
}

void load(benchmark::State& state, kw::writers::AutomatonForm form, const char* tag) {
  const std::string& text = utf8_text(form);
  const std::string path = temp_file(text, tag);
  std::size_t held = 0;
  std::size_t chars = 0;
  for (auto _ : state) {
    // The whole path of the library: the file read through the stream
    // dispatchers, then tokenised and built.
    std::FILE* f = std::fopen(path.c_str(), "r");
    kw::locale::LcoInput in;
    if (f == nullptr || in.load(f) != kw::Err::None) {
      state.SkipWithError("cannot read the automaton");
      break;
    }
    std::fclose(f);
    auto r = kw::locale::read_automaton(in);
    if (!r) {
      state.SkipWithError("load failed");
      break;
    }
    state.PauseTiming();
    if (held == 0) {
      g_sizes = new std::unordered_map<void*, std::size_t>();
      g_live_bytes = 0;
      kw_setextfunc(nullptr, KW_EXT_MALLOC, reinterpret_cast<kw_extfunc>(&counting_malloc));
      kw_setextfunc(nullptr, KW_EXT_FREE, reinterpret_cast<kw_extfunc>(&counting_free));
      std::FILE* g = std::fopen(path.c_str(), "r");
      kw::locale::LcoInput again;
      (void)again.load(g);
      std::fclose(g);
      auto counted = kw::locale::read_automaton(again);
      again = kw::locale::LcoInput();
      held = g_live_bytes;
      if (counted) kw::codeset::automaton_release(*counted);
      kw_setextfunc(nullptr, KW_EXT_MALLOC, nullptr);
      kw_setextfunc(nullptr, KW_EXT_FREE, nullptr);
      delete g_sizes;
      kw::codeset::automaton_for_each(**r, [&](const std::uint8_t*, std::size_t, const std::uint8_t*) {
        ++chars;
        return true;
      });
    }
    kw::codeset::automaton_release(*r);
    state.ResumeTiming();
  }
  std::remove(path.c_str());
  state.counters["file_bytes"] = static_cast<double>(text.size());
  state.counters["held_bytes"] = static_cast<double>(held);
  state.counters["characters"] = static_cast<double>(chars);
}

void BM_LoadUtf8CtypeCompact(benchmark::State& state) { load(state, kw::writers::AutomatonForm::Compact, "compact"); }
void BM_LoadUtf8CtypeNodes(benchmark::State& state) { load(state, kw::writers::AutomatonForm::Nodes, "nodes"); }

BENCHMARK(BM_LoadUtf8CtypeCompact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LoadUtf8CtypeNodes)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
