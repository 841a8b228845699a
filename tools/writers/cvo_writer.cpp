// The conversion-object writer.
#include "cvo_writer.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "automaton_writer.h"
#include "writers.h"

namespace kw::writers {

namespace {

using Entry = std::array<std::uint8_t, 5>;  // flag byte and up to 4 output bytes

using Trie = AutomatonTrie<Entry>;

Trie build(const std::vector<CvoMapping>& maps, bool swap_in, bool swap_out) {
  Trie t(Entry{});
  for (const CvoMapping& m : maps) {
    if (m.in.empty() || m.in.size() > 4) throw std::invalid_argument("mapping input of bad length");
    if (m.out.size() > 4) throw std::invalid_argument("mapping output of more than 4 bytes");
    if ((m.flags & 0xF8) == 0) throw std::invalid_argument("mapping without a flag bit");
    std::vector<std::uint8_t> in = m.in;
    if (swap_in && in.size() == 2) std::swap(in[0], in[1]);
    Entry e{};
    e[0] = static_cast<std::uint8_t>((m.flags & 0xF8) | m.out.size());
    for (std::size_t i = 0; i < m.out.size(); ++i) e[1 + i] = m.out[i];
    if (swap_out && m.out.size() == 2) std::swap(e[1], e[2]);
    t.add(in.data(), in.size(), e, "mapping input");
  }
  return t;
}

void put_entry(std::string& out, const Entry& e) {
  put_hex(out, e[0], 2);
  put_hex_bytes(out, e.data() + 1, e[0] & 7u);
}

void put_table(std::string& out, const std::vector<CvoMapping>& maps, bool swap_in, bool swap_out) {
  const Trie t = build(maps, swap_in, swap_out);
  out += std::to_string(t.longest);
  out += ' ';
  out += std::to_string(t.shortest);
  out += " 1\n";
  put_entry(out, Entry{});  // the default entry: no mapping
  out.push_back('\n');
  put_node(out, t, 0, put_entry, BlankGaps::Split);
}

}  // namespace

CvoShape cvo_shape(const CvoSource& s) {
  if (!s.alternate_table && s.source_min == 2 && s.source_max == 2) return CvoShape::TwoByteSource;
  if (!s.stateful && s.target_min == 2 && s.target_max == 2) return CvoShape::TwoByteTarget;
  if (s.alternate_table || s.stateful || s.source_max != 1 || s.target_max != 1) return CvoShape::General;
  return CvoShape::SingleByte;
}

void cvo_fill_lengths(CvoSource& s) {
  int smin = 4, smax = 0, tmin = 4, tmax = 0;
  double expansion = 0;
  auto scan = [&](const std::vector<CvoMapping>& maps, bool source) {
    for (const CvoMapping& m : maps) {
      const int in = static_cast<int>(m.in.size()), out = static_cast<int>(m.out.size());
      if (source) smin = std::min(smin, in), smax = std::max(smax, in);
      tmin = std::min(tmin, out);
      tmax = std::max(tmax, out);
      if (in > 0) expansion = std::max(expansion, static_cast<double>(out) / in);
    }
  };
  scan(s.forward, true);
  scan(s.alternate, false);
  if (smax == 0) smin = smax = 1;
  if (tmax == 0) tmin = tmax = 1;
  if (s.source_min == 0) s.source_min = smin;
  if (s.source_max == 0) s.source_max = smax;
  if (s.target_min == 0) s.target_min = tmin;
  if (s.target_max == 0) s.target_max = tmax;
  if (s.expansion == 0) s.expansion = expansion > 0 ? expansion : 1.0;
}

std::string write_cvo(const CvoSource& src) {
  if (src.target_max < 1 || src.target_max > 4) throw std::invalid_argument("target maximum length outside 1..4");
  std::string out = "FILE_TYPE=codeset_conversion_object\nCOMPILER_VERSION=9\n";
  out += "HEADER_LENGTH=" + std::to_string(3 + src.header_extra.size()) + "\n";
  for (const std::string& h : src.header_extra) out += h + "\n";
  out += std::string(src.alternate_table ? "1" : "0") + " " + (src.stateful ? "1" : "0") + "\n";
  for (const auto& c : src.controls) {
    if (c.size() > 4) throw std::invalid_argument("control sequence of more than 4 bytes");
    put_hex(out, static_cast<std::uint32_t>(c.size()), 1);
    put_hex_bytes(out, c.data(), c.size());
    out.push_back('\n');
  }
  for (int v : {src.target_min, src.target_max, src.unused1, src.unused2, src.source_min, src.source_max,
                src.direct_table_switch})
    out += std::to_string(v) + " ";
  out.push_back('\n');
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.6f\n", src.expansion);
  out += buf;
  const CvoShape shape = cvo_shape(src);
  const bool swap_in = shape == CvoShape::TwoByteSource;
  const bool swap_out = shape == CvoShape::TwoByteTarget;
  put_table(out, src.forward, swap_in, swap_out);
  if (src.alternate_table) put_table(out, src.alternate, false, false);
  return out;
}

}  // namespace kw::writers
