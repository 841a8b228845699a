// Allocation helpers and the release function for strings given to callers.
#include "frame/mem.h"

#include "frame/export.h"

void* kw_mem_alloc(std::size_t size) noexcept {
  if (size == 0) return nullptr;
  return kw_ext_malloc(size);
}

void kw_mem_free(void* p) noexcept {
  if (p != nullptr) kw_ext_free(p);
}

KW_EXPORT void KW_CALL kw_destroystring(void* string) { kw_mem_free(string); }
