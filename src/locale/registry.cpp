// Code-set name lookup through the registry file, its cache and the built-in table.
#include "locale/registry.h"

#include <cstdio>
#include <cstring>

#include "frame/lookup.h"
#include "frame/mem.h"
#include "locale/builtin_codesets.h"
#include "locale/locale_spec_chars.h"

namespace kw::locale {
namespace {

constexpr bool builtin_names_are_valid() {
  for (const auto& row : kBuiltinCodesets) {
    std::size_t n = 0;
    for (const char* p = row.name; *p != '\0'; ++p, ++n) {
      if (!is_name_char(*p) || to_lower(*p) != *p) return false;
    }
    if (n == 0 || n > kMaxCodesetName || row.number == kUnknownCodeset) return false;
  }
  return true;
}
static_assert(builtin_names_are_valid(), "built-in names are lower case, 1 to 21 name characters");

// One cached registry entry; the list keeps file order.
struct Entry {
  char name[kMaxCodesetName + 1];
  std::uint16_t number;
  Entry* next;
};

// Process-wide and unsynchronised: caching and freeing must not overlap lookups.
Entry* g_cache = nullptr;
bool g_use_builtin = false;

void free_list(Entry* e) noexcept {
  while (e != nullptr) {
    Entry* next = e->next;
    free_object(e);
    e = next;
  }
}

// The registry file: the given path opened directly, or "registry" along the
// search path in the charmap directory. Both use the C library's own fopen,
// so the stream is read with the C library's own fgetc too.
std::FILE* open_registry(const char* registry) noexcept {
  if (registry != nullptr) return std::fopen(registry, "r");
  return kw_find_object(nullptr, "registry", "cm", "3", 1);
}

// Tokens of the registry file. White space between tokens is free; a line
// whose first non-space character is '#' is a comment.
class RegistryReader {
 public:
  explicit RegistryReader(std::FILE* f) noexcept : f_(f) {}
  RegistryReader(const RegistryReader&) = delete;
  RegistryReader& operator=(const RegistryReader&) = delete;
  ~RegistryReader() { std::fclose(f_); }

  // Reads the next name token, folded to lower case, into `out` (22 bytes).
  // False when none can be read: end of file, a character that cannot start
  // a name, or a name longer than 21 characters (which ends the reading as
  // if the file ended there).
  bool read_name(char* out) noexcept {
    int c = peek();
    for (;;) {
      while (c != EOF && is_space(static_cast<char>(c))) c = next();
      if (c != '#') break;
      while (c != EOF && c != '\n') c = next();
    }
    std::size_t n = 0;
    while (c != EOF && is_name_char(static_cast<char>(c))) {
      if (n == kMaxCodesetName) return false;
      out[n++] = to_lower(static_cast<char>(c));
      c = next();
    }
    out[n] = '\0';
    return n != 0;
  }

  // Reads a number token: decimal digits accumulated in 16 bits, which must
  // be followed by some character. kUnknownCodeset when malformed; a number
  // that comes out as kUnknownCodeset itself counts as malformed, since that
  // value cannot name a code set.
  std::uint16_t read_number() noexcept {
    int c = peek();
    while (c != EOF && is_space(static_cast<char>(c))) c = next();
    if (c == EOF || !is_digit(static_cast<char>(c))) return kUnknownCodeset;
    std::uint16_t value = 0;
    while (c != EOF && is_digit(static_cast<char>(c))) {
      value = static_cast<std::uint16_t>(value * 10u + static_cast<unsigned>(c - '0'));
      c = next();
    }
    return c == EOF ? kUnknownCodeset : value;
  }

  // Skips past the end of the current line; false when the file ends first.
  bool skip_line() noexcept {
    int c = peek();
    while (c != EOF && c != '\n') c = next();
    if (c == EOF) return false;
    next();
    return true;
  }

 private:
  int peek() noexcept {
    if (!have_) {
      c_ = std::fgetc(f_);
      have_ = true;
    }
    return c_;
  }
  // Consumes the peeked character and returns the one after it.
  int next() noexcept {
    have_ = false;
    return peek();
  }

  std::FILE* f_;
  int c_ = EOF;
  bool have_ = false;
};

// Searches the registry file for `query`: its number, or kUnknownCodeset
// without an error when the file holds no such name.
Result<std::uint16_t> search_file(std::string_view query, const char* registry) noexcept {
  std::FILE* f = open_registry(registry);
  if (f == nullptr) return Err::Format;
  RegistryReader reader(f);
  char name[kMaxCodesetName + 1];
  while (reader.read_name(name)) {
    if (query == name) {
      const std::uint16_t number = reader.read_number();
      if (number == kUnknownCodeset) return Err::BadType;
      return number;
    }
    if (!reader.skip_line()) return Err::BadType;
  }
  return kUnknownCodeset;
}

// An all-digit, non-empty name below 65536 names its own number.
Result<std::uint16_t> numeric_name(std::string_view name) noexcept {
  if (name.empty()) return Err::Short;
  std::uint32_t value = 0;
  for (char c : name) {
    if (!is_digit(c)) return Err::Short;
    value = value * 10u + static_cast<std::uint32_t>(c - '0');
    if (value > 0xFFFF) return Err::Short;
  }
  return static_cast<std::uint16_t>(value);
}

// Names that a reverse lookup passes over: "c" and "posix" name the C locale
// rather than a code set, and a name holding '@' would read back in a
// specification as a code-set name followed by a modifier.
bool skipped_in_reverse(const char* name) noexcept {
  return std::strcmp(name, "c") == 0 || std::strcmp(name, "posix") == 0 || std::strchr(name, '@') != nullptr;
}

void copy_name(char* out, const char* name) noexcept {
  std::size_t n = std::strlen(name);
  if (n > kMaxCodesetName) n = kMaxCodesetName;
  std::memcpy(out, name, n);
  out[n] = '\0';
}

}  // namespace

RegistryState registry_state() noexcept {
  if (g_cache != nullptr) return RegistryState::Cached;
  return g_use_builtin ? RegistryState::Builtin : RegistryState::File;
}

Result<std::uint16_t> cs_name2cs_num(std::string_view name, const char* registry) noexcept {
  char folded[kMaxCodesetName + 1];
  const std::size_t n = name.size() < kMaxCodesetName ? name.size() : kMaxCodesetName;
  for (std::size_t i = 0; i < n; ++i) folded[i] = to_lower(name[i]);
  folded[n] = '\0';
  const std::string_view query(folded, n);

  if (g_cache != nullptr) {
    for (const Entry* e = g_cache; e != nullptr; e = e->next) {
      if (query == e->name) return e->number;
    }
  } else if (g_use_builtin) {
    for (const auto& row : kBuiltinCodesets) {
      if (query == row.name) return row.number;
    }
  } else {
    Result<std::uint16_t> found = search_file(query, registry);
    if (!found.ok()) return found;
    if (*found != kUnknownCodeset) return found;
  }
  return numeric_name(query);
}

Err cache_registry(const char* registry) noexcept {
  free_registry_cache();
  std::FILE* f = open_registry(registry);
  if (f == nullptr) {
    g_use_builtin = true;
    return Err::Format;
  }
  RegistryReader reader(f);
  Entry* head = nullptr;
  Entry** tail = &head;
  char name[kMaxCodesetName + 1];
  while (reader.read_name(name)) {
    Entry* e = alloc_object<Entry>();
    if (e == nullptr) {
      free_list(head);
      g_use_builtin = true;
      return Err::NoMem;
    }
    copy_name(e->name, name);
    e->number = reader.read_number();
    e->next = nullptr;
    if (e->number == kUnknownCodeset) {
      free_object(e);
      free_list(head);
      g_use_builtin = true;
      return Err::BadType;
    }
    *tail = e;
    tail = &e->next;
    if (!reader.skip_line()) break;
  }
  g_cache = head;
  return Err::None;
}

void free_registry_cache() noexcept {
  free_list(g_cache);
  g_cache = nullptr;
  g_use_builtin = false;
}

Result<bool> cs_num2cs_name(std::uint16_t number, const char* registry, char* out) noexcept {
  if (g_cache != nullptr) {
    for (const Entry* e = g_cache; e != nullptr; e = e->next) {
      if (e->number == number && !skipped_in_reverse(e->name)) {
        copy_name(out, e->name);
        return true;
      }
    }
    return false;
  }
  if (g_use_builtin) {
    for (const auto& row : kBuiltinCodesets) {
      if (row.number == number && !skipped_in_reverse(row.name)) {
        copy_name(out, row.name);
        return true;
      }
    }
    return false;
  }
  std::FILE* f = open_registry(registry);
  if (f == nullptr) return Err::Format;
  RegistryReader reader(f);
  char name[kMaxCodesetName + 1];
  while (reader.read_name(name)) {
    const std::uint16_t n = reader.read_number();
    if (n == kUnknownCodeset) return Err::BadType;
    if (n == number && !skipped_in_reverse(name)) {
      copy_name(out, name);
      return true;
    }
    if (!reader.skip_line()) break;
  }
  return false;
}

void reset_registry_for_tests() noexcept { free_registry_cache(); }

}  // namespace kw::locale
