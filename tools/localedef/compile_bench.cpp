// Timing of the locale compiler on the system's sources: reading the UTF-8
// charmap, compiling a UTF-8 locale with its charmap, and a legacy one.
#include <benchmark/benchmark.h>

#include "charmap.h"
#include "compile_locale.h"
#include "lco_writer.h"
#include "locale_source.h"

namespace {

using namespace kw::localedef;

const std::vector<std::string> kCharmapDirs{"/usr/share/i18n/charmaps"};
const std::vector<std::string> kLocaleDirs{"/usr/share/i18n/locales"};

void BM_ReadUtf8Charmap(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(load_charmap("UTF-8", kCharmapDirs).chars.size());
}
BENCHMARK(BM_ReadUtf8Charmap)->Unit(benchmark::kMillisecond);

// Everything one locale needs: charmap, sources (with their copies),
// compilation and the object text.
void compile(benchmark::State& state, const char* locale, const char* charmap) {
  for (auto _ : state) {
    const Charmap cm = load_charmap(charmap, kCharmapDirs);
    SourceReader reader(kLocaleDirs);
    const auto def = reader.read(reader.resolve(locale, "./x"));
    const CompileResult r = compile_locale(*def, cm, reader.symbols, locale);
    benchmark::DoNotOptimize(kw::writers::write_lco(r.locale).size());
  }
}

void BM_CompileJapaneseUtf8(benchmark::State& state) { compile(state, "ja_JP", "UTF-8"); }
BENCHMARK(BM_CompileJapaneseUtf8)->Unit(benchmark::kMillisecond);

void BM_CompileGermanLatin1(benchmark::State& state) { compile(state, "de_DE", "ISO-8859-1"); }
BENCHMARK(BM_CompileGermanLatin1)->Unit(benchmark::kMillisecond);

}  // namespace
