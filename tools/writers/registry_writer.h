// The registry writer: code-set names and numbers in, the "registry" text
// file that the library's name lookup reads out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kw::writers {

struct RegistryEntry {
  std::string name;       // folded to lower case when written
  std::uint16_t number = 0;
};

// The registry text: a comment header, then one "name number" line per
// entry in the given order (the reader takes the first match). Names the
// reader could not hold (empty, longer than 21 characters, or with
// characters outside letters, digits and punctuation) are left out and
// listed in `skipped`; a repeated name keeps only its first line.
std::string write_registry(const std::vector<RegistryEntry>& entries, std::vector<std::string>& skipped);

}  // namespace kw::writers
