// The external function table, its dispatchers and the error-slot helpers.
#include "frame/hooks.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "frame/export.h"
#include "frame/platform.h"

namespace {

// Process-wide and unsynchronised: hooks are installed before concurrent use.
kw_extfunc g_slots[KW_EXT_SLOTS];
std::uint32_t g_hooks_set;

// The hook in `slot` cast to its type, or null when the default applies.
template <class F>
F hook(int slot) noexcept {
  if (g_hooks_set == 0) return nullptr;
  return reinterpret_cast<F>(g_slots[slot]);
}

}  // namespace

namespace kw::frame {

void store_error(const void* handle, Err e) noexcept {
  std::uint32_t* slot = kw_ext_errno(const_cast<void*>(handle));
  if (slot != nullptr) *slot = err_number(e);
}

std::uint32_t load_error(const void* handle) noexcept {
  std::uint32_t* slot = kw_ext_errno(const_cast<void*>(handle));
  return slot != nullptr ? *slot : 0;
}

void reset_hooks_for_tests() noexcept {
  for (auto& s : g_slots) s = nullptr;
  g_hooks_set = 0;
}

}  // namespace kw::frame

KW_EXPORT int KW_CALL kw_setextfunc(void* handle, int index, kw_extfunc function) {
  if (index < 0 || index >= KW_EXT_SLOTS) {
    kw::frame::store_error(handle, kw::Err::Inval);
    return -1;
  }
  g_hooks_set = 1;
  g_slots[index] = function;
  return 0;
}

// The defaults treat a null stream, buffer or name as a failed call instead
// of passing it on to the C library, which would crash. Hooks get every
// argument unchanged.
KW_EXPORT char* KW_CALL kw_ext_getenv(const char* name) {
  if (auto f = hook<char*(KW_CALL*)(const char*)>(KW_EXT_GETENV)) return f(name);
  if (name == nullptr) return nullptr;
  return kw::platform::env_get(name);
}

KW_EXPORT std::uint32_t* KW_CALL kw_ext_errno(void* handle) {
  if (auto f = hook<std::uint32_t*(KW_CALL*)(void*)>(KW_EXT_ERRNO)) return f(handle);
  return static_cast<std::uint32_t*>(handle);
}

KW_EXPORT int KW_CALL kw_ext_fclose(FILE* stream) {
  if (auto f = hook<int(KW_CALL*)(FILE*)>(KW_EXT_FCLOSE)) return f(stream);
  if (stream == nullptr) return EOF;
  return std::fclose(stream);
}

// The defaults report the indicator as the masked flag bit of the classic
// stream flag word (0x10 end of file, 0x20 error), not normalised to 1.
inline constexpr int kEofBit = 0x10;
inline constexpr int kErrorBit = 0x20;

KW_EXPORT int KW_CALL kw_ext_feof(FILE* stream) {
  if (auto f = hook<int(KW_CALL*)(FILE*)>(KW_EXT_FEOF)) return f(stream);
  return stream != nullptr && std::feof(stream) != 0 ? kEofBit : 0;
}

KW_EXPORT int KW_CALL kw_ext_ferror(FILE* stream) {
  if (auto f = hook<int(KW_CALL*)(FILE*)>(KW_EXT_FERROR)) return f(stream);
  return stream != nullptr && std::ferror(stream) != 0 ? kErrorBit : 0;
}

KW_EXPORT int KW_CALL kw_ext_fgetc(FILE* stream) {
  if (auto f = hook<int(KW_CALL*)(FILE*)>(KW_EXT_FGETC)) return f(stream);
  if (stream == nullptr) return EOF;
  return std::fgetc(stream);
}

KW_EXPORT char* KW_CALL kw_ext_fgets(char* buffer, int size, FILE* stream) {
  if (auto f = hook<char*(KW_CALL*)(char*, int, FILE*)>(KW_EXT_FGETS)) return f(buffer, size, stream);
  if (buffer == nullptr || size <= 0 || stream == nullptr) return nullptr;
  return std::fgets(buffer, size, stream);
}

KW_EXPORT FILE* KW_CALL kw_ext_fopen(const char* path, const char* mode) {
  if (auto f = hook<FILE*(KW_CALL*)(const char*, const char*)>(KW_EXT_FOPEN)) return f(path, mode);
  if (path == nullptr || mode == nullptr) return nullptr;
  return std::fopen(path, mode);
}

KW_EXPORT void KW_CALL kw_ext_free(void* pointer) {
  if (auto f = hook<void(KW_CALL*)(void*)>(KW_EXT_FREE)) return f(pointer);
  std::free(pointer);
}

KW_EXPORT int KW_CALL kw_ext_fseek(FILE* stream, std::int32_t offset, int whence) {
  if (auto f = hook<int(KW_CALL*)(FILE*, std::int32_t, int)>(KW_EXT_FSEEK)) return f(stream, offset, whence);
  if (stream == nullptr) return -1;
  return std::fseek(stream, offset, whence);
}

KW_EXPORT long KW_CALL kw_ext_ftell(FILE* stream) {
  if (auto f = hook<long(KW_CALL*)(FILE*)>(KW_EXT_FTELL)) return f(stream);
  if (stream == nullptr) return -1;
  return std::ftell(stream);
}

KW_EXPORT std::size_t KW_CALL kw_ext_fwrite(const void* buffer, std::size_t size, std::size_t count,
                                            FILE* stream) {
  if (auto f = hook<std::size_t(KW_CALL*)(const void*, std::size_t, std::size_t, FILE*)>(KW_EXT_FWRITE))
    return f(buffer, size, count, stream);
  if (buffer == nullptr || stream == nullptr) return 0;
  return std::fwrite(buffer, size, count, stream);
}

KW_EXPORT int KW_CALL kw_ext_getc(FILE* stream) {
  if (auto f = hook<int(KW_CALL*)(FILE*)>(KW_EXT_GETC)) return f(stream);
  if (stream == nullptr) return EOF;
  return std::getc(stream);
}

KW_EXPORT void* KW_CALL kw_ext_malloc(std::size_t size) {
  if (auto f = hook<void*(KW_CALL*)(std::size_t)>(KW_EXT_MALLOC)) return f(size);
  return std::malloc(size);
}

KW_EXPORT int KW_CALL kw_ext_ungetc(int character, FILE* stream) {
  if (auto f = hook<int(KW_CALL*)(int, FILE*)>(KW_EXT_UNGETC)) return f(character, stream);
  if (stream == nullptr) return EOF;
  return std::ungetc(character, stream);
}

KW_EXPORT int KW_CALL kw_ext_putenv(char* name_equals_value) {
  if (auto f = hook<int(KW_CALL*)(char*)>(KW_EXT_PUTENV)) return f(name_equals_value);
  if (name_equals_value == nullptr) return -1;
  return kw::platform::env_put(name_equals_value);
}

KW_EXPORT int KW_CALL kw_ext_currdate(std::uint16_t* month_day_year) {
  if (auto f = hook<int(KW_CALL*)(std::uint16_t*)>(KW_EXT_CURRDATE)) return f(month_day_year);
  if (month_day_year == nullptr) return 0;
  std::tm tm{};
  if (!kw::platform::local_now(&tm)) tm = std::tm{};
  month_day_year[0] = static_cast<std::uint16_t>(tm.tm_mon + 1);
  month_day_year[1] = static_cast<std::uint16_t>(tm.tm_mday);
  month_day_year[2] = static_cast<std::uint16_t>(tm.tm_year + 1900);
  return 0;
}

KW_EXPORT int KW_CALL kw_ext_currtime(std::int32_t* fields) {
  if (auto f = hook<int(KW_CALL*)(std::int32_t*)>(KW_EXT_CURRTIME)) return f(fields);
  if (fields == nullptr) return 0;
  std::tm tm{};
  if (!kw::platform::local_now(&tm)) tm = std::tm{};
  const int broken_down[9] = {tm.tm_sec, tm.tm_min,  tm.tm_hour, tm.tm_mday, tm.tm_mon,
                              tm.tm_year, tm.tm_wday, tm.tm_yday, tm.tm_isdst};
  fields[0] = 0;
  for (int i = 0; i < 9; ++i) fields[1 + i] = broken_down[i];
  fields[10] = 0;
  fields[11] = 0;
  return 0;
}
