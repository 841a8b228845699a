// Exported codec functions on single characters: length, decoding, encoding,
// stepping forward and back, indexing.
#include <cstring>

#include "codeset/codec_core.h"
#include "frame/export.h"
#include "frame/hooks.h"

namespace {

using kw::Err;
using kw::Result;
using kw::codeset::CodecView;
using kw::codeset::Match;

const std::uint8_t* bytes(const char* s) { return reinterpret_cast<const std::uint8_t*>(s); }

// The walk shared by the mblen and mbtowc forms: resolves the length (-1
// only when `minus_one` allows it) and recognises one character. A string
// that cannot be measured for -1 (an illegal character anywhere before its
// terminator) has length 0 like its kw_mbsbytes, so it fails with Short.
Result<Match> walk(const CodecView& v, const char* s, int length, bool minus_one) noexcept {
  if (!minus_one && length < 1) return Err::Short;
  if (v.single_byte == 0 && !kw::codeset::usable(v)) return Err::Ilseq;
  const Result<std::size_t> n = kw::codeset::resolve_length(v, bytes(s), length);
  if (!n) return Err::Short;
  const Match m = kw::codeset::decode_one(v, bytes(s), *n);
  if (m.err != Err::None) return m.err;
  return m;
}

int fail(kw_locale* h, Err e) noexcept {
  kw::frame::store_error(h, e);
  return -1;
}

template <class T>
T* fail_ptr(kw_locale* h, Err e) noexcept {
  kw::frame::store_error(h, e);
  return nullptr;
}

int mbtowc(kw_locale* h, kw_wchar_t* out, const char* s, int length, bool minus_one) noexcept {
  if (s == nullptr || h == nullptr) return 0;
  const Result<Match> m = walk(kw::codeset::view(h), s, length, minus_one);
  if (!m) return fail(h, m.error());
  if (out != nullptr) *out = m->value;
  return m->value == 0 ? 0 : static_cast<int>(m->len);
}

}  // namespace

KW_EXPORT int KW_CALL qrt_kw_full_mbtowc(kw_locale* h, kw_wchar_t* out, const char* s, int length) {
  return mbtowc(h, out, s, length, true);
}

KW_EXPORT int KW_CALL kw_full_mbtowc(kw_locale* h, kw_wchar_t* out, const char* s, int length) {
  return mbtowc(h, out, s, length, false);
}

KW_EXPORT int KW_CALL kw_full_mblen(kw_locale* h, const char* s, int length) {
  return mbtowc(h, nullptr, s, length, true);
}

KW_EXPORT int KW_CALL qrt_kw_full_mblen(kw_locale* h, const char* s, int length) {
  if (s == nullptr || h == nullptr) return 0;
  const Result<Match> m = walk(kw::codeset::view(h), s, length, false);
  if (!m) return fail(h, m.error());
  return static_cast<int>(m->len);
}

KW_EXPORT int KW_CALL kw_full_wctomb(kw_locale* h, char* out, kw_wchar_t value) {
  if (h == nullptr) return -1;
  if (out == nullptr) return fail(h, Err::BadPtr);
  std::uint8_t buf[kw::codeset::kMaxSequence];
  const Result<int> n = kw::codeset::encode(kw::codeset::view(h), value, buf);
  if (!n) return fail(h, n.error());
  std::memcpy(out, buf, static_cast<std::size_t>(*n));
  return *n;
}

KW_EXPORT int KW_CALL kw_wclen(kw_locale* h, kw_wchar_t value) {
  if (h == nullptr) return -1;
  if (kw::codeset::view(h).single_byte != 0) return 1;
  std::uint8_t buf[kw::codeset::kMaxSequence];
  const Result<int> n = kw::codeset::encode(kw::codeset::view(h), value, buf);
  if (!n) return fail(h, n.error());
  return *n;
}

KW_EXPORT char* KW_CALL kw_full_mbsnext(kw_locale* h, const char* s) {
  if (h == nullptr) return nullptr;
  if (s == nullptr) return fail_ptr<char>(h, Err::BadPtr);
  const CodecView& v = kw::codeset::view(h);
  if (v.single_byte == 0 && !kw::codeset::usable(v)) return fail_ptr<char>(h, Err::Ilseq);
  const Match m = kw::codeset::decode_one(v, bytes(s), kw::codeset::kNoLimit);
  if (m.err != Err::None) return fail_ptr<char>(h, m.err);
  return const_cast<char*>(s) + m.len;
}

KW_EXPORT char* KW_CALL qrt_kw_full_mbsnext(kw_locale* h, const char* s, int length) {
  if (h == nullptr) return nullptr;
  if (s == nullptr) return fail_ptr<char>(h, Err::BadPtr);
  const Result<Match> m = walk(kw::codeset::view(h), s, length, false);
  if (!m) return fail_ptr<char>(h, m.error());
  return const_cast<char*>(s) + m->len;
}

KW_EXPORT char* KW_CALL kw_full_mbsprev(kw_locale* h, const char* start, const char* position) {
  if (h == nullptr) return nullptr;
  if (start == nullptr || position == nullptr) return fail_ptr<char>(h, Err::BadPtr);
  if (start >= position) return fail_ptr<char>(h, Err::NoPrev);
  const CodecView& v = kw::codeset::view(h);
  if (v.single_byte != 0) return const_cast<char*>(position) - 1;
  if (!kw::codeset::usable(v)) return fail_ptr<char>(h, Err::Ilseq);
  const char* p = start;
  for (;;) {
    const auto left = static_cast<std::size_t>(position - p);
    const Match m = kw::codeset::automaton_walk(*v.automaton, bytes(p), left);
    if (m.err != Err::None) return fail_ptr<char>(h, m.err);
    if (left - m.len < 1) return const_cast<char*>(p);
    p += m.len;
  }
}

KW_EXPORT char* KW_CALL kw_full_getmbsi(kw_locale* h, const char* s, int index) {
  if (h == nullptr) return nullptr;
  if (s == nullptr) return fail_ptr<char>(h, Err::BadPtr);
  const Result<const std::uint8_t*> p = kw::codeset::getmbsi(kw::codeset::view(h), bytes(s), index);
  if (!p) return fail_ptr<char>(h, p.error());
  return reinterpret_cast<char*>(const_cast<std::uint8_t*>(*p));
}

KW_EXPORT char* KW_CALL kw_full_putmbsi(kw_locale* h, char* s, int index, const char* character) {
  if (h == nullptr) return nullptr;
  if (s == nullptr || character == nullptr) return fail_ptr<char>(h, Err::BadPtr);
  const CodecView& v = kw::codeset::view(h);
  const Result<const std::uint8_t*> at = kw::codeset::getmbsi(v, bytes(s), index);
  if (!at) return fail_ptr<char>(h, at.error());
  // The new character: exactly one character, not the NUL character.
  const Match nc = kw::codeset::decode_one(v, bytes(character), kw::codeset::kNoLimit);
  if (nc.err != Err::None) return fail_ptr<char>(h, nc.err);
  if (nc.value == 0) return fail_ptr<char>(h, Err::Inval);
  // The old character (none when the index is the terminator's: append).
  auto* p = const_cast<std::uint8_t*>(*at);
  const Match oc = kw::codeset::decode_one(v, p, kw::codeset::kNoLimit);
  if (oc.err != Err::None) return fail_ptr<char>(h, oc.err);
  const std::size_t old_len = oc.value == 0 ? 0 : oc.len;
  Err err = Err::None;
  const std::size_t tail = kw::codeset::mbs_bytes(v, p + old_len, err);  // rest, terminator included
  if (err != Err::None) return fail_ptr<char>(h, err);
  // The caller's string has room for the longer result; the tail moves as
  // one overlapping copy before the character is written.
  std::memmove(p + nc.len, p + old_len, tail);
  std::memcpy(p, character, nc.len);
  return s;
}
