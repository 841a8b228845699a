// Compiling a locale definition for one charmap.
#include "compile_locale.h"

#include <algorithm>
#include <map>
#include <unordered_map>

namespace kw::localedef {

namespace {

using writers::LocaleSource;

// Sorted, merged ranges for membership tests.
Ranges normalised(Ranges r) {
  std::sort(r.begin(), r.end());
  Ranges out;
  for (const auto& p : r) {
    if (!out.empty() && p.first <= out.back().second + 1) out.back().second = std::max(out.back().second, p.second);
    else out.push_back(p);
  }
  return out;
}

bool contains(const Ranges& r, std::uint32_t c) {
  auto it = std::upper_bound(r.begin(), r.end(), std::make_pair(c, 0xFFFFFFFFu));
  return it != r.begin() && std::prev(it)->second >= c;
}

class Compiler {
 public:
  Compiler(const LocaleDef& def, const Charmap& cm, const SymbolTable& symbols, CompileResult& out)
      : def_(def), cm_(cm), symbols_(symbols), out_(out) {}

  void run(const std::string& locale_name);

 private:
  // The locale code of a charmap character (kNamedBase + n for other names),
  // or false when the sources never mention a non-Unicode name.
  bool code_of(const CharmapChar& c, std::uint32_t& code) const {
    if (c.ucs != kNoCodePoint) {
      code = c.ucs;
      return true;
    }
    return symbols_.find(c.name, code);
  }
  const CharmapChar* char_of(std::uint32_t code) const {
    if (code < kNamedBase) return cm_.find_ucs(code);
    return cm_.find_name(symbols_.name(code));
  }

  std::string encode(const UString& s, const std::string& where);
  std::string string_item(const ItemCategory& cat, const char* key, const std::string& fallback);
  std::vector<std::string> string_list(const ItemCategory& cat, const char* key);
  std::int32_t number_item(const ItemCategory& cat, const char* key, std::int32_t fallback);
  std::vector<int> grouping_item(const ItemCategory& cat, const char* key);

  void ctype();
  void collate();
  void numeric();
  void monetary();
  void time();
  void messages();

  const LocaleDef& def_;
  const Charmap& cm_;
  const SymbolTable& symbols_;
  CompileResult& out_;
  std::size_t missing_ = 0;  // characters of strings that the charmap lacks
};

std::string Compiler::encode(const UString& s, const std::string& where) {
  std::string out;
  for (std::uint32_t code : s) {
    const CharmapChar* c = char_of(code);
    if (c == nullptr) {
      // Left out, as localedef does for characters outside the code set.
      if (missing_++ < 8) {
        char buf[32];
        if (code < kNamedBase) std::snprintf(buf, sizeof buf, "<U%04X>", code);
        else std::snprintf(buf, sizeof buf, "<%.20s>", symbols_.name(code).c_str());
        out_.warnings.push_back(where + ": character " + buf + " not in charmap " + cm_.name + ", left out");
      }
      continue;
    }
    for (int i = 0; i < c->bytes.len; ++i) out.push_back(static_cast<char>(c->bytes.byte(i)));
  }
  return out;
}

std::string Compiler::string_item(const ItemCategory& cat, const char* key, const std::string& fallback) {
  const Item* it = cat.find(key);
  if (it == nullptr || it->values.empty()) return fallback;
  const Value& v = it->values[0];
  const std::string where = it->file + ":" + std::to_string(it->line);
  if (!v.is_string) throw SourceError(it->file, it->line, std::string("'") + key + "' needs a string");
  return encode(v.str, where);
}

std::vector<std::string> Compiler::string_list(const ItemCategory& cat, const char* key) {
  std::vector<std::string> out;
  const Item* it = cat.find(key);
  if (it == nullptr) return out;
  const std::string where = it->file + ":" + std::to_string(it->line);
  for (const Value& v : it->values) {
    if (!v.is_string) throw SourceError(it->file, it->line, std::string("'") + key + "' needs strings");
    out.push_back(encode(v.str, where));
  }
  return out;
}

std::int32_t Compiler::number_item(const ItemCategory& cat, const char* key, std::int32_t fallback) {
  const Item* it = cat.find(key);
  if (it == nullptr || it->values.empty()) return fallback;
  const Value& v = it->values[0];
  if (!v.numeric) throw SourceError(it->file, it->line, std::string("'") + key + "' needs a number");
  // -1 stands for "not available", as in the C library's conventions.
  if (v.number == -1) return lco::kNotAvailable;
  return static_cast<std::int32_t>(v.number);
}

std::vector<int> Compiler::grouping_item(const ItemCategory& cat, const char* key) {
  std::vector<int> out;
  const Item* it = cat.find(key);
  if (it == nullptr) return out;
  for (const Value& v : it->values) {
    if (!v.numeric) throw SourceError(it->file, it->line, std::string("'") + key + "' needs numbers");
    out.push_back(static_cast<int>(v.number));
  }
  // A lone -1 means no grouping.
  if (out.size() == 1 && out[0] == -1) out.clear();
  if (out.size() > static_cast<std::size_t>(lco::kMaxGrouping))
    throw SourceError(it->file, it->line, std::string("'") + key + "' has more than 15 values");
  return out;
}

void Compiler::ctype() {
  writers::CtypeSource& ct = out_.locale.ctype;
  const CtypeCategory& src = def_.ctype;

  std::vector<Ranges> standard(11);
  for (int k = 0; k < 11; ++k) {
    const auto it = src.classes.find(kStandardClasses[k]);
    if (it != src.classes.end()) standard[static_cast<std::size_t>(k)] = normalised(it->second);
  }

  // Named classes: full_width first, then the locale's own classes, then
  // the shared ones of the i18n base (combining...), as long as bits last.
  // Classes with no character in this code set take no bit.
  std::vector<std::string> candidates{kFullWidthClass};
  std::vector<std::string> shared;
  for (const std::string& name : src.class_order) {
    bool is_standard = false;
    for (const char* s : kStandardClasses) is_standard = is_standard || name == s;
    if (is_standard || name == kFullWidthClass) continue;
    if (name.rfind("combining", 0) == 0) shared.push_back(name);
    else candidates.push_back(name);
  }
  candidates.insert(candidates.end(), shared.begin(), shared.end());
  std::vector<Ranges> named_ranges;
  for (const std::string& name : candidates) {
    Ranges r;
    if (name == kFullWidthClass) {
      for (const CharmapChar& c : cm_.chars) {
        std::uint32_t code;
        if (cm_.width(c.bytes) == 2 && code_of(c, code)) r.emplace_back(code, code);
      }
    } else {
      r = src.classes.at(name);
    }
    r = normalised(std::move(r));
    bool any = false;
    for (const CharmapChar& c : cm_.chars) {
      std::uint32_t code;
      if (code_of(c, code) && contains(r, code)) {
        any = true;
        break;
      }
    }
    if (!any) continue;
    if (named_ranges.size() == static_cast<std::size_t>(kNamedClassBits)) {
      out_.warnings.push_back("class '" + name + "' left out: only " + std::to_string(kNamedClassBits) +
                              " locale-defined classes fit");
      continue;
    }
    ct.named.push_back(writers::NamedClass{name, static_cast<int>(named_ranges.size())});
    named_ranges.push_back(std::move(r));
  }

  std::unordered_map<std::uint32_t, std::uint32_t> upper, lower;
  for (const auto& [from, to] : src.toupper) upper[from] = to;
  for (const auto& [from, to] : src.tolower) lower[from] = to;

  std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint16_t> pair_index;
  double expansion = 1.0;
  ct.classes.chars.reserve(cm_.chars.size());
  ct.case_index.chars.reserve(cm_.chars.size());
  for (const CharmapChar& c : cm_.chars) {
    std::uint32_t code;
    std::uint16_t mask = 0;
    std::uint32_t up = 0, low = 0;
    if (code_of(c, code)) {
      for (int k = 0; k < 11; ++k)
        if (contains(standard[static_cast<std::size_t>(k)], code)) mask |= kClassBits[k];
      // Memberships every locale implies: letters are alphabetic, and
      // alphanumerics and punctuation are graphic and printable.
      if (mask & (1 | 2)) mask |= 4;
      if (mask & (4 | 8 | 64)) mask |= 128;
      if (mask & 128) mask |= 256;
      if (code == 0x20) mask |= 256;
      for (std::size_t k = 0; k < named_ranges.size(); ++k)
        if (contains(named_ranges[k], code)) mask = static_cast<std::uint16_t>(mask | (lco::kFirstNamedClassMask << k));
      auto map_to = [&](const std::unordered_map<std::uint32_t, std::uint32_t>& m, std::uint32_t& value) {
        const auto it = m.find(code);
        if (it == m.end()) return;
        const CharmapChar* t = char_of(it->second);
        if (t == nullptr) return;
        value = t->bytes.value;
        expansion = std::max(expansion, static_cast<double>(t->bytes.len) / c.bytes.len);
      };
      map_to(upper, up);
      map_to(lower, low);
    }
    ct.classes.add_value(c.bytes.value, c.bytes.len, mask);
    // Every character is in the case automaton too (index 0: no mapping), so
    // that case conversion of a string never meets a character it cannot
    // walk.
    std::uint16_t index = 0;
    if (up != 0 || low != 0) {
      auto [it, fresh] = pair_index.try_emplace({up, low}, static_cast<std::uint16_t>(ct.case_pairs.size() + 1));
      if (fresh) {
        if (ct.case_pairs.size() >= 0xFFFF) throw SourceError(def_.file, 0, "more than 65535 case pairs");
        ct.case_pairs.push_back(writers::CasePair{up, low});
      }
      index = it->second;
    }
    ct.case_index.add_value(c.bytes.value, c.bytes.len, index);
  }
  ct.expansion = expansion;
}

void Compiler::collate() {
  // Plain code-value order: every character has collation index 1, whose
  // one weight is code-significant (bit 15), so equal weights fall back to
  // the character codes. Index 0 (no character) weighs 0.
  writers::CollateSource& co = out_.locale.collate;
  co.kind = writers::CollateSource::Kind::AsSpecified;
  co.table_form = 1;
  co.levels = {1};
  co.weights = {{0}, {0x8002}};
  co.indexes.default_data = 0;
  co.indexes.chars.reserve(cm_.chars.size());
  for (const CharmapChar& c : cm_.chars) co.indexes.add_value(c.bytes.value, c.bytes.len, 1);
}

void Compiler::numeric() {
  const ItemCategory& n = def_.numeric;
  writers::NumericSource& o = out_.locale.numeric;
  o.decimal_point = string_item(n, "decimal_point", ".");
  o.thousands_sep = string_item(n, "thousands_sep", "");
  o.grouping = grouping_item(n, "grouping");
  o.positive_sign = string_item(def_.monetary, "positive_sign", "");
  o.negative_sign = string_item(def_.monetary, "negative_sign", "-");
}

void Compiler::monetary() {
  const ItemCategory& m = def_.monetary;
  writers::MonetarySource& o = out_.locale.monetary;
  o.int_curr_symbol = string_item(m, "int_curr_symbol", "");
  o.currency_symbol = string_item(m, "currency_symbol", "");
  o.mon_decimal_point = string_item(m, "mon_decimal_point", "");
  o.mon_thousands_sep = string_item(m, "mon_thousands_sep", "");
  o.mon_grouping = grouping_item(m, "mon_grouping");
  o.positive_sign = string_item(m, "positive_sign", "");
  o.negative_sign = string_item(m, "negative_sign", "");
  o.int_frac_digits = number_item(m, "int_frac_digits", lco::kNotAvailable);
  o.frac_digits = number_item(m, "frac_digits", lco::kNotAvailable);
  o.p_cs_precedes = number_item(m, "p_cs_precedes", lco::kNotAvailable);
  o.p_sep_by_space = number_item(m, "p_sep_by_space", lco::kNotAvailable);
  o.n_cs_precedes = number_item(m, "n_cs_precedes", lco::kNotAvailable);
  o.n_sep_by_space = number_item(m, "n_sep_by_space", lco::kNotAvailable);
  o.p_sign_posn = number_item(m, "p_sign_posn", lco::kNotAvailable);
  o.n_sign_posn = number_item(m, "n_sign_posn", lco::kNotAvailable);
}

void Compiler::time() {
  const ItemCategory& t = def_.time;
  writers::TimeSource& o = out_.locale.time;
  auto fixed = [&](const char* key, auto& dest) {
    std::vector<std::string> v = string_list(t, key);
    const Item* it = t.find(key);
    if (it != nullptr && v.size() != dest.size())
      throw SourceError(it->file, it->line, std::string("'") + key + "' needs " + std::to_string(dest.size()) + " strings");
    for (std::size_t i = 0; i < v.size(); ++i) dest[i] = v[i];
  };
  fixed("abday", o.abday);
  fixed("day", o.day);
  o.abmon = string_list(t, "abmon");
  o.mon = string_list(t, "mon");
  o.d_t_fmt = string_item(t, "d_t_fmt", "");
  o.d_fmt = string_item(t, "d_fmt", "");
  o.t_fmt = string_item(t, "t_fmt", "");
  const std::vector<std::string> am_pm = string_list(t, "am_pm");
  if (!am_pm.empty()) {
    if (am_pm.size() != 2) {
      const Item* it = t.find("am_pm");
      throw SourceError(it->file, it->line, "'am_pm' needs 2 strings");
    }
    o.am = am_pm[0];
    o.pm = am_pm[1];
  }
  o.t_fmt_ampm = string_item(t, "t_fmt_ampm", "");
  o.era = string_list(t, "era");
  o.era_d_fmt = string_item(t, "era_d_fmt", "");
  o.era_d_t_fmt = string_item(t, "era_d_t_fmt", "");
  o.era_t_fmt = string_item(t, "era_t_fmt", "");
  o.alt_digits = string_list(t, "alt_digits");
}

void Compiler::messages() {
  const ItemCategory& m = def_.messages;
  writers::MessagesSource& o = out_.locale.messages;
  o.yesexpr = string_item(m, "yesexpr", "");
  o.noexpr = string_item(m, "noexpr", "");
  o.yesstr = string_item(m, "yesstr", "");
  o.nostr = string_item(m, "nostr", "");
}

void Compiler::run(const std::string& locale_name) {
  if (cm_.name.size() > static_cast<std::size_t>(lco::kCodesetNameLimit))
    throw SourceError(cm_.file, 0, "code-set name '" + cm_.name + "' longer than 20 characters");
  out_.locale.codeset = cm_.name;
  out_.locale.header_extra = {"LOCALE=" + locale_name, "CHARMAP=" + cm_.name};
  ctype();
  collate();
  numeric();
  monetary();
  time();
  messages();
  if (missing_ > 8)
    out_.warnings.push_back(std::to_string(missing_ - 8) + " more characters not in charmap " + cm_.name + " left out");
}

}  // namespace

CompileResult compile_locale(const LocaleDef& def, const Charmap& cm, const SymbolTable& symbols,
                             const std::string& locale_name) {
  CompileResult out;
  Compiler(def, cm, symbols, out).run(locale_name);
  return out;
}

}  // namespace kw::localedef
