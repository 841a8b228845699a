// The conversion-object writer.
#include "cvo_writer.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "writers.h"

namespace kw::writers {

namespace {

using Entry = std::array<std::uint8_t, 5>;  // flag byte and up to 4 output bytes

struct Node {
  std::array<std::uint8_t, 256> cls{};
  std::array<Entry, 256> data{};
  std::array<std::int32_t, 256> child{};
  bool has_data = false;
};

struct Trie {
  std::vector<Node> nodes;
  int longest = 0, shortest = 4;
};

Trie build(const std::vector<CvoMapping>& maps, bool swap_in, bool swap_out) {
  Trie t;
  t.nodes.emplace_back();
  t.nodes[0].child.fill(-1);
  for (const CvoMapping& m : maps) {
    if (m.in.empty() || m.in.size() > 4) throw std::invalid_argument("mapping input of bad length");
    if (m.out.size() > 4) throw std::invalid_argument("mapping output of more than 4 bytes");
    if ((m.flags & 0xF8) == 0) throw std::invalid_argument("mapping without a flag bit");
    std::vector<std::uint8_t> in = m.in;
    if (swap_in && in.size() == 2) std::swap(in[0], in[1]);
    std::size_t node = 0;
    for (std::size_t i = 0; i + 1 < in.size(); ++i) {
      const std::uint8_t b = in[i];
      if (t.nodes[node].cls[b] == 4) throw std::invalid_argument("mapping input is a prefix of another");
      if (t.nodes[node].child[b] < 0) {
        const auto next = static_cast<std::int32_t>(t.nodes.size());
        t.nodes[node].cls[b] = 1;
        t.nodes[node].child[b] = next;
        t.nodes.emplace_back();
        t.nodes.back().child.fill(-1);
      }
      node = static_cast<std::size_t>(t.nodes[node].child[b]);
    }
    const std::uint8_t last = in.back();
    if (t.nodes[node].cls[last] == 1) throw std::invalid_argument("mapping input is a prefix of another");
    Entry e{};
    e[0] = static_cast<std::uint8_t>((m.flags & 0xF8) | m.out.size());
    for (std::size_t i = 0; i < m.out.size(); ++i) e[1 + i] = m.out[i];
    if (swap_out && m.out.size() == 2) std::swap(e[1], e[2]);
    t.nodes[node].cls[last] = 4;
    t.nodes[node].data[last] = e;
    t.nodes[node].has_data = true;
    t.longest = std::max(t.longest, static_cast<int>(in.size()));
    t.shortest = std::min(t.shortest, static_cast<int>(in.size()));
  }
  return t;
}

void put_entry(std::string& out, const Entry& e) {
  put_hex(out, e[0], 2);
  put_hex_bytes(out, e.data() + 1, e[0] & 7u);
}

// Run records of a 256-entry table; entries equal to `blank` are left out
// (the reader starts from them). A run of three or more equal values is one
// record with a repeat count.
template <class T, class Put>
void put_runs(std::string& out, const std::array<T, 256>& v, const T& blank, Put put) {
  auto run_at = [&](std::size_t p) {
    std::size_t r = 1;
    while (p + r < 256 && v[p + r] == v[p]) ++r;
    return r;
  };
  std::size_t p = 0;
  while (p < 256) {
    if (v[p] == blank) {
      ++p;
      continue;
    }
    const std::size_t r = run_at(p);
    if (r >= 3) {
      put_hex(out, static_cast<std::uint32_t>(p), 2);
      put_hex(out, 1, 3);
      put_hex(out, static_cast<std::uint32_t>(r), 3);
      put(out, v[p]);
      out.push_back('\n');
      p += r;
      continue;
    }
    std::size_t q = p;
    while (q < 256 && !(v[q] == blank) && !(q > p && run_at(q) >= 3)) ++q;
    put_hex(out, static_cast<std::uint32_t>(p), 2);
    put_hex(out, static_cast<std::uint32_t>(q - p), 3);
    put_hex(out, 1, 3);
    for (std::size_t i = p; i < q; ++i) put(out, v[i]);
    out.push_back('\n');
    p = q;
  }
  out += "00000000\n";
}

void put_node(std::string& out, const Trie& t, std::size_t i) {
  const Node& n = t.nodes[i];
  const bool any_class = std::any_of(n.cls.begin(), n.cls.end(), [](std::uint8_t c) { return c != 0; });
  out += any_class ? "1 " : "0 ";
  out += n.has_data ? "1\n" : "0\n";
  if (any_class) put_runs(out, n.cls, std::uint8_t{0}, [](std::string& o, std::uint8_t c) { put_hex(o, c, 2); });
  if (n.has_data) put_runs(out, n.data, Entry{}, put_entry);
  for (unsigned b = 0; b < 256; ++b)
    if (n.cls[b] == 1) put_node(out, t, static_cast<std::size_t>(n.child[b]));
}

void put_table(std::string& out, const std::vector<CvoMapping>& maps, bool swap_in, bool swap_out) {
  const Trie t = build(maps, swap_in, swap_out);
  out += std::to_string(t.nodes.size() == 1 && !t.nodes[0].has_data ? 0 : t.longest) + " " +
         std::to_string(t.shortest) + " 1\n";
  put_entry(out, Entry{});  // the default entry: no mapping
  out.push_back('\n');
  put_node(out, t, 0);
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
