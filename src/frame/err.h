// Error numbers and the Result type that the library's C++ core returns.
#pragma once

#include <cstdint>
#include <utility>

namespace kw {

// The numbers stored in an error slot. Their values are part of the public
// interface (kwa.h spells the same numbers as KW_E* constants).
enum class Err : std::uint32_t {
  None = 0,
  Ilseq = 1,          // illegal byte sequence or unencodable value
  BadPtr = 2,         // a required pointer is null
  NoMem = 3,          // an allocation failed
  BadIndex = 4,       // negative index or count; grouping too long
  NoPrev = 5,         // no character before the position
  NumConv = 6,        // multibyte-to-number conversion failed
  Short = 7,          // length below 1, input ends inside a character, bad spec
  NoFile = 8,         // object file missing; malformed string token
  Inval = 9,          // argument outside its domain
  BadType = 11,       // wrong FILE_TYPE, malformed registry, broken invariant
  CodesetMismatch = 12,  // categories of a locale use different code sets
  Io = 13,            // stream read or write failed
  TooBig = 14,        // output buffer too small
  Format = 15,        // formatting failure; registry missing
  Eof = 16,           // end of file inside a character
  StreamEnd = 17,     // end of file without an indicator
  NotLoaded = 18,     // source category not loaded (category copy)
  NotEmpty = 19,      // target category not empty (category copy)
  KeyTooLong = 21,    // serialised automaton longer than 4 bytes
  Calendar = 50,      // unknown calendar name
  BadVersion = 51,    // wrong COMPILER_VERSION
  NoSymbol = 53,      // unknown character symbol name
  LoadFailed = 55,    // a category could not be selected or read
  MixLen = 56,        // -1 mixed with an explicit length
  NoCharacters = 57,  // locale automaton empty (no CTYPE loaded)
  CategoryCodeset = 58,  // category code set differs from CTYPE's
};

constexpr std::uint32_t err_number(Err e) noexcept { return static_cast<std::uint32_t>(e); }

// A value or an error number. The core returns it; only the C facade turns
// the error into a store into the handle's error slot.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) noexcept : value_(std::move(value)), err_(Err::None) {}  // NOLINT(google-explicit-constructor)
  Result(Err err) noexcept : value_(), err_(err) {}                        // NOLINT(google-explicit-constructor)

  bool ok() const noexcept { return err_ == Err::None; }
  explicit operator bool() const noexcept { return ok(); }
  Err error() const noexcept { return err_; }
  T& value() noexcept { return value_; }
  const T& value() const noexcept { return value_; }
  T& operator*() noexcept { return value_; }
  const T& operator*() const noexcept { return value_; }
  T* operator->() noexcept { return &value_; }
  const T* operator->() const noexcept { return &value_; }

 private:
  T value_;
  Err err_;
};

}  // namespace kw
