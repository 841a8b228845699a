// Code-set numbers of charmaps, and the registry that lists them.
#include "codesets.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <cstdio>
#include <map>

#include "locale/builtin_codesets.h"
#include "registry_writer.h"

namespace kw::localedef {

namespace {

// Charmap names whose code sets the built-in table knows by another name.
struct KnownName {
  const char* name;
  std::uint16_t number;
};
constexpr KnownName kKnown[] = {
    {"ANSI_X3.4-1968", 364}, {"ISO-8859-1", 819},   {"ISO-8859-2", 912},   {"ISO-8859-3", 57346},
    {"ISO-8859-4", 57347},   {"ISO-8859-5", 915},   {"ISO-8859-6", 1089},  {"ISO-8859-7", 813},
    {"ISO-8859-8", 916},     {"ISO-8859-9", 920},   {"IBM437", 437},       {"IBM850", 850},
    {"IBM852", 852},         {"IBM856", 856},       {"IBM866", 866},       {"IBM037", 37},
    {"IBM1046", 1046},       {"CP737", 737},        {"CP1250", 1250},      {"CP1251", 1251},
    {"CP1252", 1252},        {"CP1253", 1253},      {"CP1254", 1254},      {"CP1255", 1255},
    {"CP1256", 1256},        {"UTF-8", 57372},      {"EUC-JP", 5050},      {"SHIFT_JIS", 57350},
    {"BIG5", 57352},         {"EUC-KR", 57356},     {"GB2312", 57357},     {"KOI8-R", 57382},
    {"TIS-620", 57373},      {"EUC-TW", 57375},     {"IBM932", 932},       {"IBM943", 932},
};

std::string upper(const std::string& s) {
  std::string out;
  for (char c : s) out.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
  return out;
}
std::string lower(const std::string& s) {
  std::string out;
  for (char c : s) out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  return out;
}

bool builtin(const std::string& name, std::uint16_t& number) {
  const std::string l = lower(name);
  for (const auto& row : kw::locale::kBuiltinCodesets)
    if (l == row.name) {
      number = row.number;
      return true;
    }
  return false;
}

}  // namespace

std::uint16_t private_number(const std::string& name) {
  std::uint32_t h = 2166136261u;  // FNV-1a
  for (char c : upper(name)) {
    h ^= static_cast<unsigned char>(c);
    h *= 16777619u;
  }
  return static_cast<std::uint16_t>(kPrivateFirst + h % (kPrivateLast - kPrivateFirst + 1u));
}

std::uint16_t known_number(const std::string& name, const std::vector<std::string>& aliases) {
  const std::string u = upper(name);
  for (const KnownName& k : kKnown)
    if (u == k.name) return k.number;
  std::uint16_t n;
  if (builtin(name, n)) return n;
  for (const std::string& a : aliases) {
    for (const KnownName& k : kKnown)
      if (upper(a) == k.name) return k.number;
    if (builtin(a, n)) return n;
  }
  return 0;
}

namespace {

std::uint16_t next_free(std::uint16_t n, const std::set<std::uint16_t>& taken) {
  while (taken.count(n) != 0) n = n == kPrivateLast ? kPrivateFirst : static_cast<std::uint16_t>(n + 1);
  return n;
}

}  // namespace

CodesetNumbers::CodesetNumbers(std::vector<std::string> universe) {
  for (std::string& n : universe) n = upper(n);
  std::sort(universe.begin(), universe.end());
  universe.erase(std::unique(universe.begin(), universe.end()), universe.end());
  for (const std::string& n : universe) {
    if (known_number(n) != 0) continue;
    if (taken_.size() > static_cast<std::size_t>(kPrivateLast - kPrivateFirst)) break;
    const std::uint16_t v = next_free(private_number(n), taken_);
    assigned_.emplace(n, v);
    taken_.insert(v);
  }
}

std::uint16_t CodesetNumbers::number(const std::string& name, const std::vector<std::string>& aliases) const {
  if (const std::uint16_t k = known_number(name, aliases)) return k;
  const auto it = assigned_.find(upper(name));
  if (it != assigned_.end()) return it->second;
  return next_free(private_number(name), taken_);
}

std::vector<std::string> CodesetNumbers::charmap_names(const std::vector<std::string>& dirs) {
  std::vector<std::string> out;
  for (const std::string& d : dirs) {
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(d, ec)) {
      std::string n = e.path().filename().string();
      if (n.size() > 3 && n.ends_with(".gz")) n.resize(n.size() - 3);
      out.push_back(n);
    }
  }
  return out;
}

std::string registry_text(const std::vector<CharmapHeader>& charmaps, const CodesetNumbers& numbers,
                          std::vector<std::string>& warnings) {
  std::vector<writers::RegistryEntry> entries;
  for (const auto& row : kw::locale::kBuiltinCodesets) entries.push_back({row.name, row.number});
  std::map<std::uint16_t, std::string> private_owner;
  for (const CharmapHeader& cm : charmaps) {
    const std::uint16_t n = numbers.number(cm.name, cm.aliases);
    if (n >= kPrivateFirst) {
      auto [it, fresh] = private_owner.emplace(n, cm.name);
      if (!fresh && it->second != cm.name)
        warnings.push_back("registry: " + cm.name + " and " + it->second + " share the number " + std::to_string(n));
    }
    entries.push_back({cm.name, n});
    for (const std::string& a : cm.aliases) entries.push_back({a, n});
  }
  std::vector<std::string> skipped;
  std::string text = writers::write_registry(entries, skipped);
  for (const std::string& s : skipped) warnings.push_back("registry: name '" + s + "' cannot be listed");
  return text;
}

std::string hex4(std::uint16_t number) {
  char buf[8];
  std::snprintf(buf, sizeof buf, "%04x", number);
  return buf;
}

}  // namespace kw::localedef
