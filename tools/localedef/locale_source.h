// A POSIX locale definition source (as in /usr/share/i18n/locales) read
// into memory, with copy and include resolved. Characters are held as
// Unicode code points, or as SymbolTable codes for names that are not of the
// Uxxxx form; the compiler maps them through the charmap.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "source_text.h"

namespace kw::localedef {

using UString = std::vector<std::uint32_t>;

// One value of a keyword line: a string (or a single character symbol), or
// a number / bare word.
struct Value {
  bool is_string = false;
  UString str;       // when is_string
  std::string word;  // when not: the text ("3", "-1", "IGNORE")
  long number = 0;   // word as a number (0 when not numeric)
  bool numeric = false;
};

// A keyword's values, in order (separated by ';' in the source), and where
// the keyword stood.
struct Item {
  std::vector<Value> values;
  std::string file;
  int line = 0;
};

// A category the compiler reads as keyword -> values (NUMERIC, MONETARY,
// TIME, MESSAGES).
struct ItemCategory {
  bool present = false;
  std::map<std::string, Item> items;

  const Item* find(const std::string& key) const {
    const auto it = items.find(key);
    return it == items.end() ? nullptr : &it->second;
  }
};

// Inclusive code ranges.
using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

struct CtypeCategory {
  bool present = false;
  std::vector<std::string> class_order;       // classes in order of first mention
  std::map<std::string, Ranges> classes;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> toupper, tolower;  // later pairs win
};

enum class Category : int { Ctype, Collate, Numeric, Monetary, Time, Messages, Count };

struct LocaleDef {
  std::string file;
  CtypeCategory ctype;
  bool collate_present = false;
  ItemCategory numeric, monetary, time, messages;

  ItemCategory& items(Category c);
  const ItemCategory& items(Category c) const;
};

// The eleven standard classes, in the order the compiler assigns mask bits.
extern const char* const kStandardClasses[11];

// Reads locale sources; resolves `copy` and `include` by file name, first in
// the directory of the including file, then in the search directories.
// Files read once are kept, so a second locale that copies "i18n" reuses it.
class SourceReader {
 public:
  explicit SourceReader(std::vector<std::string> search_dirs) : dirs_(std::move(search_dirs)) {}

  // Reads a locale source by path. Throws SourceError ("file:line: problem").
  std::shared_ptr<const LocaleDef> read(const std::string& path);
  // Reads a locale source from text (for tests and in-memory sources).
  std::shared_ptr<const LocaleDef> read_text(const std::string& path, const std::string& text);
  // Reads only category `c` of a source (the other categories are skipped
  // unread), as `copy` needs it.
  std::shared_ptr<const LocaleDef> read_category(const std::string& path, Category c);

  // Finds a file named in `copy`/`include`, relative to `from` (a file path).
  std::string resolve(const std::string& name, const std::string& from) const;

  SymbolTable symbols;
  std::set<std::string> defines;  // names given by `define`, and on the command line

 private:
  std::shared_ptr<const LocaleDef> parse(const std::string& path, const std::string* text, Category c);

  std::vector<std::string> dirs_;
  std::map<std::string, std::shared_ptr<const LocaleDef>> cache_;
  std::vector<std::string> reading_;  // files being read, to catch copy cycles
};

}  // namespace kw::localedef
