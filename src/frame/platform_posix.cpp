// Platform layer for POSIX systems.
#if !defined(_WIN32)
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "frame/platform.h"

namespace kw::platform {
namespace {

bool is_blank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

char ascii_lower(char c) noexcept { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Compares [begin, end) with `name` without regard to ASCII case.
bool equals_name(const char* begin, const char* end, const char* name) noexcept {
  for (; begin != end; ++begin, ++name) {
    if (*name == '\0' || ascii_lower(*begin) != ascii_lower(*name)) return false;
  }
  return *name == '\0';
}

// Narrows [*begin, *end) to exclude surrounding blanks.
void trim(const char** begin, const char** end) noexcept {
  while (*begin != *end && is_blank(**begin)) ++*begin;
  while (*end != *begin && is_blank((*end)[-1])) --*end;
}

// Reads one line of at most size - 1 bytes into `line`; the rest of a longer
// line is skipped. False at end of file.
bool read_line(std::FILE* f, char* line, std::size_t size) noexcept {
  if (std::fgets(line, static_cast<int>(size), f) == nullptr) return false;
  const std::size_t n = std::strlen(line);
  if (n > 0 && line[n - 1] != '\n') {
    int c;
    do c = std::fgetc(f);
    while (c != EOF && c != '\n');
  }
  return true;
}

}  // namespace

const char* default_install_dir() noexcept { return KWA_DEFAULT_DIR; }

const char* default_log_path() noexcept { return "/tmp/kwa.log"; }

const char* default_settings_path() noexcept { return "/etc/KWA.INI"; }

// A small reader of the Windows profile format: "[section]" lines open a
// section, "key=value" lines inside it give values, lines starting with ';'
// are comments. The first matching key of the first matching section wins,
// and a value wrapped in matching quotes loses them, as the Windows reader does.
void read_setting(const char* section, const char* key, char* out, std::size_t size) noexcept {
  if (out == nullptr || size == 0) return;
  out[0] = '\0';
  const char* path = settings_path();
  if (section == nullptr || key == nullptr || path[0] == '\0') return;
  std::FILE* f = std::fopen(path, "r");
  if (f == nullptr) return;

  char line[512];
  bool in_section = false;
  bool seen_section = false;
  while (read_line(f, line, sizeof line)) {
    const char* b = line;
    const char* e = line + std::strlen(line);
    trim(&b, &e);
    if (b == e || *b == ';') continue;
    if (*b == '[') {
      if (seen_section) break;  // only the first section of that name counts
      const char* close = static_cast<const char*>(std::memchr(b, ']', static_cast<std::size_t>(e - b)));
      if (close == nullptr) continue;
      const char* nb = b + 1;
      const char* ne = close;
      trim(&nb, &ne);
      in_section = equals_name(nb, ne, section);
      seen_section = in_section;
      continue;
    }
    if (!in_section) continue;
    const char* eq = static_cast<const char*>(std::memchr(b, '=', static_cast<std::size_t>(e - b)));
    if (eq == nullptr) continue;
    const char* kb = b;
    const char* ke = eq;
    trim(&kb, &ke);
    if (!equals_name(kb, ke, key)) continue;
    const char* vb = eq + 1;
    const char* ve = e;
    trim(&vb, &ve);
    if (ve - vb >= 2 && (*vb == '"' || *vb == '\'') && ve[-1] == *vb) {
      ++vb;
      --ve;
    }
    std::size_t n = static_cast<std::size_t>(ve - vb);
    if (n >= size) n = size - 1;
    std::memcpy(out, vb, n);
    out[n] = '\0';
    break;
  }
  std::fclose(f);
}

void show_notice(const char* text) noexcept { std::fprintf(stderr, "KWA: %s\n", text); }

bool local_now(std::tm* out) noexcept {
  std::time_t t = std::time(nullptr);
  return t != static_cast<std::time_t>(-1) && localtime_r(&t, out) != nullptr;
}

char* env_get(const char* name) noexcept { return std::getenv(name); }

int env_put(char* name_equals_value) noexcept { return putenv(name_equals_value); }

}  // namespace kw::platform
#endif
