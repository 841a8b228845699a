// The byte-sequence automaton shared by the object-file writers: a tree of
// 256-entry nodes built from byte sequences, and its text form (node records
// holding run-encoded class and data tables). The writers differ only in the
// data value an accepted sequence carries and in how that value is written.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "writers.h"

namespace kw::writers {

// Byte classes of a node entry: the byte leads to a child node, or it ends an
// accepted sequence.
inline constexpr std::uint8_t kClassChild = 1;
inline constexpr std::uint8_t kClassFinal = 4;

template <class T>
struct AutomatonNode {
  std::array<std::uint8_t, 256> cls{};
  std::array<T, 256> data{};
  std::array<std::int32_t, 256> child{};
  bool has_data = false;  // some entry differs from the blank value
};

template <class T>
struct AutomatonTrie {
  std::vector<AutomatonNode<T>> nodes;
  T blank{};  // the data value of entries no sequence sets
  std::uint32_t longest = 0;
  std::uint32_t shortest = 4;

  explicit AutomatonTrie(const T& blank_value) : blank(blank_value) { new_node(); }

  // Adds the `n` bytes of `seq` (1..4, checked by the caller) carrying
  // `value`. A sequence that is a prefix of another is refused with
  // "<what> is a prefix of another".
  void add(const std::uint8_t* seq, std::size_t n, const T& value, const char* what) {
    std::size_t node = 0;
    for (std::size_t i = 0; i + 1 < n; ++i) {
      const std::uint8_t b = seq[i];
      if (nodes[node].cls[b] == kClassFinal) throw std::invalid_argument(std::string(what) + " is a prefix of another");
      if (nodes[node].child[b] < 0) {
        const auto next = static_cast<std::int32_t>(nodes.size());
        nodes[node].cls[b] = kClassChild;
        nodes[node].child[b] = next;
        new_node();
      }
      node = static_cast<std::size_t>(nodes[node].child[b]);
    }
    const std::uint8_t last = seq[n - 1];
    if (nodes[node].cls[last] == kClassChild) throw std::invalid_argument(std::string(what) + " is a prefix of another");
    nodes[node].cls[last] = kClassFinal;
    nodes[node].data[last] = value;
    if (!(value == blank)) nodes[node].has_data = true;
    if (n > longest) longest = static_cast<std::uint32_t>(n);
    if (n < shortest) shortest = static_cast<std::uint32_t>(n);
  }

 private:
  void new_node() {
    nodes.emplace_back();
    nodes.back().data.fill(blank);
    nodes.back().child.fill(-1);
  }
};

// Whether a lone blank entry between two written entries is written inside
// the literal record (one record instead of two) or ends the record.
enum class BlankGaps { Split, Bridge };

// Run records of one 256-entry table; `put` writes one value. Entries equal
// to `blank` are left out (the reader starts from them). A run of three or
// more equal values is one record with a repeat count.
template <class T, class Put>
void put_runs(std::string& out, const std::array<T, 256>& v, const T& blank, Put put, BlankGaps gaps) {
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
    while (q < 256) {
      if (v[q] == blank && (gaps == BlankGaps::Split || q + 1 == 256 || v[q + 1] == blank)) break;
      if (q > p && run_at(q) >= 3) break;
      ++q;
    }
    put_hex(out, static_cast<std::uint32_t>(p), 2);
    put_hex(out, static_cast<std::uint32_t>(q - p), 3);
    put_hex(out, 1, 3);
    for (std::size_t i = p; i < q; ++i) put(out, v[i]);
    out.push_back('\n');
    p = q;
  }
  out += "00000000\n";  // width 0 ends the table
}

template <class T>
bool has_class(const AutomatonNode<T>& n) {
  for (auto c : n.cls)
    if (c != 0) return true;
  return false;
}

template <class T>
void put_class_table(std::string& out, const AutomatonNode<T>& n, BlankGaps gaps) {
  put_runs(out, n.cls, std::uint8_t{0}, [](std::string& o, std::uint8_t c) { put_hex(o, c, 2); }, gaps);
}

// Node `i` and, depth first, the nodes below it: a "class data" flag line,
// the class table if any entry has a class, the data table if any entry has
// data.
template <class T, class Put>
void put_node(std::string& out, const AutomatonTrie<T>& t, std::size_t i, Put put, BlankGaps gaps) {
  const AutomatonNode<T>& n = t.nodes[i];
  const bool any_class = has_class(n);
  out += any_class ? "1 " : "0 ";
  out += n.has_data ? "1\n" : "0\n";
  if (any_class) put_class_table(out, n, gaps);
  if (n.has_data) put_runs(out, n.data, t.blank, put, gaps);
  for (unsigned b = 0; b < 256; ++b)
    if (n.cls[b] == kClassChild) put_node(out, t, static_cast<std::size_t>(n.child[b]), put, gaps);
}

}  // namespace kw::writers
