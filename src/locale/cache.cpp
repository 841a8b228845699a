// The locale cache: whole locales loaded by name, shared and counted.
#include <cstring>

#include "frame/mem.h"
#include "locale/locale.h"

namespace kw::locale {
namespace {

// Process-wide and unlocked: loads and releases happen before concurrent use.
CacheEntry* g_head = nullptr;

}  // namespace

CacheEntry* cache_find(const char* name) noexcept {
  for (CacheEntry* e = g_head; e != nullptr; e = e->next)
    if (std::strcmp(e->name, name) == 0) return e;
  return nullptr;
}

CacheEntry* cache_find_handle(const kw_locale* h) noexcept {
  for (CacheEntry* e = g_head; e != nullptr; e = e->next)
    if (e->handle == h) return e;
  return nullptr;
}

Err cache_add(const char* name, kw_locale* h) noexcept {
  auto* e = alloc_array<CacheEntry>(1);
  const std::size_t n = std::strlen(name);
  char* copy = alloc_array<char>(n + 1);
  if (e == nullptr || copy == nullptr) {
    kw_mem_free(e);
    kw_mem_free(copy);
    return Err::NoMem;
  }
  std::memcpy(copy, name, n + 1);
  *e = CacheEntry{copy, h, 1, g_head};
  g_head = e;
  return Err::None;
}

void cache_remove(CacheEntry* entry) noexcept {
  for (CacheEntry** p = &g_head; *p != nullptr; p = &(*p)->next) {
    if (*p == entry) {
      *p = entry->next;
      kw_mem_free(entry->name);
      kw_mem_free(entry);
      return;
    }
  }
}

std::size_t cache_size() noexcept {
  std::size_t n = 0;
  for (CacheEntry* e = g_head; e != nullptr; e = e->next) ++n;
  return n;
}

void reset_locale_cache_for_tests() noexcept {
  while (g_head != nullptr) {
    CacheEntry* e = g_head;
    g_head = e->next;
    free_locale(e->handle);
    kw_mem_free(e->name);
    kw_mem_free(e);
  }
}

}  // namespace kw::locale
