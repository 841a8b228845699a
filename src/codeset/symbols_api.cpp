// Exported character-symbol conversions: strings to "<name>" sequences and
// back, and the list of every name of one character.
#include <cstring>

#include "codeset/symbols.h"
#include "frame/export.h"
#include "frame/hooks.h"

namespace {

using kw::Err;
using kw::Result;
using kw::codeset::ByteSeq;
using kw::codeset::Match;

// A bounded output of `size` bytes that keeps room for a terminator of
// `term` bytes.
class Out {
 public:
  Out(std::uint8_t* p, std::size_t size, std::size_t term) noexcept : p_(p), size_(size), term_(term) {}
  bool put(const void* s, std::size_t n) noexcept {
    if (size_ < term_ || n > size_ - term_ - used_) return false;
    std::memcpy(p_ + used_, s, n);
    used_ += n;
    return true;
  }
  bool put_symbol(const char* name) noexcept {
    const std::size_t n = std::strlen(name);
    if (size_ < term_ || n + 2 > size_ - term_ - used_) return false;
    p_[used_++] = '<';
    put(name, n);
    p_[used_++] = '>';
    return true;
  }
  void terminate() noexcept {
    if (size_ >= term_ + used_) std::memset(p_ + used_, 0, term_);
  }
  std::size_t used() const noexcept { return used_; }

 private:
  std::uint8_t* p_;
  std::size_t size_;
  std::size_t term_;
  std::size_t used_ = 0;
};

// The first symbol name of a character, written as <name>.
Err put_first_symbol(const kw_charmap& cm, const ByteSeq& seq, Out& out) noexcept {
  bool fits = true;
  const std::size_t n = kw::codeset::for_each_symbol(cm, seq, [&](const char* name) {
    fits = out.put_symbol(name);
    return false;
  });
  if (n == 0) return Err::NoSymbol;
  return fits ? Err::None : Err::TooBig;
}

Err check(kw_charmap* cm, const void* out, const void* in, int size) noexcept {
  if (cm->automaton == nullptr) return Err::Inval;  // a record that stands in for a failed load
  if (out == nullptr || in == nullptr) return Err::BadPtr;
  if (size < 0) return Err::Inval;
  return Err::None;
}

int fail(kw_charmap* cm, Err e) noexcept {
  kw::frame::store_error(cm, e);
  return -1;
}

ByteSeq to_seq(const std::uint8_t* s, std::size_t n) noexcept {
  ByteSeq seq{static_cast<std::uint32_t>(n), {0, 0, 0, 0}};
  std::memcpy(seq.bytes, s, n);
  return seq;
}

// Reads the next "<name>" of `p` (white space between symbols is skipped);
// null name at the end of the text, Inval on anything else.
Err next_symbol(const char*& p, const char*& name, std::size_t& n) noexcept {
  while (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r') ++p;
  name = nullptr;
  if (*p == '\0') return Err::None;
  if (*p != '<') return Err::Inval;
  const char* end = std::strchr(p + 1, '>');
  if (end == nullptr || end == p + 1) return Err::Inval;
  name = p + 1;
  n = static_cast<std::size_t>(end - name);
  p = end + 1;
  return Err::None;
}

// Decodes `syms` and hands each character's bytes to `emit`.
// check() for a conversion of a string of `length` units (-1: up to its
// terminator) into `size` bytes, which must hold at least the terminator.
Err check_string(kw_charmap* cm, const void* out, const void* in, int size, int length) noexcept {
  if (Err e = check(cm, out, in, size); e != Err::None) return e;
  if (length < -1) return Err::Inval;
  return size < 1 ? Err::TooBig : Err::None;
}

template <class Emit>
Err each_symbol(const kw_charmap& cm, const char* syms, Emit&& emit) noexcept {
  const char* p = syms;
  for (;;) {
    const char* name;
    std::size_t n = 0;
    if (Err e = next_symbol(p, name, n); e != Err::None) return e;
    if (name == nullptr) return Err::None;
    const Result<ByteSeq> seq = kw::codeset::symbol_to_seq(cm, name, n);
    if (!seq) return seq.error();
    if (Err e = emit(*seq); e != Err::None) return e;
  }
}

}  // namespace

KW_EXPORT int KW_CALL kw_mbstosyms(kw_charmap* cm, char* out, int size, const char* mbs, int length) {
  if (cm == nullptr) return -1;
  if (Err e = check_string(cm, out, mbs, size, length); e != Err::None) return fail(cm, e);
  Out o(reinterpret_cast<std::uint8_t*>(out), static_cast<std::size_t>(size), 1);
  const auto* s = reinterpret_cast<const std::uint8_t*>(mbs);
  std::size_t left = length == -1 ? static_cast<std::size_t>(-1) : static_cast<std::size_t>(length);
  while (left > 0) {
    const Match m = kw::codeset::automaton_walk(*cm->automaton, s, left < 4 ? left : 4);
    if (m.err != Err::None) return fail(cm, m.err);
    if (length == -1 && m.value == 0) break;
    if (Err e = put_first_symbol(*cm, to_seq(s, m.len), o); e != Err::None) return fail(cm, e);
    s += m.len;
    if (length != -1) left -= m.len;
  }
  o.terminate();
  return static_cast<int>(o.used());
}

KW_EXPORT int KW_CALL kw_wcstosyms(kw_charmap* cm, char* out, int size, const kw_wchar_t* wcs, int length) {
  if (cm == nullptr) return -1;
  if (Err e = check_string(cm, out, wcs, size, length); e != Err::None) return fail(cm, e);
  Out o(reinterpret_cast<std::uint8_t*>(out), static_cast<std::size_t>(size), 1);
  for (int i = 0; length == -1 || i < length; ++i) {
    if (length == -1 && wcs[i] == 0) break;
    std::uint8_t bytes[kw::codeset::kMaxSequence];
    const Match m = kw::codeset::automaton_lookup_wide(*cm->automaton, wcs[i], bytes);
    if (m.err != Err::None) return fail(cm, m.err);
    if (Err e = put_first_symbol(*cm, to_seq(bytes, m.len), o); e != Err::None) return fail(cm, e);
  }
  o.terminate();
  return static_cast<int>(o.used());
}

KW_EXPORT int KW_CALL kw_symstombs(kw_charmap* cm, char* out, int size, const char* syms) {
  if (cm == nullptr) return -1;
  if (Err e = check(cm, out, syms, size); e != Err::None) return fail(cm, e);
  const std::size_t term = cm->automaton->shortest <= kw::codeset::kMaxSequence ? cm->automaton->shortest : 1;
  if (static_cast<std::size_t>(size) < term) return fail(cm, Err::TooBig);
  Out o(reinterpret_cast<std::uint8_t*>(out), static_cast<std::size_t>(size), term);
  const Err e = each_symbol(*cm, syms, [&](const ByteSeq& seq) {
    return o.put(seq.bytes, seq.count) ? Err::None : Err::TooBig;
  });
  if (e != Err::None) return fail(cm, e);
  o.terminate();
  return static_cast<int>(o.used());
}

KW_EXPORT int KW_CALL kw_symstowcs(kw_charmap* cm, kw_wchar_t* out, int count, const char* syms) {
  if (cm == nullptr) return -1;
  if (Err e = check(cm, out, syms, count); e != Err::None) return fail(cm, e);
  if (count < 1) return fail(cm, Err::TooBig);
  int n = 0;
  const Err e = each_symbol(*cm, syms, [&](const ByteSeq& seq) {
    if (n >= count - 1) return Err::TooBig;
    out[n++] = kw::codeset::seq_value(seq);
    return Err::None;
  });
  if (e != Err::None) return fail(cm, e);
  out[n] = 0;
  return n;
}

KW_EXPORT int KW_CALL kw_mbtosymlist(kw_charmap* cm, char* out, int size, const char* mb, int length) {
  if (cm == nullptr) return -1;
  if (Err e = check(cm, out, mb, size); e != Err::None) return fail(cm, e);
  if (length < -1 || length == 0) return fail(cm, length == 0 ? Err::Short : Err::Inval);
  if (size < 1) return fail(cm, Err::TooBig);
  const auto* s = reinterpret_cast<const std::uint8_t*>(mb);
  const std::size_t limit = length == -1 ? kw::codeset::kMaxSequence : static_cast<std::size_t>(length);
  const Match m = kw::codeset::automaton_walk(*cm->automaton, s, limit);
  if (m.err != Err::None) return fail(cm, m.err);
  Out o(reinterpret_cast<std::uint8_t*>(out), static_cast<std::size_t>(size), 1);
  bool fits = true;
  const std::size_t n = kw::codeset::for_each_symbol(*cm, to_seq(s, m.len), [&](const char* name) {
    fits = o.put_symbol(name);
    return fits;
  });
  if (n == 0) return fail(cm, Err::NoSymbol);
  if (!fits) return fail(cm, Err::TooBig);
  o.terminate();
  return static_cast<int>(n);
}
