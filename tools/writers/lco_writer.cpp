// Locale object writer: turns a LocaleSource into the text that the locale
// reader consumes, choosing the smaller of the two automaton forms.
#include "lco_writer.h"

#include <cstdio>
#include <map>
#include <stdexcept>
#include <string_view>

#include "automaton_writer.h"
#include "writers.h"

namespace kw::writers {

void LcoAutomaton::add(const std::uint8_t* seq, std::size_t n, std::uint16_t data) {
  if (n < 1 || n > 4) throw std::invalid_argument("character of " + std::to_string(n) + " bytes");
  LcoChar c;
  c.len = static_cast<std::uint8_t>(n);
  for (std::size_t i = 0; i < n; ++i) c.bytes[i] = seq[i];
  c.data = data;
  chars.push_back(c);
}

void LcoAutomaton::add_value(std::uint32_t value, std::size_t n, std::uint16_t data) {
  std::uint8_t seq[4];
  for (std::size_t i = 0; i < n && i < 4; ++i) seq[i] = static_cast<std::uint8_t>(value >> (8 * (n - 1 - i)));
  add(seq, n, data);
}

namespace {

// The automaton as a tree of nodes, built from the character list.
using TrieNode = AutomatonNode<std::uint16_t>;
using Trie = AutomatonTrie<std::uint16_t>;

Trie build_trie(const LcoAutomaton& a) {
  Trie t(a.default_data);
  for (const LcoChar& c : a.chars) {
    if (c.len < 1 || c.len > 4) throw std::invalid_argument("character of bad length");
    t.add(c.bytes.data(), c.len, c.data, "character");
  }
  return t;
}

void put_data(std::string& out, std::uint16_t d) { put_hex(out, d, 4); }

std::string automaton_head(const Trie& t, bool compact) {
  std::string out = std::to_string(t.longest) + " " + std::to_string(t.shortest) + " " +
                    std::to_string(lco::kFlagMarkComplete | (compact ? lco::kFlagCompact : 0)) + "\n";
  put_hex(out, t.blank, 4);
  out.push_back('\n');
  return out;
}

std::string nodes_form(const Trie& t) {
  std::string out = automaton_head(t, false);
  put_node(out, t, 0, put_data, BlankGaps::Bridge);
  return out;
}

std::string compact_form(const Trie& t) {
  // Breadth-first order: the children of a node are the next unvisited nodes.
  std::vector<std::size_t> order{0};
  for (std::size_t k = 0; k < order.size(); ++k) {
    const TrieNode& n = t.nodes[order[k]];
    for (unsigned b = 0; b < 256; ++b)
      if (n.cls[b] == kClassChild) order.push_back(static_cast<std::size_t>(n.child[b]));
  }
  std::map<std::string, int> numbers;  // table text -> table number
  std::string tables;
  int count = 0;
  auto table_no = [&](int kind, const std::string& body) {
    const std::string key = std::to_string(kind) + "\n" + body;
    auto [it, fresh] = numbers.emplace(key, count);
    if (fresh) {
      tables += key;
      ++count;
    }
    return it->second;
  };
  std::string nodes;
  for (std::size_t i : order) {
    const TrieNode& n = t.nodes[i];
    int c = -1, d = -1;
    if (has_class(n)) {
      std::string body;
      put_class_table(body, n, BlankGaps::Bridge);
      c = table_no(lco::kTableClass, body);
    }
    if (n.has_data) {
      std::string body;
      put_runs(body, n.data, t.blank, put_data, BlankGaps::Bridge);
      d = table_no(lco::kTableData, body);
    }
    nodes += std::to_string(c) + " " + std::to_string(d) + "\n";
  }
  std::string out = automaton_head(t, true);
  out += std::to_string(order.size()) + " " + std::to_string(count) + "\n";
  out += tables;
  out += nodes;
  return out;
}

std::string automaton_text(const LcoAutomaton& a, AutomatonForm form) {
  const Trie t = build_trie(a);
  if (form == AutomatonForm::Nodes) return nodes_form(t);
  if (form == AutomatonForm::Compact) return compact_form(t);
  std::string plain = nodes_form(t);
  std::string compact = compact_form(t);
  return compact.size() < plain.size() ? compact : plain;
}

void put_int(std::string& out, long long v) {
  out += std::to_string(v);
  out.push_back('\n');
}

void put_string(std::string& out, const std::string& s) {
  out += lco_string_token(s);
  out.push_back('\n');
}

void put_grouping(std::string& out, const std::vector<int>& g) {
  if (g.size() > static_cast<std::size_t>(lco::kMaxGrouping)) throw std::invalid_argument("grouping of more than 15 values");
  out += std::to_string(g.size());
  for (int v : g) {
    out.push_back(' ');
    out += std::to_string(v);
  }
  out.push_back('\n');
}

void put_string_array(std::string& out, const std::vector<std::string>& a) {
  put_int(out, static_cast<long long>(a.size()));
  for (const auto& s : a) put_string(out, s);
}

void put_wide_list(std::string& out, const std::vector<std::uint32_t>& chars) {
  if (chars.empty() || chars.size() > 15) throw std::invalid_argument("collation record of 0 or more than 15 characters");
  put_hex(out, static_cast<std::uint32_t>(chars.size()), 1);
}

void put_ctype(std::string& out, const CtypeSource& c, AutomatonForm form) {
  out += automaton_text(c.classes, form);
  put_int(out, static_cast<long long>(c.named.size()));
  for (const auto& n : c.named) {
    if (n.bit < 0 || n.bit > 4) throw std::invalid_argument("class bit number outside 0..4");
    if (n.name.empty() || n.name.size() > static_cast<std::size_t>(lco::kTokenLimit))
      throw std::invalid_argument("class name of bad length");
    out += std::to_string(n.bit) + " " + n.name + "\n";
  }
  out += automaton_text(c.case_index, form);
  out += std::to_string(c.case_pairs.size());
  for (const auto& p : c.case_pairs) {
    out += "\n";
    put_hex(out, p.upper, 8);
    out += " ";
    put_hex(out, p.lower, 8);
  }
  // The factor stands on the rest of the line that the last token ends.
  if (c.expansion >= 0) {
    char buf[64];
    std::snprintf(buf, sizeof buf, " %g", c.expansion);
    out += buf;
  }
  out += "\n";
}

void put_collate(std::string& out, const CollateSource& c, AutomatonForm form) {
  if (c.kind == CollateSource::Kind::Thai) {
    out += lco::kCollateThai;
    return;
  }
  out += lco::kCollateAsSpecified;
  out += automaton_text(c.indexes, form);
  if (c.levels.size() > static_cast<std::size_t>(lco::kMaxLevels)) throw std::invalid_argument("more than 8 levels");
  const std::size_t k = c.levels.size();
  const std::size_t w = c.weights.empty() ? 0 : c.weights.size() - 1;
  out += std::to_string(c.table_form) + " " + std::to_string(w) + " " + std::to_string(k) + " " +
         std::to_string(c.elements.size()) + " " + std::to_string(c.expansions.size()) + " " +
         std::to_string(c.further_count) + "\n";
  for (auto v : c.levels) put_hex(out, v, 4);
  out += "\n";
  for (const auto& e : c.elements) {
    put_wide_list(out, e.chars);
    put_hex(out, e.weight_index, 4);
    for (auto ch : e.chars) {
      out += " ";
      put_hex(out, ch, 8);
    }
    out += "\n";
  }
  for (const auto& x : c.expansions) {
    put_wide_list(out, x);
    for (auto ch : x) {
      out += " ";
      put_hex(out, ch, 8);
    }
    out += "\n";
  }
  if (c.weights.empty()) {
    for (std::size_t i = 0; i < k; ++i) out += " 0000";
    out += "\n";
  }
  for (const auto& row : c.weights) {
    if (row.size() != k) throw std::invalid_argument("weight row of the wrong width");
    for (auto v : row) {
      out += " ";
      put_hex(out, v, 4);
    }
    out += "\n";
  }
}

void put_numeric(std::string& out, const NumericSource& n) {
  put_string(out, n.decimal_point);
  put_string(out, n.thousands_sep);
  put_grouping(out, n.grouping);
  put_string(out, n.positive_sign);
  put_string(out, n.negative_sign);
}

void put_monetary(std::string& out, const MonetarySource& m) {
  put_string(out, m.int_curr_symbol);
  put_string(out, m.currency_symbol);
  put_string(out, m.mon_decimal_point);
  put_string(out, m.mon_thousands_sep);
  put_grouping(out, m.mon_grouping);
  put_string(out, m.positive_sign);
  put_string(out, m.negative_sign);
  for (std::int32_t v : {m.int_frac_digits, m.frac_digits, m.p_cs_precedes, m.p_sep_by_space, m.n_cs_precedes,
                         m.n_sep_by_space, m.p_sign_posn, m.n_sign_posn})
    put_int(out, v);
}

void put_time(std::string& out, const TimeSource& t) {
  bool known = false;
  for (int i = 1; i <= 4; ++i)
    if (std::string_view(lco::kCalendars[i]) == t.calendar + "\n") known = true;
  if (!known) throw std::invalid_argument("unknown calendar " + t.calendar);
  out += t.calendar + "\n";
  for (const auto& s : t.abday) put_string(out, s);
  for (const auto& s : t.day) put_string(out, s);
  put_string_array(out, t.abmon);
  put_string_array(out, t.mon);
  for (const auto* s : {&t.d_t_fmt, &t.d_fmt, &t.t_fmt, &t.am, &t.pm, &t.t_fmt_ampm}) put_string(out, *s);
  put_string_array(out, t.era);
  for (const auto* s : {&t.era_d_fmt, &t.era_d_t_fmt, &t.era_t_fmt}) put_string(out, *s);
  put_string_array(out, t.alt_digits);
}

void put_messages(std::string& out, const MessagesSource& m) {
  for (const auto* s : {&m.yesexpr, &m.noexpr, &m.yesstr, &m.nostr}) put_string(out, *s);
}

}  // namespace

std::string lco_string_token(const std::string& bytes) {
  std::string out = std::to_string(bytes.size());
  if (!bytes.empty()) {
    out.push_back(' ');
    put_hex_bytes(out, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return out;
}

std::string write_lco_automaton(const LcoAutomaton& automaton, AutomatonForm form) {
  return automaton_text(automaton, form);
}

std::string write_lco(const LocaleSource& s, const LcoOptions& options) {
  if (s.codeset.size() > static_cast<std::size_t>(lco::kCodesetNameLimit))
    throw std::invalid_argument("code-set name of more than 20 characters");
  std::string out;
  out += lco::kFileTypeLine;
  out += "\n";
  out += lco::kVersionLine;
  out += "\n";
  out += std::string(lco::kHeaderLengthKey) + "=" +
         std::to_string(lco::kFixedHeaderLines + s.header_extra.size()) + "\n";
  for (const auto& h : s.header_extra) out += h + "\n";
  out += s.codeset + "\n";
  out += lco::kMarkers[2];
  put_ctype(out, s.ctype, options.form);
  out += lco::kMarkers[3];
  put_collate(out, s.collate, options.form);
  out += lco::kMarkers[4];
  put_numeric(out, s.numeric);
  out += lco::kMarkers[5];
  put_monetary(out, s.monetary);
  out += lco::kMarkers[6];
  put_time(out, s.time);
  out += lco::kMarkers[7];
  put_messages(out, s.messages);
  return out;
}

}  // namespace kw::writers
