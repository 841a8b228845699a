// The registry writer.
#include "registry_writer.h"

#include <cctype>
#include <set>

namespace kw::writers {

namespace {
constexpr std::size_t kNameLimit = 21;  // characters the reader keeps
}

std::string write_registry(const std::vector<RegistryEntry>& entries, std::vector<std::string>& skipped) {
  std::string out =
      "# Code-set names and their numbers, first match wins.\n"
      "# Names are folded to lower case when read; at most 21 characters.\n";
  std::set<std::string> seen;
  for (const RegistryEntry& e : entries) {
    std::string name;
    bool ok = !e.name.empty() && e.name.size() <= kNameLimit;
    for (char c : e.name) {
      const auto u = static_cast<unsigned char>(c);
      if (u >= 0x80 || !std::isgraph(u)) ok = false;
      name.push_back(static_cast<char>(std::tolower(u)));
    }
    // A leading '#' would read as a comment line.
    if (ok && name[0] == '#') ok = false;
    if (!ok) {
      skipped.push_back(e.name);
      continue;
    }
    if (!seen.insert(name).second) continue;
    out += name;
    out.push_back(' ');
    out += std::to_string(e.number);
    out.push_back('\n');
  }
  return out;
}

}  // namespace kw::writers
