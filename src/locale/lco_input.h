// The text of a locale object held in memory, and the token readers of the
// locale object format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "codeset/automaton.h"
#include "frame/err.h"
#include "frame/mem.h"

namespace kw::locale {

// The whole file, read once through kw_ext_fgets; tokens are then taken from
// memory with the same results as reading the stream character by character.
class LcoInput {
 public:
  LcoInput() noexcept = default;
  // Reads the rest of `f`. Err::NoMem when the text cannot be held.
  Err load(std::FILE* f) noexcept;
  // Uses `n` bytes at `text` (not copied; for tests and tools).
  void assign(const char* text, std::size_t n) noexcept {
    text_ = text;
    size_ = n;
    pos_ = 0;
  }

  int get() noexcept { return pos_ < size_ ? static_cast<unsigned char>(text_[pos_++]) : -1; }
  void unget() noexcept {
    if (pos_ > 0) --pos_;
  }
  int peek() const noexcept { return pos_ < size_ ? static_cast<unsigned char>(text_[pos_]) : -1; }
  bool at_end() const noexcept { return pos_ >= size_; }
  std::size_t remaining() const noexcept { return size_ - pos_; }
  std::size_t position() const noexcept { return pos_; }

  // Reads like fgets with a buffer of limit + 1 bytes: at most `limit`
  // characters, stopping after a newline; `out` gets them and a terminator.
  // False when nothing could be read (end of text).
  bool line(char* out, int limit) noexcept;

  // Token readers. Each returns Err::BadType when the text ends before the
  // token (a truncated object).
  void skip_space() noexcept;
  Err integer(std::int32_t& out) noexcept;
  Err hex(int n, std::uint32_t& out) noexcept;
  // A string: a new block of n + 4 bytes (n bytes, four zero bytes).
  // Err::NoFile when the length is not followed by a blank.
  Err string(char*& out) noexcept;
  // Grouping values: Err::BadIndex after the fifteenth value of a longer one.
  Err grouping(std::int32_t& count, std::int32_t* values) noexcept;
  // token(71): at most 70 characters up to white space.
  Err token(char* out, std::size_t size) noexcept;

 private:
  Vec<char> owned_;
  const char* text_ = nullptr;
  std::size_t size_ = 0;
  std::size_t pos_ = 0;
};

// Reads a serialised automaton with 16-bit data (node form or compact form)
// into a new automaton whose tables live in shared blocks. Errors: NoMem,
// KeyTooLong (a longest sequence above 4, or nodes nested deeper than 4),
// BadType (malformed or truncated).
Result<codeset::Automaton*> read_automaton(LcoInput& in) noexcept;

}  // namespace kw::locale
