// Codec throughput: decoding (kw_im_mbstowcs, qrt_kw_im_mbfstowcfs) and
// encoding (kw_full_wcstombs) of Japanese text in EUC-JP, Shift_JIS and
// UTF-8, beside the C library's mbsrtowcs/wcsrtombs on the same text in the
// same code set. Each kw benchmark also times the C library on the same work,
// alternating the two pass by pass, and reports the ratio of the two
// (counter "x_libc": above 1 is faster).
//
// Set-up at start: the C library locales are made with localedef into a
// private temporary directory (used through LOCPATH), and the charmap
// objects are converted from /usr/share/i18n/charmaps/*.gz with the
// charmap-object writer.
#include <benchmark/benchmark.h>

#include <ctime>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <locale.h>
#include <random>
#include <string>
#include <vector>

#include "charmap_source.h"
#include "cmo_writer.h"
#include "codeset/charmap.h"
#include "codeset/codec.h"
#include "kwa.h"
#include "writers.h"

namespace {

struct Codeset {
  Codeset(const char* c, const char* d) : charmap(c), locale_dir(d) {}
  const char* charmap;     // glibc charmap name
  const char* locale_dir;  // directory made by localedef
  locale_t libc = nullptr;
  kw_charmap* cm = nullptr;
  kw::codeset::LocaleHead head{};
  std::string text;              // the sample in this code set, terminated
  std::vector<kw_wchar_t> wide;  // its kw wide values, terminated
  std::vector<wchar_t> libc_wide;
  std::size_t chars = 0;
  bool ready = false;
};

Codeset g_sets[] = {{"EUC-JP", "ja_JP.EUC-JP"}, {"SHIFT_JIS", "ja_JP.SJIS"}, {"UTF-8", "ja_JP.UTF-8"}};
std::string g_tmp;

std::string run_capture(const std::string& cmd) {
  std::string out;
  if (FILE* p = popen(cmd.c_str(), "r")) {
    char buf[65536];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    pclose(p);
  }
  return out;
}

// The sample: Japanese-like text as code points, a quarter ASCII words and
// spaces (KWA_BENCH_ASCII_PERCENT), the rest hiragana, katakana and kanji.
std::vector<wchar_t> sample_code_points(locale_t euc) {
  std::mt19937 rng(12345);
  std::vector<wchar_t> kanji;
  for (wchar_t c = 0x4E00; c < 0x9FA0 && kanji.size() < 2000; ++c) {
    char buf[8];
    std::mbstate_t st{};
    locale_t old = uselocale(euc);
    const std::size_t n = std::wcrtomb(buf, c, &st);
    uselocale(old);
    if (n == 2) kanji.push_back(c);  // in JIS X 0208, so in Shift_JIS too
  }
  // KWA_BENCH_ASCII_PERCENT changes the share of ASCII words (default 25).
  const char* pct = std::getenv("KWA_BENCH_ASCII_PERCENT");
  const unsigned ascii_share = pct != nullptr ? static_cast<unsigned>(std::atoi(pct)) : 25;
  const unsigned hira_end = ascii_share + (100 - ascii_share) * 35 / 75;
  const unsigned kata_end = hira_end + (100 - ascii_share) * 15 / 75;
  std::vector<wchar_t> text;
  while (text.size() < 200000) {
    const unsigned r = rng() % 100;
    if (r < ascii_share) {
      const int len = 2 + static_cast<int>(rng() % 6);
      for (int i = 0; i < len; ++i) text.push_back(static_cast<wchar_t>('a' + rng() % 26));
      text.push_back(L' ');
    } else if (r < hira_end) {
      text.push_back(static_cast<wchar_t>(0x3041 + rng() % 83));
    } else if (r < kata_end) {
      text.push_back(static_cast<wchar_t>(0x30A1 + rng() % 86));
    } else {
      text.push_back(kanji[rng() % kanji.size()]);
    }
  }
  text.push_back(0);
  return text;
}

bool set_up() {
  char tmpl[] = "/tmp/kwa_codec_bench_XXXXXX";
  if (mkdtemp(tmpl) == nullptr) return false;
  g_tmp = tmpl;
  setenv("LOCPATH", g_tmp.c_str(), 1);
  for (Codeset& c : g_sets) {
    const std::string cmd = "localedef -c -i ja_JP -f " + std::string(c.charmap) + " " + g_tmp + "/" + c.locale_dir +
                            " >/dev/null 2>&1";
    (void)std::system(cmd.c_str());
    c.libc = newlocale(LC_ALL_MASK, c.locale_dir, nullptr);
    if (c.libc == nullptr) {
      std::fprintf(stderr, "newlocale %s failed\n", c.locale_dir);
      continue;
    }
    // The charmap object.
    kw::writers::CmoSource src;
    std::string err, cmo;
    const std::string charmap = run_capture(std::string("gzip -dc /usr/share/i18n/charmaps/") + c.charmap + ".gz");
    if (!kw::writers::read_charmap_source(charmap, src, err) || !kw::writers::write_cmo(src, cmo, err) ||
        !kw::writers::write_file(g_tmp + "/" + c.charmap + ".cmo", cmo, err)) {
      std::fprintf(stderr, "%s: %s\n", c.charmap, err.c_str());
      continue;
    }
    const std::string file = std::string(c.charmap) + ".cmo";
    if (kw_cm_load(&c.cm, file.c_str(), -1, g_tmp.c_str()) != 0) {
      std::fprintf(stderr, "kw_cm_load %s: error %u\n", c.charmap, c.cm->error);
      continue;
    }
    const kw::codeset::Automaton* a = c.cm->automaton;
    c.head.codec = kw::codeset::CodecView{a, nullptr, 0, a->shortest, a->longest};
    c.ready = true;
  }
  if (!g_sets[0].ready) return false;
  const std::vector<wchar_t> cps = sample_code_points(g_sets[0].libc);
  for (Codeset& c : g_sets) {
    if (!c.ready) continue;
    std::vector<char> out(cps.size() * 4 + 4);
    const wchar_t* p = cps.data();
    std::mbstate_t st{};
    locale_t old = uselocale(c.libc);
    const std::size_t n = std::wcsrtombs(out.data(), &p, out.size(), &st);
    uselocale(old);
    if (n == static_cast<std::size_t>(-1)) {
      std::fprintf(stderr, "%s: sample not encodable\n", c.charmap);
      c.ready = false;
      continue;
    }
    c.text.assign(out.data(), n);
    c.chars = cps.size() - 1;
    c.wide.resize(c.chars + 1);
    const int k = kw_im_mbstowcs(reinterpret_cast<kw_locale*>(&c.head), c.wide.data(), c.text.c_str(),
                                 static_cast<int>(c.wide.size()));
    if (k != static_cast<int>(c.chars)) {
      std::fprintf(stderr, "%s: kw decoded %d of %zu characters (error %u)\n", c.charmap, k, c.chars, c.head.error);
      c.ready = false;
      continue;
    }
    c.libc_wide.assign(cps.begin(), cps.end());
  }
  return true;
}

void tear_down() {
  for (Codeset& c : g_sets) {
    kw_cm_unload(c.cm);
    if (c.libc != nullptr) freelocale(c.libc);
  }
  if (!g_tmp.empty()) std::filesystem::remove_all(g_tmp);
}

// Thread CPU time: other processes on the machine do not count against
// either side of a ratio.
struct Clock {
  using time_point = double;
  static double now() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
  }
};

double libc_decode(Codeset& c, std::int64_t iterations, std::vector<wchar_t>& out) {
  locale_t old = uselocale(c.libc);
  const auto t0 = Clock::now();
  for (std::int64_t i = 0; i < iterations; ++i) {
    const char* p = c.text.c_str();
    std::mbstate_t st{};
    benchmark::DoNotOptimize(std::mbsrtowcs(out.data(), &p, out.size(), &st));
    benchmark::ClobberMemory();
  }
  const double t = (Clock::now() - t0);
  uselocale(old);
  return t;
}

double libc_encode(Codeset& c, std::int64_t iterations, std::vector<char>& out) {
  locale_t old = uselocale(c.libc);
  const auto t0 = Clock::now();
  for (std::int64_t i = 0; i < iterations; ++i) {
    const wchar_t* p = c.libc_wide.data();
    std::mbstate_t st{};
    benchmark::DoNotOptimize(std::wcsrtombs(out.data(), &p, out.size(), &st));
    benchmark::ClobberMemory();
  }
  const double t = (Clock::now() - t0);
  uselocale(old);
  return t;
}

// Runs `kw` and `libc` (passes of the same work) alternately and sets the
// ratio of their summed thread CPU times: alternating keeps a change of load
// on the shared machine from landing on one side only. Each timed pass
// follows an untimed one of the same side, so both run with the caches
// holding their own buffers rather than the other side's. The benchmark's
// own time covers the timed kw passes alone.
template <class Kw, class Libc>
void run_pair(benchmark::State& state, Kw kw, Libc libc) {
  double t_kw = 0;
  double t_libc = 0;
  for (auto _ : state) {
    state.PauseTiming();
    benchmark::DoNotOptimize(kw());
    state.ResumeTiming();
    const double t0 = Clock::now();
    benchmark::DoNotOptimize(kw());
    benchmark::ClobberMemory();
    t_kw += Clock::now() - t0;
    state.PauseTiming();
    (void)libc();
    t_libc += libc();
    state.ResumeTiming();
  }
  state.counters["x_libc"] = t_libc / t_kw;
}

template <class Body>
void run_decode(benchmark::State& state, Codeset& c, Body body) {
  if (!c.ready) return state.SkipWithError("code set not set up");
  kw_locale* h = reinterpret_cast<kw_locale*>(&c.head);
  std::vector<kw_wchar_t> out(c.chars + 1);
  std::vector<wchar_t> lout(c.chars + 1);
  run_pair(
      state, [&] { return body(h, out.data(), out.size()); }, [&] { return libc_decode(c, 1, lout); });
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.text.size()));
}

void BM_kw_im_mbstowcs(benchmark::State& state) {
  Codeset& c = g_sets[state.range(0)];
  run_decode(state, c, [&](kw_locale* h, kw_wchar_t* out, std::size_t n) {
    return kw_im_mbstowcs(h, out, c.text.c_str(), static_cast<int>(n));
  });
  state.SetLabel(c.charmap);
}

void BM_qrt_kw_im_mbfstowcfs(benchmark::State& state) {
  Codeset& c = g_sets[state.range(0)];
  run_decode(state, c, [&](kw_locale* h, kw_wchar_t* out, std::size_t n) {
    return qrt_kw_im_mbfstowcfs(h, out, c.text.data(), static_cast<int>(c.text.size()), static_cast<int>(n));
  });
  state.SetLabel(c.charmap);
}

void BM_kw_full_wcstombs(benchmark::State& state) {
  Codeset& c = g_sets[state.range(0)];
  state.SetLabel(c.charmap);
  if (!c.ready) return state.SkipWithError("code set not set up");
  kw_locale* h = reinterpret_cast<kw_locale*>(&c.head);
  std::vector<char> out(c.text.size() + 8);
  run_pair(
      state, [&] { return kw_full_wcstombs(h, out.data(), c.wide.data(), static_cast<int>(out.size())); },
      [&] { return libc_encode(c, 1, out); });
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.text.size()));
}

void BM_libc_mbsrtowcs(benchmark::State& state) {
  Codeset& c = g_sets[state.range(0)];
  state.SetLabel(c.charmap);
  if (!c.ready) return state.SkipWithError("code set not set up");
  std::vector<wchar_t> out(c.chars + 1);
  for (auto _ : state) libc_decode(c, 1, out);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.text.size()));
}

void BM_libc_wcsrtombs(benchmark::State& state) {
  Codeset& c = g_sets[state.range(0)];
  state.SetLabel(c.charmap);
  if (!c.ready) return state.SkipWithError("code set not set up");
  std::vector<char> out(c.text.size() + 8);
  for (auto _ : state) libc_encode(c, 1, out);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(c.text.size()));
}

BENCHMARK(BM_kw_im_mbstowcs)->DenseRange(0, 2);
BENCHMARK(BM_qrt_kw_im_mbfstowcfs)->DenseRange(0, 2);
BENCHMARK(BM_libc_mbsrtowcs)->DenseRange(0, 2);
BENCHMARK(BM_kw_full_wcstombs)->DenseRange(0, 2);
BENCHMARK(BM_libc_wcsrtombs)->DenseRange(0, 2);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (!set_up()) {
    std::fprintf(stderr, "set-up failed\n");
    tear_down();
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  tear_down();
  return 0;
}
