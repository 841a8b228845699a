// Locale sources of the test fixtures and the benchmark.
#include "locale_fixtures.h"

#include <stdexcept>

#include "registry_writer.h"

namespace kw::testing {
namespace {

using writers::LcoAutomaton;
using writers::LocaleSource;

constexpr std::uint16_t kUpper = 1, kLower = 2, kAlpha = 4, kDigit = 8, kSpace = 16, kCntrl = 32,
                        kPunct = 64, kGraph = 128, kPrint = 256, kXdigit = 512, kBlank = 1024;

void english_time(writers::TimeSource& t) {
  t.abday = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  t.day = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
  t.abmon = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  t.mon = {"January", "February", "March",     "April",   "May",      "June",
           "July",    "August",   "September", "October", "November", "December"};
  t.d_t_fmt = "%a %b %e %H:%M:%S %Y";
  t.d_fmt = "%m/%d/%y";
  t.t_fmt = "%H:%M:%S";
  t.am = "AM";
  t.pm = "PM";
  t.t_fmt_ampm = "%I:%M:%S %p";
}

// Case pairs shared by the two cases of a letter: index i covers both.
void add_case(LocaleSource& s, std::uint32_t upper, std::uint32_t lower, std::size_t n) {
  s.ctype.case_pairs.push_back({upper, lower});
  const auto index = static_cast<std::uint16_t>(s.ctype.case_pairs.size());
  s.ctype.case_index.add_value(upper, n, index);
  s.ctype.case_index.add_value(lower, n, index);
}

// Code-value collation over the characters of `classes`: index = position
// in byte order, one forward level.
void code_order(LocaleSource& s, std::size_t extra_rows) {
  auto& c = s.collate;
  c.levels = {1};
  std::vector<writers::LcoChar> chars = s.ctype.classes.chars;
  std::uint16_t next = 0;
  for (auto ch : chars) {
    ch.data = next++;
    c.indexes.chars.push_back(ch);
  }
  for (std::size_t j = 0; j < next + extra_rows; ++j)
    c.weights.push_back({static_cast<std::uint16_t>(j + 2)});
}

void posix_ctype(LocaleSource& s) {
  for (unsigned b = 0; b < 256; ++b) {
    const std::uint8_t byte = static_cast<std::uint8_t>(b);
    s.ctype.classes.add(&byte, 1, c_class_mask(b));
  }
  for (unsigned c = 'A'; c <= 'Z'; ++c) add_case(s, c, c + 32, 1);
}

}  // namespace

std::string fixture_registry() {
  std::vector<std::string> skipped;
  return writers::write_registry({{kLatin1Name, 819},
                                  {"819", 819},
                                  {kOtherName, 437},
                                  {kTwoByteName, kTwoByteNumber},
                                  {kUtf8Name, 57372}},
                                 skipped);
}

std::uint16_t c_class_mask(unsigned b) {
  std::uint16_t m = 0;
  if (b >= 'A' && b <= 'Z') m |= kUpper | kAlpha;
  if (b >= 'a' && b <= 'z') m |= kLower | kAlpha;
  if (b >= '0' && b <= '9') m |= kDigit;
  if (b == ' ' || (b >= '\t' && b <= '\r')) m |= kSpace;
  if (b < 32 || b == 127) m |= kCntrl;
  if (b > 32 && b < 127) m |= kGraph;
  if (b >= 32 && b < 127) m |= kPrint;
  if ((b > 32 && b < 127) && !(m & (kAlpha | kDigit))) m |= kPunct;
  if ((b >= '0' && b <= '9') || (b >= 'a' && b <= 'f') || (b >= 'A' && b <= 'F')) m |= kXdigit;
  if (b == ' ' || b == '\t') m |= kBlank;
  return m;
}

LocaleSource posix_locale() {
  LocaleSource s;
  s.codeset = kLatin1Name;
  s.header_extra = {"SOURCE=POSIX"};
  posix_ctype(s);
  code_order(s, 0);
  s.numeric.decimal_point = ".";
  s.numeric.negative_sign = "-";
  english_time(s.time);
  s.messages = {"^[yY]", "^[nN]", "yes", "no"};
  return s;
}

LocaleSource latin1_locale() {
  LocaleSource s = posix_locale();
  s.header_extra = {"SOURCE=en_US", "REVISION=1.0"};
  s.ctype = {};
  for (unsigned b = 0; b < 256; ++b) {
    std::uint16_t m = c_class_mask(b);
    if (b >= 0xC0 && b != 0xD7 && b != 0xF7) m |= kAlpha | kGraph | kPrint | (b < 0xDF ? kUpper : kLower);
    if (std::string("aeiouAEIOU").find(static_cast<char>(b)) != std::string::npos) m |= 2048;
    const std::uint8_t byte = static_cast<std::uint8_t>(b);
    s.ctype.classes.add(&byte, 1, m);
  }
  s.ctype.named = {{"vowel", 0}};
  for (unsigned c = 'A'; c <= 'Z'; ++c) add_case(s, c, c + 32, 1);
  for (unsigned c = 0xC0; c <= 0xDE; ++c)
    if (c != 0xD7) add_case(s, c, c + 32, 1);
  s.ctype.expansion = 1.5;
  s.collate = {};
  code_order(s, 2);
  s.collate.elements = {{256, {'c', 'h'}}, {257, {'l', 'l'}}};
  s.collate.expansions = {{'s', 's'}, {'a', 'b', 'c', 'd', 'e'}};
  s.numeric = {".", ",", {3, 3}, "", "-"};
  s.monetary = {"USD ", "$", ".", ",", {3, 3}, "", "-", 2, 2, 1, 0, 1, 0, 1, 1};
  s.time.era = {"+:1:1989/01/08:+*:Heisei:%EC%Ey", "+:1:2019/05/01:+*:Reiwa:%EC%Ey"};
  s.time.era_d_fmt = "%EC %Ey";
  s.time.era_d_t_fmt = "%EC %Ey %X";
  s.time.era_t_fmt = "%X";
  s.time.alt_digits = {"zero", "one", "two"};
  s.messages = {"^[yY].*", "^[nN].*", "yes", "no"};
  return s;
}

std::string two_bytes(const std::string& ascii) {
  std::string out;
  for (char c : ascii) {
    out.push_back('\0');
    out.push_back(c);
  }
  return out;
}

LocaleSource twobyte_locale() {
  LocaleSource s;
  s.codeset = kTwoByteName;
  for (unsigned v = 0; v < 256; ++v) s.ctype.classes.add_value(v, 2, c_class_mask(v));
  for (unsigned v = 0x3000; v < 0x3100; ++v) s.ctype.classes.add_value(v, 2, kAlpha | kGraph | kPrint);
  for (unsigned c = 'A'; c <= 'Z'; ++c) add_case(s, c, c + 32, 2);
  code_order(s, 0);
  s.numeric = {two_bytes("."), two_bytes(","), {3}, "", two_bytes("-")};
  s.monetary.currency_symbol = std::string("\x30\x01", 2);
  english_time(s.time);
  for (auto& d : s.time.abday) d = two_bytes(d);
  for (auto& d : s.time.day) d = two_bytes(d);
  for (auto& m : s.time.abmon) m = two_bytes(m);
  for (auto& m : s.time.mon) m = two_bytes(m);
  for (auto* f : {&s.time.d_t_fmt, &s.time.d_fmt, &s.time.t_fmt, &s.time.am, &s.time.pm, &s.time.t_fmt_ampm})
    *f = two_bytes(*f);
  s.messages = {two_bytes("^[yY]"), two_bytes("^[nN]"), two_bytes("yes"), two_bytes("no")};
  return s;
}

namespace {

std::size_t utf8_encode(std::uint32_t cp, std::uint8_t* out) {
  if (cp < 0x80) {
    out[0] = static_cast<std::uint8_t>(cp);
    return 1;
  }
  if (cp < 0x800) {
    out[0] = static_cast<std::uint8_t>(0xC0 | (cp >> 6));
    out[1] = static_cast<std::uint8_t>(0x80 | (cp & 0x3F));
    return 2;
  }
  if (cp < 0x10000) {
    out[0] = static_cast<std::uint8_t>(0xE0 | (cp >> 12));
    out[1] = static_cast<std::uint8_t>(0x80 | ((cp >> 6) & 0x3F));
    out[2] = static_cast<std::uint8_t>(0x80 | (cp & 0x3F));
    return 3;
  }
  out[0] = static_cast<std::uint8_t>(0xF0 | (cp >> 18));
  out[1] = static_cast<std::uint8_t>(0x80 | ((cp >> 12) & 0x3F));
  out[2] = static_cast<std::uint8_t>(0x80 | ((cp >> 6) & 0x3F));
  out[3] = static_cast<std::uint8_t>(0x80 | (cp & 0x3F));
  return 4;
}

// A rough class mask by block, enough to give the data tables a realistic
// mix of shared and distinct rows.
std::uint16_t utf8_mask(std::uint32_t cp) {
  if (cp < 0x80) return c_class_mask(cp);
  if (cp < 0xA0) return kCntrl;
  if (cp < 0xC0) return kPunct | kGraph | kPrint;
  if (cp < 0x250) return static_cast<std::uint16_t>(kAlpha | kGraph | kPrint | ((cp & 1) ? kLower : kUpper));
  if (cp >= 0x3040 && cp < 0x3100) return kAlpha | kGraph | kPrint;
  if (cp >= 0x4E00 && cp < 0xA000) return kAlpha | kGraph | kPrint;
  if (cp >= 0xAC00 && cp < 0xD7A4) return kAlpha | kGraph | kPrint;
  if (cp >= 0xE000 && cp < 0xF900) return 0;
  if (cp >= 0x20000 && cp < 0x2FA20) return kAlpha | kGraph | kPrint;
  if (cp >= 0xF0000) return 0;
  return (cp % 7 == 0) ? kPunct | kGraph | kPrint : kGraph | kPrint;
}

void add_utf8(LcoAutomaton& a, std::uint32_t cp, std::uint16_t data) {
  std::uint8_t b[4];
  const std::size_t n = utf8_encode(cp, b);
  a.add(b, n, data);
}

}  // namespace

LocaleSource utf8_locale() {
  LocaleSource s;
  s.codeset = kUtf8Name;
  for (std::uint32_t cp = 0; cp < 0x800; ++cp) add_utf8(s.ctype.classes, cp, utf8_mask(cp));
  for (std::uint32_t cp = 0x3040; cp < 0x3100; ++cp) add_utf8(s.ctype.classes, cp, utf8_mask(cp));
  for (std::uint32_t cp = 0x4E00; cp < 0xA000; ++cp) add_utf8(s.ctype.classes, cp, utf8_mask(cp));
  for (std::uint32_t cp = 0xFF00; cp < 0xFFF0; ++cp) add_utf8(s.ctype.classes, cp, utf8_mask(cp));
  for (std::uint32_t cp = 0x1F600; cp < 0x1F650; ++cp) add_utf8(s.ctype.classes, cp, kGraph | kPrint);
  for (unsigned c = 'A'; c <= 'Z'; ++c) add_case(s, c, c + 32, 1);
  // U+00C0..U+00DE: two-byte characters with case.
  for (std::uint32_t cp = 0xC0; cp <= 0xDE; ++cp) {
    if (cp == 0xD7) continue;
    std::uint8_t u[4], l[4];
    utf8_encode(cp, u);
    utf8_encode(cp + 32, l);
    s.ctype.case_pairs.push_back({(std::uint32_t{u[0]} << 8) | u[1], (std::uint32_t{l[0]} << 8) | l[1]});
    const auto index = static_cast<std::uint16_t>(s.ctype.case_pairs.size());
    s.ctype.case_index.add(u, 2, index);
    s.ctype.case_index.add(l, 2, index);
  }
  s.ctype.expansion = 1.0;
  code_order(s, 0);
  s.numeric = {".", ",", {3}, "", "-"};
  s.monetary = {"JPY ", "\xEF\xBF\xA5", ".", ",", {3}, "", "-", 0, 0, 1, 0, 1, 0, 1, 1};
  english_time(s.time);
  s.time.abday = {"\xE6\x97\xA5", "\xE6\x9C\x88", "\xE7\x81\xAB", "\xE6\xB0\xB4", "\xE6\x9C\xA8", "\xE9\x87\x91",
                  "\xE5\x9C\x9F"};
  for (int m = 1; m <= 12; ++m) s.time.abmon[static_cast<std::size_t>(m - 1)] = std::to_string(m) + "\xE6\x9C\x88";
  s.time.era = {"+:2:2020/01/01:+*:\xE4\xBB\xA4\xE5\x92\x8C:%EC%Ey\xE5\xB9\xB4"};
  s.messages = {"^([yY\xEF\xBD\x99\xEF\xBC\xB9]|\xE3\x81\xAF\xE3\x81\x84)", "^[nN]", "yes", "no"};
  return s;
}

LcoAutomaton full_utf8_classes() {
  LcoAutomaton a;
  a.chars.reserve(1112064);
  for (std::uint32_t cp = 0; cp <= 0x10FFFF; ++cp) {
    if (cp >= 0xD800 && cp < 0xE000) continue;
    add_utf8(a, cp, utf8_mask(cp));
  }
  return a;
}

namespace {

std::string replace_once(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  if (at == std::string::npos) throw std::logic_error("fixture text not found: " + from);
  return text.replace(at, from.size(), to);
}

// The text from the marker of `section` on.
std::size_t section_at(const std::string& text, const std::string& marker) {
  const auto at = text.find(marker);
  if (at == std::string::npos) throw std::logic_error("no marker " + marker);
  return at + marker.size();
}

}  // namespace

std::vector<std::pair<std::string, std::string>> broken_objects() {
  const std::string good = writers::write_lco(posix_locale());
  std::vector<std::pair<std::string, std::string>> out;
  out.emplace_back("bad_type", replace_once(good, "FILE_TYPE=locale_object", "FILE_TYPE=charmap_object"));
  out.emplace_back("bad_version", replace_once(good, "COMPILER_VERSION=11", "COMPILER_VERSION=10"));
  out.emplace_back("no_marker", replace_once(good, "### LC_TIME\n", "### LC_TIME \n"));
  {
    LocaleSource s = posix_locale();
    s.numeric.grouping = std::vector<int>(15, 3);
    std::string t = writers::write_lco(s);
    out.emplace_back("grouping16", replace_once(t, "15 3 3", "16 3 3 3"));
  }
  {
    // The decimal point "." is "1 2E": its blank replaced by a tab.
    std::string t = good;
    const std::size_t at = t.find("1 2E", section_at(t, "### LC_NUMERIC\n"));
    t[at + 1] = '\t';
    out.emplace_back("no_blank", t);
  }
  {
    std::string t = good;
    const std::size_t at = section_at(t, "### LC_CTYPE\n");
    t.replace(at, 1, "5");  // longest sequence 5
    out.emplace_back("long_key", t);
  }
  out.emplace_back("bad_calendar", replace_once(good, "gregorian\n", "julian\n"));
  out.emplace_back("bad_collate", replace_once(good, "as_specified\n", "as_written\n"));
  out.emplace_back("other_codeset", replace_once(good, std::string("\n") + kLatin1Name + "\n",
                                                 std::string("\n") + kOtherName + "\n"));
  {
    std::string t = good;
    const std::size_t at = t.find("5 5E", section_at(t, "### LC_MESSAGES\n"));
    t[at + 1] = '\t';
    out.emplace_back("bad_messages", t);
  }
  {
    LocaleSource s = posix_locale();
    s.ctype.classes.chars.clear();
    s.ctype.case_index.chars.clear();
    s.ctype.case_pairs.clear();
    out.emplace_back("empty_ctype", writers::write_lco(s));
  }
  out.emplace_back("truncated", good.substr(0, section_at(good, "### LC_TIME\n") + 40));
  return out;
}

}  // namespace kw::testing
