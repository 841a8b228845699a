// Character classes of locale specifications, code-set names and registry
// tokens: the C library's classes in the "C" locale, independent of the
// process locale. Bytes from 0x80 up belong to no class.
#pragma once

namespace kw::locale {

constexpr bool is_alpha(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool is_alnum(char c) noexcept { return is_alpha(c) || is_digit(c); }
constexpr bool is_xdigit(char c) noexcept {
  return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
// Printable characters other than letters, digits and space.
constexpr bool is_punct(char c) noexcept { return c > ' ' && c < 0x7f && !is_alnum(c); }
// Letters, digits and punctuation: the characters of a code-set name.
constexpr bool is_name_char(char c) noexcept { return c > ' ' && c < 0x7f; }
constexpr bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr char to_lower(char c) noexcept { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + ('a' - 'A')) : c; }
constexpr char to_upper(char c) noexcept { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - ('a' - 'A')) : c; }
constexpr int xdigit_value(char c) noexcept {
  return is_digit(c) ? c - '0' : (c >= 'a' && c <= 'f') ? c - 'a' + 10 : (c >= 'A' && c <= 'F') ? c - 'A' + 10 : -1;
}

static_assert(is_punct('@') && is_punct('#') && is_punct('-') && is_punct('~'));
static_assert(!is_punct(' ') && !is_punct('a') && !is_punct('5') && !is_punct('\x7f'));
static_assert(is_name_char('_') && !is_name_char('\t') && !is_name_char(static_cast<char>(0xe9)));
static_assert(to_lower('Q') == 'q' && to_lower('@') == '@' && to_upper('z') == 'Z');
static_assert(xdigit_value('F') == 15 && xdigit_value('g') == -1);

}  // namespace kw::locale
