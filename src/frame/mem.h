// Allocation helpers: every allocation of the library goes through them, and
// so through slot 13 (malloc) and slot 8 (free) of the external function table.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>

// Returns null for a size of 0 without reaching slot 13; otherwise what
// kw_ext_malloc returns. Callers test for null and report Err::NoMem.
void* kw_mem_alloc(std::size_t size) noexcept;

// Ignores null; otherwise calls kw_ext_free.
void kw_mem_free(void* p) noexcept;

namespace kw {

// Allocates `count` objects of trivial type T through kw_mem_alloc; null on
// failure or overflow. Memory is not cleared.
template <class T>
T* alloc_array(std::size_t count) noexcept {
  static_assert(std::is_trivially_copyable_v<T>);
  if (count > static_cast<std::size_t>(-1) / sizeof(T)) return nullptr;
  return static_cast<T*>(kw_mem_alloc(count * sizeof(T)));
}

// The same, cleared to zero bytes.
template <class T>
T* alloc_zeroed(std::size_t count) noexcept {
  T* p = alloc_array<T>(count);
  if (p != nullptr) std::memset(static_cast<void*>(p), 0, count * sizeof(T));
  return p;
}

// Constructs one T in memory from kw_mem_alloc; null on failure.
template <class T, class... Args>
T* alloc_object(Args&&... args) noexcept {
  void* p = kw_mem_alloc(sizeof(T));
  if (p == nullptr) return nullptr;
  return new (p) T(static_cast<Args&&>(args)...);
}

// Destroys and releases an object made by alloc_object; null is ignored.
template <class T>
void free_object(T* p) noexcept {
  if (p == nullptr) return;
  p->~T();
  kw_mem_free(p);
}

// Owning pointer for a block from kw_mem_alloc.
struct MemFree {
  void operator()(void* p) const noexcept { kw_mem_free(p); }
};

// A growable array of trivially copyable values on kw_mem_alloc. Growth
// reports failure instead of throwing, so it is usable in noexcept code.
template <class T>
class Vec {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  Vec() noexcept = default;
  Vec(const Vec&) = delete;
  Vec& operator=(const Vec&) = delete;
  Vec(Vec&& o) noexcept : data_(o.data_), size_(o.size_), cap_(o.cap_) { o.data_ = nullptr; o.size_ = o.cap_ = 0; }
  Vec& operator=(Vec&& o) noexcept {
    if (this != &o) { kw_mem_free(data_); data_ = o.data_; size_ = o.size_; cap_ = o.cap_; o.data_ = nullptr; o.size_ = o.cap_ = 0; }
    return *this;
  }
  ~Vec() { kw_mem_free(data_); }

  [[nodiscard]] bool reserve(std::size_t n) noexcept {
    if (n <= cap_) return true;
    std::size_t want = cap_ < 8 ? 8 : cap_ * 2;
    if (want < n) want = n;
    T* p = alloc_array<T>(want);
    if (p == nullptr) return false;
    if (size_ != 0) std::memcpy(static_cast<void*>(p), data_, size_ * sizeof(T));
    kw_mem_free(data_);
    data_ = p;
    cap_ = want;
    return true;
  }
  [[nodiscard]] bool push_back(const T& v) noexcept {
    if (size_ == cap_ && !reserve(size_ + 1)) return false;
    data_[size_++] = v;
    return true;
  }
  [[nodiscard]] bool append(const T* v, std::size_t n) noexcept {
    if (!reserve(size_ + n)) return false;
    if (n != 0) std::memcpy(static_cast<void*>(data_ + size_), v, n * sizeof(T));
    size_ += n;
    return true;
  }
  [[nodiscard]] bool resize(std::size_t n, const T& fill = T()) noexcept {
    if (!reserve(n)) return false;
    for (std::size_t i = size_; i < n; ++i) data_[i] = fill;
    size_ = n;
    return true;
  }
  void clear() noexcept { size_ = 0; }
  // Hands the block to the caller (who frees it with kw_mem_free).
  T* release() noexcept { T* p = data_; data_ = nullptr; size_ = cap_ = 0; return p; }

  T* data() noexcept { return data_; }
  const T* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  T& operator[](std::size_t i) noexcept { return data_[i]; }
  const T& operator[](std::size_t i) const noexcept { return data_[i]; }
  T* begin() noexcept { return data_; }
  T* end() noexcept { return data_ + size_; }
  const T* begin() const noexcept { return data_; }
  const T* end() const noexcept { return data_ + size_; }

 private:
  T* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t cap_ = 0;
};

}  // namespace kw
