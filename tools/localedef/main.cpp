// kwa-localedef: the locale compiler's command line.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "charmap.h"
#include "codesets.h"
#include "compile_locale.h"
#include "locale_source.h"
#include "objects.h"
#include "writers.h"

namespace {

using namespace kw::localedef;
namespace fs = std::filesystem;

constexpr char kUsage[] =
    "Usage: kwa-localedef [OPTION...] -i SOURCE -f CHARMAP [NAME]\n"
    "       kwa-localedef [OPTION...] --charmap CHARMAP...\n"
    "       kwa-localedef [OPTION...] --conversion FROM TO\n"
    "       kwa-localedef [OPTION...] --manifest FILE\n"
    "\n"
    "Compiles POSIX locale sources and charmaps into kwa object files, laid out\n"
    "as the library looks them up: DATADIR/kwa/cm3 (charmap objects and the\n"
    "registry), DATADIR/kwa/lc11 (locale objects), DATADIR/kwa/cv9 (conversion\n"
    "objects).\n"
    "\n"
    "Modes:\n"
    "  -i, --inputfile SOURCE   locale definition source (a path, or a name\n"
    "                           found in the locale source directories)\n"
    "  -f, --charmap-file CHARMAP\n"
    "                           charmap of the locale (a path, or a name found in\n"
    "                           the charmap directories; .gz files are read too)\n"
    "  NAME                     the locale name, ll_TT[.codeset][@modifier]; the\n"
    "                           object is DATADIR/kwa/lc11/ll_tt[@mod]/NNNN.lco with\n"
    "                           NNNN the code set's number in hexadecimal.\n"
    "                           Defaults to the source's file name.\n"
    "      --default            write the locale as the default locale object\n"
    "                           (DATADIR/kwa/lc11/default.lco) instead of by NAME\n"
    "      --charmap            compile only the charmaps named as arguments\n"
    "      --conversion FROM TO compile only the conversion from charmap FROM to\n"
    "                           charmap TO (characters matched by symbol name)\n"
    "      --manifest FILE      compile everything FILE lists, one item a line:\n"
    "                             locale SOURCE CHARMAP [NAME]\n"
    "                             default SOURCE CHARMAP\n"
    "                             charmap CHARMAP\n"
    "                             conversion FROM TO      (one direction)\n"
    "                             conversions FROM TO     (both directions)\n"
    "                           '#' starts a comment line.\n"
    "\n"
    "Options:\n"
    "  -o, --output DATADIR     where to write (default: the current directory)\n"
    "  -I, --locale-dir DIR     search DIR for locale sources and their copy and\n"
    "                           include files (repeatable; default\n"
    "                           /usr/share/i18n/locales)\n"
    "  -C, --charmap-dir DIR    search DIR for charmaps (repeatable; default\n"
    "                           /usr/share/i18n/charmaps)\n"
    "  -D, --define NAME        define NAME for ifdef in the sources\n"
    "      --substitute C       map characters the target code set lacks to C (a\n"
    "                           character, or <Uxxxx>), flagged as substitutions;\n"
    "                           without it they stay unmapped\n"
    "      --form FORM          automaton form in locale objects: smallest\n"
    "                           (default), nodes or compact\n"
    "      --no-registry        do not write or update DATADIR/kwa/cm3/registry\n"
    "  -j, --jobs N             compile N items at a time (default: the number of\n"
    "                           processors)\n"
    "  -v, --verbose            show warnings (characters left out, classes that\n"
    "                           did not fit)\n"
    "  -q, --quiet              no progress output\n"
    "  -h, --help               show this text\n"
    "\n"
    "A locale's objects are written only when its sources compile without\n"
    "error; errors name the file and line. The registry lists every name of\n"
    "the built-in code-set table and the names and aliases of every charmap\n"
    "compiled, merged into an existing registry. Code sets the built-in table\n"
    "lacks get numbers from the private range 61440..65534 (0xF000..0xFFFE):\n"
    "each name starts at a hash of its upper-case form, and the charmaps of the\n"
    "charmap directories are placed in name order, a taken number moving a name\n"
    "to the next free one; runs over the same directories agree.\n"
    "Exit status: 0 when everything compiled, 1 when anything failed, 2 on a\n"
    "usage error.\n";

struct Options {
  std::string out_dir = ".";
  std::vector<std::string> locale_dirs, charmap_dirs;
  std::vector<std::string> defines;
  std::optional<std::string> substitute;
  kw::writers::AutomatonForm form = kw::writers::AutomatonForm::Smallest;
  bool registry = true;
  unsigned jobs = 0;
  bool verbose = false, quiet = false;
};

// One unit of work.
struct Job {
  enum Kind { Locale, Charmap, Conversion } kind;
  std::string a, b, name;  // locale: source, charmap, name; charmap: a; conversion: from a to b
  bool as_default = false;
  std::string origin;  // manifest file:line, for messages
};

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// The charmaps, each read once however many jobs need it.
class CharmapCache {
 public:
  explicit CharmapCache(const Options& o) : opt_(o) {}

  std::shared_ptr<const Charmap> get(const std::string& name) {
    std::shared_future<std::shared_ptr<const Charmap>> f;
    bool mine = false;
    std::promise<std::shared_ptr<const Charmap>> p;
    {
      std::lock_guard<std::mutex> lock(mu_);
      auto it = maps_.find(name);
      if (it == maps_.end()) {
        f = p.get_future().share();
        maps_.emplace(name, f);
        mine = true;
      } else {
        f = it->second;
      }
    }
    if (mine) {
      try {
        p.set_value(std::make_shared<const Charmap>(load_charmap(name, opt_.charmap_dirs)));
      } catch (...) {
        p.set_exception(std::current_exception());
      }
    }
    return f.get();
  }

  std::vector<std::shared_ptr<const Charmap>> loaded() {
    std::vector<std::shared_ptr<const Charmap>> out;
    std::lock_guard<std::mutex> lock(mu_);
    for (auto& [name, f] : maps_) {
      try {
        out.push_back(f.get());
      } catch (...) {
      }
    }
    return out;
  }

 private:
  const Options& opt_;
  std::mutex mu_;
  std::map<std::string, std::shared_future<std::shared_ptr<const Charmap>>> maps_;
};

class Driver {
 public:
  Driver(Options o, CodesetNumbers numbers) : opt_(std::move(o)), numbers_(std::move(numbers)), charmaps_(opt_) {}

  int run(std::vector<Job> jobs);

 private:
  void run_job(const Job& j, std::vector<std::string>& log);
  void compile_locale_job(const Job& j, std::vector<std::string>& log);
  void charmap_job(const Job& j);
  void conversion_job(const Job& j);
  void write(const std::string& rel, const std::string& text);
  void write_registry(std::vector<std::string>& log);
  void progress(std::size_t done, std::size_t total, const std::string& what, bool ok);

  Options opt_;
  CodesetNumbers numbers_;
  CharmapCache charmaps_;
  std::mutex out_mu_;
  std::set<std::string> printed_;  // messages already shown (under out_mu_)
  bool tty_ = false;
};

void Driver::write(const std::string& rel, const std::string& text) {
  std::string error;
  if (!kw::writers::write_file((fs::path(opt_.out_dir) / rel).string(), text, error))
    throw SourceError(rel, 0, error);
}

std::string locale_file(const std::string& name, std::uint16_t number) {
  // ll_TT[.codeset][@modifier]
  const bool shaped = name.size() >= 5 && std::isalpha(static_cast<unsigned char>(name[0])) &&
                      std::isalpha(static_cast<unsigned char>(name[1])) && name[2] == '_' &&
                      std::isalpha(static_cast<unsigned char>(name[3])) &&
                      std::isalpha(static_cast<unsigned char>(name[4])) &&
                      (name.size() == 5 || name[5] == '.' || name[5] == '@');
  if (!shaped) throw SourceError(name, 0, "locale name must be ll_TT[.codeset][@modifier]");
  std::string modifier;
  const auto at = name.find('@');
  if (at != std::string::npos) {
    // ll_TT.codeset@mod, or ll_TT@mod.codeset as glibc's names run.
    modifier = name.substr(at + 1);
    modifier = modifier.substr(0, modifier.find('.'));
    if (modifier.empty() || modifier.size() > 4) throw SourceError(name, 0, "modifier must have 1 to 4 characters");
    for (char c : modifier)
      if (!std::isalnum(static_cast<unsigned char>(c))) throw SourceError(name, 0, "modifier must be letters and digits");
  }
  return lower(name.substr(0, 5)) + "/" + hex4(number) + modifier + ".lco";
}

void Driver::compile_locale_job(const Job& j, std::vector<std::string>& log) {
  const auto cm = charmaps_.get(j.b);
  SourceReader reader(opt_.locale_dirs);
  for (const std::string& d : opt_.defines) reader.defines.insert(d);
  std::string path = j.a;
  if (path.find('/') == std::string::npos) {
    const std::string found = reader.resolve(j.a, "./x");
    if (found.empty()) throw SourceError(j.a, 0, "locale source not found");
    path = found;
  }
  const auto def = reader.read(path);
  std::string name = j.name.empty() ? fs::path(path).filename().string() : j.name;
  CompileResult res = compile_locale(*def, *cm, reader.symbols, name);
  const std::string text = kw::writers::write_lco(res.locale, kw::writers::LcoOptions{opt_.form});
  const std::uint16_t number = numbers_.number(cm->name, cm->aliases);
  const std::string rel = j.as_default ? std::string("kwa/lc11/default.lco") : "kwa/lc11/" + locale_file(name, number);
  write(rel, text);
  if (opt_.verbose)
    for (const std::string& w : res.warnings) log.push_back("warning: " + name + ": " + w);
}

void Driver::charmap_job(const Job& j) {
  const auto cm = charmaps_.get(j.a);
  std::string text, error;
  if (!kw::writers::write_cmo(make_cmo(*cm), text, error)) throw SourceError(cm->file, 0, error);
  write("kwa/cm3/" + hex4(numbers_.number(cm->name, cm->aliases)) + ".cmo", text);
}

std::optional<Bytes> substitute_bytes(const std::string& text, const Charmap& to) {
  std::uint32_t cp = 0;
  if (text.size() > 2 && text.front() == '<' && text.back() == '>') {
    if (!SymbolTable::unicode_name(text.substr(1, text.size() - 2), cp)) {
      const CharmapChar* c = to.find_name(text.substr(1, text.size() - 2));
      if (c == nullptr) throw SourceError(to.file, 0, "substitute " + text + " not in charmap " + to.name);
      return c->bytes;
    }
  } else {
    if (text.empty()) throw SourceError("--substitute", 0, "needs one character");
    std::size_t i = 0;
    cp = decode_utf8(text, i);
    if (i != text.size()) throw SourceError(text, 0, "--substitute needs one character");
  }
  const CharmapChar* c = to.find_ucs(cp);
  if (c == nullptr) throw SourceError(to.file, 0, "substitute character not in charmap " + to.name);
  return c->bytes;
}

void Driver::conversion_job(const Job& j) {
  const auto from = charmaps_.get(j.a);
  const auto to = charmaps_.get(j.b);
  std::optional<Bytes> subst;
  if (opt_.substitute) subst = substitute_bytes(*opt_.substitute, *to);
  const std::string text = kw::writers::write_cvo(make_cvo(*from, *to, subst));
  const std::uint16_t nf = numbers_.number(from->name, from->aliases), nt = numbers_.number(to->name, to->aliases);
  // Found by code-set numbers (source first), by the charmap names and by
  // the decimal numbers that normal locale specifications carry.
  write("kwa/cv9/" + hex4(nf) + hex4(nt) + ".cvo", text);
  write("kwa/cv9/" + from->name + "_" + to->name + ".cvo", text);
  write("kwa/cv9/" + std::to_string(nf) + "_" + std::to_string(nt) + ".cvo", text);
}

void Driver::run_job(const Job& j, std::vector<std::string>& log) {
  switch (j.kind) {
    case Job::Locale: compile_locale_job(j, log); break;
    case Job::Charmap: charmap_job(j); break;
    case Job::Conversion: conversion_job(j); break;
  }
}

void Driver::write_registry(std::vector<std::string>& log) {
  // The charmaps compiled in this run, then every charmap of the charmap
  // directories by name and aliases, so that the registry knows all the
  // system's code-set names whether or not their objects are built.
  std::vector<CharmapHeader> list;
  for (const auto& cm : charmaps_.loaded()) list.push_back({cm->name, cm->aliases});
  std::vector<std::string> files;
  for (const std::string& d : opt_.charmap_dirs) {
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(d, ec))
      if (e.is_regular_file(ec)) files.push_back(e.path().string());
  }
  std::sort(files.begin(), files.end());
  for (const std::string& f : files) {
    try {
      list.push_back(read_charmap_header(f));
    } catch (const SourceError& e) {
      log.push_back(std::string("warning: registry: ") + e.what());
    }
  }
  std::vector<std::string> warnings;
  std::string text = registry_text(list, numbers_, warnings);
  // Keep what an earlier run listed: names that this run does not know are
  // appended after this run's entries.
  const fs::path path = fs::path(opt_.out_dir) / "kwa/cm3/registry";
  std::ifstream old(path);
  std::string line;
  std::set<std::string> names;
  {
    std::istringstream in(text);
    while (std::getline(in, line))
      if (!line.empty() && line[0] != '#') names.insert(line.substr(0, line.find(' ')));
  }
  while (std::getline(old, line)) {
    if (line.empty() || line[0] == '#') continue;
    const std::string n = line.substr(0, line.find(' '));
    if (names.insert(n).second) text += line + "\n";
  }
  write("kwa/cm3/registry", text);
  if (opt_.verbose)
    for (const std::string& w : warnings) log.push_back("warning: " + w);
}

void Driver::progress(std::size_t done, std::size_t total, const std::string& what, bool ok) {
  if (opt_.quiet) return;
  if (tty_) {
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(kWidth * done / (total ? total : 1));
    std::fprintf(stderr, "\r[%.*s%*s] %zu/%zu %-40.40s", filled, "==============================",
                 kWidth - filled, "", done, total, what.c_str());
    if (done == total) std::fputc('\n', stderr);
  } else {
    std::fprintf(stderr, "%s %s (%zu/%zu)\n", ok ? "compiled" : "failed", what.c_str(), done, total);
  }
  std::fflush(stderr);
}

std::string describe(const Job& j) {
  switch (j.kind) {
    case Job::Locale: return (j.as_default ? "default " : "") + (j.name.empty() ? j.a : j.name) + " (" + j.b + ")";
    case Job::Charmap: return "charmap " + j.a;
    default: return "conversion " + j.a + " -> " + j.b;
  }
}

int Driver::run(std::vector<Job> jobs) {
  tty_ = isatty(2) != 0 && jobs.size() > 1;
  // Locales first: they are the slow items, so the pool stays busy.
  std::stable_sort(jobs.begin(), jobs.end(), [](const Job& x, const Job& y) { return x.kind < y.kind; });
  unsigned n = opt_.jobs ? opt_.jobs : std::max(1u, std::thread::hardware_concurrency());
  n = std::min<unsigned>(n, static_cast<unsigned>(std::max<std::size_t>(1, jobs.size())));
  std::atomic<std::size_t> next{0}, done{0};
  std::atomic<bool> failed{false};
  auto worker = [&]() {
    for (;;) {
      const std::size_t k = next++;
      if (k >= jobs.size()) return;
      std::vector<std::string> log;
      bool ok = true;
      try {
        run_job(jobs[k], log);
      } catch (const SourceError& e) {
        ok = false;
        log.push_back(std::string("error: ") + (jobs[k].origin.empty() ? "" : jobs[k].origin + ": ") + e.what());
      } catch (const std::exception& e) {
        ok = false;
        log.push_back("error: " + describe(jobs[k]) + ": " + e.what());
      }
      if (!ok) failed = true;
      std::lock_guard<std::mutex> lock(out_mu_);
      if (tty_ && !log.empty() && !opt_.quiet) std::fputc('\n', stderr);
      // A charmap that fails fails every job using it: say so once.
      for (const std::string& l : log)
        if (printed_.insert(l).second) std::fprintf(stderr, "%s\n", l.c_str());
      progress(++done, jobs.size(), describe(jobs[k]), ok);
    }
  };
  std::vector<std::thread> pool;
  for (unsigned i = 1; i < n; ++i) pool.emplace_back(worker);
  worker();
  for (std::thread& t : pool) t.join();
  if (opt_.registry) {
    std::vector<std::string> log;
    try {
      write_registry(log);
    } catch (const std::exception& e) {
      log.push_back(std::string("error: ") + e.what());
      failed = true;
    }
    for (const std::string& l : log) std::fprintf(stderr, "%s\n", l.c_str());
  }
  return failed ? 1 : 0;
}

std::vector<Job> read_manifest(const std::string& path) {
  std::ifstream in(path);
  if (!in) throw SourceError(path, 0, "cannot open");
  std::vector<Job> jobs;
  std::string line;
  int no = 0;
  while (std::getline(in, line)) {
    ++no;
    std::istringstream words(line);
    std::vector<std::string> w;
    std::string x;
    while (words >> x) w.push_back(x);
    if (w.empty() || w[0][0] == '#') continue;
    const std::string origin = path + ":" + std::to_string(no);
    // Paths written ./x or ../x are relative to the manifest.
    for (std::size_t k = 1; k < w.size(); ++k)
      if (w[k].rfind("./", 0) == 0 || w[k].rfind("../", 0) == 0)
        w[k] = (fs::path(path).parent_path() / w[k]).lexically_normal().string();
    auto need = [&](std::size_t lo, std::size_t hi) {
      if (w.size() < lo || w.size() > hi) throw SourceError(path, no, "wrong number of fields for '" + w[0] + "'");
    };
    if (w[0] == "locale") {
      need(3, 4);
      jobs.push_back({Job::Locale, w[1], w[2], w.size() > 3 ? w[3] : "", false, origin});
    } else if (w[0] == "default") {
      need(3, 3);
      jobs.push_back({Job::Locale, w[1], w[2], "", true, origin});
    } else if (w[0] == "charmap") {
      need(2, 2);
      jobs.push_back({Job::Charmap, w[1], "", "", false, origin});
    } else if (w[0] == "conversion" || w[0] == "conversions") {
      need(3, 3);
      jobs.push_back({Job::Conversion, w[1], w[2], "", false, origin});
      if (w[0] == "conversions") jobs.push_back({Job::Conversion, w[2], w[1], "", false, origin});
    } else {
      throw SourceError(path, no, "unknown item '" + w[0] + "'");
    }
  }
  return jobs;
}

int usage_error(const std::string& msg) {
  std::fprintf(stderr, "kwa-localedef: %s\nTry 'kwa-localedef --help'.\n", msg.c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Options opt;
  std::string source, charmap, manifest;
  bool charmap_mode = false, conversion_mode = false, as_default = false;
  std::vector<std::string> args;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) throw std::invalid_argument(a + " needs a value");
      return argv[++i];
    };
    try {
      if (a == "-h" || a == "--help") {
        std::fputs(kUsage, stdout);
        return 0;
      } else if (a == "-i" || a == "--inputfile") source = value();
      else if (a == "-f" || a == "--charmap-file") charmap = value();
      else if (a == "-o" || a == "--output") opt.out_dir = value();
      else if (a == "-I" || a == "--locale-dir") opt.locale_dirs.push_back(value());
      else if (a == "-C" || a == "--charmap-dir") opt.charmap_dirs.push_back(value());
      else if (a == "-D" || a == "--define") opt.defines.push_back(value());
      else if (a == "--substitute") opt.substitute = value();
      else if (a == "--manifest") manifest = value();
      else if (a == "--charmap") charmap_mode = true;
      else if (a == "--conversion") conversion_mode = true;
      else if (a == "--default") as_default = true;
      else if (a == "--no-registry") opt.registry = false;
      else if (a == "-v" || a == "--verbose") opt.verbose = true;
      else if (a == "-q" || a == "--quiet") opt.quiet = true;
      else if (a == "-j" || a == "--jobs") opt.jobs = static_cast<unsigned>(std::stoul(value()));
      else if (a == "--form") {
        const std::string f = value();
        if (f == "smallest") opt.form = kw::writers::AutomatonForm::Smallest;
        else if (f == "nodes") opt.form = kw::writers::AutomatonForm::Nodes;
        else if (f == "compact") opt.form = kw::writers::AutomatonForm::Compact;
        else return usage_error("unknown form '" + f + "'");
      } else if (a.size() > 1 && a[0] == '-') return usage_error("unknown option '" + a + "'");
      else args.push_back(a);
    } catch (const std::exception& e) {
      return usage_error(e.what());
    }
  }
  if (opt.locale_dirs.empty()) opt.locale_dirs.push_back("/usr/share/i18n/locales");
  if (opt.charmap_dirs.empty()) opt.charmap_dirs.push_back("/usr/share/i18n/charmaps");

  std::vector<Job> jobs;
  const int modes = (manifest.empty() ? 0 : 1) + charmap_mode + conversion_mode + (source.empty() ? 0 : 1);
  if (modes != 1) return usage_error("give exactly one of -i, --charmap, --conversion, --manifest");
  try {
    if (!manifest.empty()) {
      if (!args.empty()) return usage_error("--manifest takes no further arguments");
      jobs = read_manifest(manifest);
    } else if (charmap_mode) {
      if (args.empty()) return usage_error("--charmap needs charmap names");
      for (const std::string& c : args) jobs.push_back({Job::Charmap, c, "", "", false, ""});
    } else if (conversion_mode) {
      if (args.size() != 2) return usage_error("--conversion needs FROM and TO");
      jobs.push_back({Job::Conversion, args[0], args[1], "", false, ""});
    } else {
      if (charmap.empty()) return usage_error("-i needs -f CHARMAP");
      if (args.size() > 1) return usage_error("more than one locale name");
      jobs.push_back({Job::Locale, source, charmap, args.empty() ? "" : args[0], as_default, ""});
      jobs.push_back({Job::Charmap, charmap, "", "", false, ""});
    }
  } catch (const SourceError& e) {
    std::fprintf(stderr, "error: %s\n", e.what());
    return 1;
  }
  // Private code-set numbers are placed over every charmap the directories
  // hold (and those named by path), so that separate runs agree on them.
  std::vector<std::string> universe = CodesetNumbers::charmap_names(opt.charmap_dirs);
  for (const Job& j : jobs) {
    if (j.kind == Job::Conversion || j.kind == Job::Charmap || j.kind == Job::Locale) {
      for (const std::string& c : {j.kind == Job::Locale ? j.b : j.a, j.kind == Job::Conversion ? j.b : std::string()})
        if (c.find('/') != std::string::npos) {
          std::string base = fs::path(c).filename().string();
          if (base.ends_with(".gz")) base.resize(base.size() - 3);
          universe.push_back(base);
        }
    }
  }
  return Driver(std::move(opt), CodesetNumbers(std::move(universe))).run(std::move(jobs));
}
