// Code-set numbers of charmaps, and the registry that lists them.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "charmap.h"

namespace kw::localedef {

// Numbers for code sets that neither the well-known list nor the library's
// built-in table names come from this private range. Each name starts at a
// hash of its upper-case form; the charmaps of the charmap directories are
// placed in sorted order, a name whose slot is taken moving to the next free
// one. So every run over the same charmap directories gives every code set
// the same number, whichever charmaps it compiles.
inline constexpr std::uint16_t kPrivateFirst = 0xF000;
inline constexpr std::uint16_t kPrivateLast = 0xFFFE;

// The private-range slot a name starts from.
std::uint16_t private_number(const std::string& name);

// The number of a code set named `name` (or one of `aliases`) that the
// well-known list or the built-in table holds; 0 when neither does.
std::uint16_t known_number(const std::string& name, const std::vector<std::string>& aliases = {});

class CodesetNumbers {
 public:
  // `universe`: the names that take private numbers first (the charmap
  // directories' file names without ".gz"), in any order.
  explicit CodesetNumbers(std::vector<std::string> universe = {});

  // The number of a code set: known_number, else its private number.
  std::uint16_t number(const std::string& name, const std::vector<std::string>& aliases = {}) const;

  // The file names of the charmaps in `dirs`.
  static std::vector<std::string> charmap_names(const std::vector<std::string>& dirs);

 private:
  std::map<std::string, std::uint16_t> assigned_;  // upper-case name -> number
  std::set<std::uint16_t> taken_;
};

// The registry text: every name of the built-in table, then each charmap's
// name and aliases with its number (a name listed twice keeps its first
// number). `warnings` receives names left out and
// code sets that share a number.
std::string registry_text(const std::vector<CharmapHeader>& charmaps, const CodesetNumbers& numbers,
                          std::vector<std::string>& warnings);

// The four lower-case hexadecimal digits of a code-set number.
std::string hex4(std::uint16_t number);

}  // namespace kw::localedef
