// Token readers of the locale object format and the serialised automaton.
#include "locale/lco_input.h"

#include <cstring>

#include "kwa.h"
#include "locale/lco_format.h"

namespace kw::locale {
namespace {

bool is_space(int c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_digit(int c) noexcept { return c >= '0' && c <= '9'; }

// A hexadecimal digit's value; any other character counts as its own code
// (kept lenient: the locale compiler never writes such characters).
std::uint32_t lenient_hex(int c) noexcept {
  if (c >= '0' && c <= '9') return static_cast<std::uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint32_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint32_t>(c - 'A' + 10);
  return static_cast<std::uint32_t>(c);
}

// In strings any character that is not a hexadecimal digit counts as 0.
std::uint8_t strict_nibble(int c) noexcept {
  if (c >= '0' && c <= '9') return static_cast<std::uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint8_t>(c - 'A' + 10);
  return 0;
}

}  // namespace

Err LcoInput::load(std::FILE* f) noexcept {
  owned_.clear();
  char chunk[4096];
  while (kw_ext_fgets(chunk, static_cast<int>(sizeof chunk), f) != nullptr) {
    if (!owned_.append(chunk, std::strlen(chunk))) return Err::NoMem;
  }
  text_ = owned_.data();
  size_ = owned_.size();
  pos_ = 0;
  return Err::None;
}

bool LcoInput::line(char* out, int limit) noexcept {
  int n = 0;
  while (n < limit && pos_ < size_) {
    const char c = text_[pos_++];
    out[n++] = c;
    if (c == '\n') break;
  }
  out[n] = '\0';
  return n > 0;
}

void LcoInput::skip_space() noexcept {
  while (pos_ < size_ && is_space(static_cast<unsigned char>(text_[pos_]))) ++pos_;
}

Err LcoInput::integer(std::int32_t& out) noexcept {
  skip_space();
  if (at_end()) return Err::BadType;
  // The first character is taken whatever it is (a sign, usually a digit),
  // then up to 38 digits; further digits are read and dropped.
  char text[1 + lco::kIntegerDigits + 1];
  int n = 0;
  text[n++] = static_cast<char>(get());
  int c;
  while ((c = get()) >= 0 && is_digit(c)) {
    if (n < 1 + lco::kIntegerDigits) text[n++] = static_cast<char>(c);
  }
  if (c >= 0) unget();
  text[n] = '\0';
  // Converted as a signed decimal number: text that is no number gives 0,
  // values beyond 32 bits saturate.
  int i = 0;
  bool neg = false;
  if (text[0] == '-' || text[0] == '+') {
    neg = text[0] == '-';
    i = 1;
  }
  std::int64_t v = 0;
  for (; text[i] != '\0' && is_digit(text[i]); ++i) {
    v = v * 10 + (text[i] - '0');
    if (v > 0x80000000LL) v = 0x80000000LL;
  }
  if (neg) v = -v;
  if (v > 0x7FFFFFFF) v = 0x7FFFFFFF;
  out = static_cast<std::int32_t>(v);
  return Err::None;
}

Err LcoInput::hex(int n, std::uint32_t& out) noexcept {
  std::uint32_t v = 0;
  for (int i = 0; i < n; ++i) {
    const int c = get();
    if (c < 0) return Err::BadType;
    v = v * 16 + lenient_hex(c);
  }
  out = v;
  return Err::None;
}

Err LcoInput::string(char*& out) noexcept {
  out = nullptr;
  std::int32_t n = 0;
  if (Err e = integer(n); e != Err::None) return e;
  if (n > 0) {
    if (get() != ' ') return Err::NoFile;
    if (static_cast<std::size_t>(n) > remaining() / 2) return Err::BadType;
  } else {
    n = 0;
  }
  char* s = alloc_array<char>(static_cast<std::size_t>(n) + 4);
  if (s == nullptr) return Err::NoMem;
  for (std::int32_t i = 0; i < n; ++i) {
    const std::uint8_t hi = strict_nibble(get());
    const std::uint8_t lo = strict_nibble(get());
    s[i] = static_cast<char>((hi << 4) | lo);
  }
  std::memset(s + n, 0, 4);
  skip_space();
  out = s;
  return Err::None;
}

Err LcoInput::grouping(std::int32_t& count, std::int32_t* values) noexcept {
  std::int32_t n = 0;
  if (Err e = integer(n); e != Err::None) return e;
  skip_space();
  count = n;
  for (std::int32_t i = 0; i < n; ++i) {
    if (i == lco::kMaxGrouping) {
      count = lco::kMaxGrouping;
      return Err::BadIndex;
    }
    if (Err e = integer(values[i]); e != Err::None) return e;
    skip_space();
  }
  if (count < 0) count = 0;
  return Err::None;
}

Err LcoInput::token(char* out, std::size_t size) noexcept {
  skip_space();
  if (at_end()) return Err::BadType;
  std::size_t n = 0;
  int c;
  while (n < static_cast<std::size_t>(lco::kTokenLimit) && n + 1 < size && (c = get()) >= 0) {
    if (is_space(c)) {
      unget();
      break;
    }
    out[n++] = static_cast<char>(c);
  }
  out[n] = '\0';
  return Err::None;
}

namespace {

using codeset::Automaton;
using codeset::Node;

constexpr std::size_t kClassRecord = 512;  // class table and its index map
constexpr std::size_t kDataRecord = 512;   // 256 slots of 2 bytes

// Fixed-size records kept once each: equal tables read for several nodes
// share one record.
class TablePool {
 public:
  explicit TablePool(std::size_t record) noexcept : record_(record) {}
  std::size_t count() const noexcept { return count_; }
  const std::uint8_t* at(std::size_t i) const noexcept { return bytes_.data() + i * record_; }
  std::uint8_t* release() noexcept { return bytes_.release(); }

  // The number of the record equal to `rec`, adding it when new; -1 when
  // memory runs out.
  std::int32_t intern(const std::uint8_t* rec) noexcept {
    if (slots_.size() < 2 * (count_ + 1)) {
      if (!rehash(slots_.size() < 64 ? 64 : slots_.size() * 2)) return -1;
    }
    const std::uint64_t h = hash(rec);
    std::size_t mask = slots_.size() - 1;
    for (std::size_t s = h & mask;; s = (s + 1) & mask) {
      const std::int32_t v = slots_[s];
      if (v < 0) {
        if (!bytes_.append(rec, record_)) return -1;
        slots_[s] = static_cast<std::int32_t>(count_);
        hashes_ok_ = hashes_.push_back(h) && hashes_ok_;
        if (!hashes_ok_) return -1;
        return static_cast<std::int32_t>(count_++);
      }
      if (hashes_[static_cast<std::size_t>(v)] == h && std::memcmp(at(static_cast<std::size_t>(v)), rec, record_) == 0)
        return v;
    }
  }

 private:
  std::uint64_t hash(const std::uint8_t* rec) const noexcept {
    std::uint64_t h = 0x9E3779B97F4A7C15ULL;
    for (std::size_t i = 0; i < record_; i += 8) {
      std::uint64_t w;
      std::memcpy(&w, rec + i, 8);
      h = (h ^ w) * 0xFF51AFD7ED558CCDULL;
      h ^= h >> 29;
    }
    return h;
  }
  bool rehash(std::size_t n) noexcept {
    Vec<std::int32_t> fresh;
    if (!fresh.resize(n, -1)) return false;
    for (std::size_t i = 0; i < count_; ++i) {
      for (std::size_t s = hashes_[i] & (n - 1);; s = (s + 1) & (n - 1)) {
        if (fresh[s] < 0) {
          fresh[s] = static_cast<std::int32_t>(i);
          break;
        }
      }
    }
    slots_ = static_cast<Vec<std::int32_t>&&>(fresh);
    return true;
  }

  std::size_t record_;
  std::size_t count_ = 0;
  bool hashes_ok_ = true;
  Vec<std::uint8_t> bytes_;
  Vec<std::int32_t> slots_;
  Vec<std::uint64_t> hashes_;
};

struct TempNode {
  std::int32_t cls;         // class record, -1 none
  std::int32_t data;        // data record, -1 none
  std::uint32_t first_ref;  // first entry of its children in refs
  std::uint32_t children;
};

struct Builder {
  TablePool classes{kClassRecord};
  TablePool data{kDataRecord};
  Vec<TempNode> nodes;
  Vec<std::uint32_t> refs;  // child node numbers; a node's children are contiguous
  std::uint16_t default_data = 0;
};

std::uint32_t count_more(const std::uint8_t* cls) noexcept {
  std::uint32_t k = 0;
  for (int b = 0; b < 256; ++b) k += cls[b] == codeset::kMore ? 1 : 0;
  return k;
}

// Run records into a 256-entry table of `width`-byte values.
Err read_runs(LcoInput& in, std::uint8_t* table, bool is_class) noexcept {
  for (;;) {
    std::uint32_t start, w, r;
    if (Err e = in.hex(2, start); e != Err::None) return e;
    if (Err e = in.hex(3, w); e != Err::None) return e;
    if (Err e = in.hex(3, r); e != Err::None) return e;
    if (w == 0) {
      in.skip_space();
      return Err::None;
    }
    if (w > 256 || start > 255) return Err::BadType;
    std::uint16_t vals[256];
    for (std::uint32_t j = 0; j < w; ++j) {
      std::uint32_t v;
      if (is_class) {
        if (Err e = in.hex(2, v); e != Err::None) return e;
      } else {
        in.skip_space();
        if (Err e = in.hex(4, v); e != Err::None) return e;
      }
      vals[j] = static_cast<std::uint16_t>(v);
    }
    if (r > 256 || static_cast<std::uint64_t>(start) + static_cast<std::uint64_t>(r) * w > 256) return Err::BadType;
    for (std::uint32_t k = 0; k < r; ++k) {
      for (std::uint32_t j = 0; j < w; ++j) {
        const std::size_t pos = start + k * w + j;
        if (is_class) {
          table[pos] = static_cast<std::uint8_t>(vals[j]);
        } else {
          std::memcpy(table + 2 * pos, &vals[j], 2);
        }
      }
    }
    in.skip_space();
  }
}

// One class table: the classes and the index map made from them (the
// running number of class-1 bytes).
Err read_class_table(LcoInput& in, Builder& b, std::int32_t& no) noexcept {
  std::uint8_t rec[kClassRecord] = {};
  if (Err e = read_runs(in, rec, true); e != Err::None) return e;
  std::uint8_t k = 0;
  for (int i = 0; i < 256; ++i) {
    rec[256 + i] = k;
    if (rec[i] == codeset::kMore) ++k;
  }
  no = b.classes.intern(rec);
  return no < 0 ? Err::NoMem : Err::None;
}

Err read_data_table(LcoInput& in, Builder& b, std::int32_t& no) noexcept {
  std::uint8_t rec[kDataRecord];
  for (int i = 0; i < 256; ++i) std::memcpy(rec + 2 * i, &b.default_data, 2);
  if (Err e = read_runs(in, rec, false); e != Err::None) return e;
  no = b.data.intern(rec);
  return no < 0 ? Err::NoMem : Err::None;
}

// The node form: a node, then its children depth first.
Err read_node(LcoInput& in, Builder& b, std::uint32_t depth, std::uint32_t& out) noexcept {
  std::int32_t has_cls = 0, has_data = 0;
  if (Err e = in.integer(has_cls); e != Err::None) return e;
  if (Err e = in.integer(has_data); e != Err::None) return e;
  in.skip_space();
  TempNode n{-1, -1, 0, 0};
  if (has_cls != 0) {
    if (Err e = read_class_table(in, b, n.cls); e != Err::None) return e;
    n.children = count_more(b.classes.at(static_cast<std::size_t>(n.cls)));
  }
  if (has_data != 0) {
    if (Err e = read_data_table(in, b, n.data); e != Err::None) return e;
  }
  if (n.children != 0 && depth + 1 >= lco::kMaxSequence) return Err::KeyTooLong;
  n.first_ref = static_cast<std::uint32_t>(b.refs.size());
  out = static_cast<std::uint32_t>(b.nodes.size());
  if (!b.nodes.push_back(n)) return Err::NoMem;
  if (!b.refs.resize(b.refs.size() + n.children, 0)) return Err::NoMem;
  for (std::uint32_t j = 0; j < n.children; ++j) {
    std::uint32_t child;
    if (Err e = read_node(in, b, depth + 1, child); e != Err::None) return e;
    b.refs[n.first_ref + j] = child;
  }
  return Err::None;
}

// The compact form: the tables, then the nodes in breadth-first order.
Err read_compact(LcoInput& in, Builder& b) noexcept {
  std::int32_t n_nodes = 0, n_tables = 0;
  if (Err e = in.integer(n_nodes); e != Err::None) return e;
  if (Err e = in.integer(n_tables); e != Err::None) return e;
  in.skip_space();
  // Every node and every table takes at least a few characters.
  if (n_nodes < 1 || n_tables < 0 || static_cast<std::size_t>(n_nodes) > in.remaining() ||
      static_cast<std::size_t>(n_tables) > in.remaining())
    return Err::BadType;
  Vec<std::int32_t> kind, number;
  if (!kind.resize(static_cast<std::size_t>(n_tables), 0) || !number.resize(static_cast<std::size_t>(n_tables), 0))
    return Err::NoMem;
  for (std::int32_t t = 0; t < n_tables; ++t) {
    std::int32_t k = 0;
    if (Err e = in.integer(k); e != Err::None) return e;
    in.skip_space();
    Err e = Err::BadType;
    if (k == lco::kTableClass) e = read_class_table(in, b, number[static_cast<std::size_t>(t)]);
    if (k == lco::kTableData) e = read_data_table(in, b, number[static_cast<std::size_t>(t)]);
    if (e != Err::None) return e;
    kind[static_cast<std::size_t>(t)] = k;
  }
  Vec<std::uint8_t> depth;
  if (!b.nodes.reserve(static_cast<std::size_t>(n_nodes)) || !depth.resize(static_cast<std::size_t>(n_nodes), 0) ||
      !b.refs.reserve(static_cast<std::size_t>(n_nodes)))
    return Err::NoMem;
  std::uint32_t next = 1;  // the next node not yet given a parent
  for (std::int32_t i = 0; i < n_nodes; ++i) {
    std::int32_t c = 0, d = 0;
    if (Err e = in.integer(c); e != Err::None) return e;
    if (Err e = in.integer(d); e != Err::None) return e;
    TempNode n{-1, -1, 0, 0};
    if (c >= 0) {
      if (c >= n_tables || kind[static_cast<std::size_t>(c)] != lco::kTableClass) return Err::BadType;
      n.cls = number[static_cast<std::size_t>(c)];
      n.children = count_more(b.classes.at(static_cast<std::size_t>(n.cls)));
    }
    if (d >= 0) {
      if (d >= n_tables || kind[static_cast<std::size_t>(d)] != lco::kTableData) return Err::BadType;
      n.data = number[static_cast<std::size_t>(d)];
    }
    const std::uint8_t dep = depth[static_cast<std::size_t>(i)];
    if (n.children != 0 && dep + 1u >= lco::kMaxSequence) return Err::KeyTooLong;
    if (static_cast<std::uint64_t>(next) + n.children > static_cast<std::uint64_t>(n_nodes)) return Err::BadType;
    n.first_ref = static_cast<std::uint32_t>(b.refs.size());
    for (std::uint32_t j = 0; j < n.children; ++j) {
      depth[next] = static_cast<std::uint8_t>(dep + 1);
      if (!b.refs.push_back(next++)) return Err::NoMem;
    }
    if (!b.nodes.push_back(n)) return Err::NoMem;
  }
  if (next != static_cast<std::uint32_t>(n_nodes)) return Err::BadType;
  in.skip_space();
  return Err::None;
}

// Moves the builder's nodes and tables into the automaton's shared blocks.
Err finish(Builder& b, Automaton& a) noexcept {
  const std::size_t n = b.nodes.size();
  const std::size_t r = b.refs.size();
  void* block = kw_mem_alloc(n * sizeof(Node) + r * sizeof(Node*));
  if (block == nullptr) return Err::NoMem;
  Node* nodes = static_cast<Node*>(block);
  Node** ptrs = reinterpret_cast<Node**>(nodes + n);
  std::uint8_t* cls = b.classes.release();
  std::uint8_t* data = b.data.release();
  for (std::size_t j = 0; j < r; ++j) ptrs[j] = nodes + b.refs[j];
  // Depths for the shortest and longest sequence: a parent always comes
  // before its children in both forms.
  Vec<std::uint8_t> depth;
  const bool have_depth = depth.resize(n, 0);
  std::uint32_t shortest = lco::kMaxSequence + 1, longest = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const TempNode& t = b.nodes[i];
    Node& node = nodes[i];
    node.next_child = t.children;
    node.class_no = t.cls;
    node.data_no = t.data;
    if (t.cls >= 0) {
      node.cls = cls + static_cast<std::size_t>(t.cls) * kClassRecord;
      node.index = node.cls + 256;
    } else {
      node.cls = codeset::kZeroTable;
      node.index = codeset::kZeroTable;
    }
    node.data = t.data >= 0 ? data + static_cast<std::size_t>(t.data) * kDataRecord : nullptr;
    node.children = t.children != 0 ? ptrs + t.first_ref : nullptr;
    if (!have_depth) continue;
    for (std::uint32_t j = 0; j < t.children; ++j) depth[b.refs[t.first_ref + j]] = static_cast<std::uint8_t>(depth[i] + 1);
    for (int byte = 0; byte < 256 && t.cls >= 0; ++byte) {
      if (node.cls[byte] != codeset::kComplete) continue;
      const std::uint32_t len = depth[i] + 1u;
      if (len < shortest) shortest = len;
      if (len > longest) longest = len;
      break;
    }
    if (t.cls >= 0) {
      for (int byte = 255; byte >= 0; --byte) {
        if (node.cls[byte] != codeset::kComplete) continue;
        const std::uint32_t len = depth[i] + 1u;
        if (len > longest) longest = len;
        break;
      }
    }
  }
  a.root = nodes;
  a.shared_nodes = block;
  a.shared_classes = cls;
  a.shared_data = data;
  a.flags = codeset::kMarkComplete | codeset::kSharedTables;
  a.n_class_tables = a.n_index_maps = static_cast<std::uint32_t>(b.classes.count());
  a.n_data_tables = static_cast<std::uint32_t>(b.data.count());
  a.longest = longest;
  a.shortest = shortest > lco::kMaxSequence ? lco::kMaxSequence : shortest;
  if (!have_depth) return Err::NoMem;
  return Err::None;
}

}  // namespace

// The longest and shortest sequence written before the body are checked
// (a longest above 4 is refused) but not kept: the automaton's lengths are
// measured from the nodes actually read, so that a file that misstates them
// cannot make the codec read beyond a character.
Result<codeset::Automaton*> read_automaton(LcoInput& in) noexcept {
  std::int32_t longest = 0, shortest = 0, flags = 0;
  if (Err e = in.integer(longest); e != Err::None) return e;
  if (Err e = in.integer(shortest); e != Err::None) return e;
  if (Err e = in.integer(flags); e != Err::None) return e;
  if (longest > static_cast<std::int32_t>(lco::kMaxSequence)) return Err::KeyTooLong;
  in.skip_space();
  std::uint32_t def = 0;
  if (Err e = in.hex(4, def); e != Err::None) return e;
  in.skip_space();
  Builder b;
  b.default_data = static_cast<std::uint16_t>(def);
  Err e = (static_cast<std::uint32_t>(flags) & lco::kFlagCompact) != 0 ? read_compact(in, b) : [&] {
    std::uint32_t root = 0;
    return read_node(in, b, 0, root);
  }();
  if (e != Err::None) return e;
  auto made = codeset::automaton_create_empty(2, &b.default_data);
  if (!made) return made.error();
  Automaton* a = *made;
  e = finish(b, *a);
  if (e != Err::None) {
    codeset::automaton_release(a);
    return e;
  }
  return a;
}

}  // namespace kw::locale
