// Charmap automaton: creation, insertion, wide lookup and release.
#include "codeset/automaton.h"

#include <atomic>
#include <cstring>

#include "frame/mem.h"

namespace kw::codeset {

const std::uint8_t kZeroTable[256] = {};

#define KW_Z4 kZeroTable, kZeroTable, kZeroTable, kZeroTable
#define KW_Z16 KW_Z4, KW_Z4, KW_Z4, KW_Z4
#define KW_Z64 KW_Z16, KW_Z16, KW_Z16, KW_Z16
const std::uint8_t* const kNoThird[256] = {KW_Z64, KW_Z64, KW_Z64, KW_Z64};
#define KW_N4 kNoThird, kNoThird, kNoThird, kNoThird
#define KW_N16 KW_N4, KW_N4, KW_N4, KW_N4
#define KW_N64 KW_N16, KW_N16, KW_N16, KW_N16
const FastTables kNoFast = {{}, {KW_N64, KW_N64, KW_N64, KW_N64}, 0, {}};
#undef KW_N64
#undef KW_N16
#undef KW_N4
#undef KW_Z64
#undef KW_Z16
#undef KW_Z4

namespace {

// Largest per-character data accepted; data tables are 256 slots of the
// rounded-up size, so this bounds one table at 1 MiB.
constexpr std::uint32_t kMaxDataSize = 4096;

// FastTables::block_state: the block sets not yet computed, being computed,
// computed, or not applicable (no two-byte characters to decode in blocks).
constexpr std::uint32_t kBlockUnknown = 0;
constexpr std::uint32_t kBlockBusy = 1;
constexpr std::uint32_t kBlockReady = 2;
constexpr std::uint32_t kBlockNone = 3;

constexpr std::uint32_t shift_for(std::uint32_t size) noexcept {
  std::uint32_t shift = 0;
  while ((1u << shift) < size) ++shift;
  return shift;
}
static_assert(shift_for(1) == 0 && shift_for(2) == 1 && shift_for(3) == 2 && shift_for(4) == 2 &&
              shift_for(5) == 3 && shift_for(0) == 0);

// Children arrays grow in powers of two, so the capacity of an array holding
// `n` pointers is the smallest power of two >= n (0 for none). A node needs a
// larger array exactly when `n` is 0 or itself a power of two.
constexpr bool children_full(std::uint32_t n) noexcept { return (n & (n - 1)) == 0; }
static_assert(children_full(0) && children_full(1) && children_full(2) && !children_full(3) &&
              children_full(4) && !children_full(255) && children_full(256));

// Makes the node's class table its own (writable) block.
bool own_class(Automaton& a, Node& node) noexcept {
  if (node.cls != kZeroTable) return true;
  std::uint8_t* t = alloc_zeroed<std::uint8_t>(256);
  if (t == nullptr) return false;
  node.cls = t;
  node.class_no = -1;
  ++a.n_class_tables;
  return true;
}

bool own_index(Automaton& a, Node& node) noexcept {
  if (node.index != kZeroTable) return true;
  std::uint8_t* t = alloc_zeroed<std::uint8_t>(256);
  if (t == nullptr) return false;
  node.index = t;
  ++a.n_index_maps;
  return true;
}

// Makes sure the node has room for one more child pointer.
bool reserve_child(Node& node) noexcept {
  const std::uint32_t n = node.next_child;
  if (!children_full(n)) return true;
  const std::uint32_t cap = n == 0 ? 1 : n * 2;
  Node** p = alloc_array<Node*>(cap);
  if (p == nullptr) return false;
  if (n != 0) std::memcpy(static_cast<void*>(p), node.children, n * sizeof(Node*));
  kw_mem_free(node.children);
  node.children = p;
  return true;
}

// Gives the node a data table with every slot set to the default data.
bool own_data(Automaton& a, Node& node) noexcept {
  if (node.data != nullptr) return true;
  const std::size_t slot = std::size_t{1} << a.data_shift;
  std::uint8_t* t = alloc_zeroed<std::uint8_t>(256 * slot);
  if (t == nullptr) return false;
  if (a.default_data != nullptr) {
    for (std::size_t b = 0; b < 256; ++b) std::memcpy(t + b * slot, a.default_data, a.data_size);
  }
  node.data = t;
  node.data_no = -1;
  ++a.n_data_tables;
  return true;
}

// Derived tables: an empty set (no pairs, every row kNoThird).
FastTables* fast_create() noexcept {
  auto* f = alloc_array<FastTables>(1);
  if (f == nullptr) return nullptr;
  std::memset(f->pairs, 0, sizeof f->pairs);
  for (auto& row : f->third) row = kNoThird;
  f->block_state = kBlockUnknown;
  return f;
}

void fast_release(FastTables* f) noexcept {
  if (f == nullptr) return;
  for (const std::uint8_t* const* row : f->third) {
    if (row != kNoThird) kw_mem_free(const_cast<const std::uint8_t**>(row));
  }
  kw_mem_free(f);
}

// Gives first byte `b0` its own row of third-level class tables.
bool fast_own_row(FastTables& f, std::uint8_t b0) noexcept {
  if (f.third[b0] != kNoThird) return true;
  auto* row = alloc_array<const std::uint8_t*>(256);
  if (row == nullptr) return false;
  for (unsigned k = 0; k < 256; ++k) row[k] = kZeroTable;
  f.third[b0] = row;
  return true;
}

// The child a byte of class kMore leads to, or null for any other class.
const Node* child_of(const Node* node, std::uint8_t b) noexcept {
  return node->cls[b] == kMore ? node->children[node->index[b]] : nullptr;
}

// Brings the derived entries of the first two bytes `b0 b1` in line with
// the nodes. The row of b0 must be its own when b0 b1 lead to a node.
void fast_update(FastTables& f, const Node* root, std::uint8_t b0, std::uint8_t b1) noexcept {
  const Node* n1 = child_of(root, b0);
  const std::uint32_t pair = (std::uint32_t{b0} << 8) | b1;
  const std::uint64_t bit = std::uint64_t{1} << (pair & 63);
  if (n1 != nullptr && n1->cls[b1] == kComplete) {
    f.pairs[pair >> 6] |= bit;
  } else f.pairs[pair >> 6] &= ~bit;
  const Node* n2 = n1 != nullptr ? child_of(n1, b1) : nullptr;
  if (f.third[b0] != kNoThird) const_cast<const std::uint8_t**>(f.third[b0])[b1] = n2 != nullptr ? n2->cls : kZeroTable;
}

void release_node(Node* node, bool shared) noexcept {
  for (std::uint32_t i = 0; i < node->next_child; ++i) release_node(node->children[i], shared);
  if (node->class_no < 0) {
    if (node->cls != kZeroTable) kw_mem_free(const_cast<std::uint8_t*>(node->cls));
    if (node->index != kZeroTable) kw_mem_free(const_cast<std::uint8_t*>(node->index));
  }
  if (node->data_no < 0) kw_mem_free(node->data);
  if (shared) return;  // the node and its children array live in shared_nodes
  kw_mem_free(node->children);
  kw_mem_free(node);
}

Err insert_nodes(Automaton& a, const std::uint8_t* seq, std::size_t n, const void* data) noexcept;

}  // namespace

void node_init(Node& node) noexcept {
  node.next_child = 0;
  node.class_no = -1;
  node.data_no = -1;
  node.cls = kZeroTable;
  node.index = kZeroTable;
  node.data = nullptr;
  node.children = nullptr;
}

Node* node_create() noexcept {
  Node* node = alloc_array<Node>(1);
  if (node != nullptr) node_init(*node);
  return node;
}

Result<Automaton*> automaton_create_empty(std::uint32_t data_size, const void* default_data) noexcept {
  if (data_size > kMaxDataSize) return Err::Inval;
  Automaton* a = alloc_array<Automaton>(1);
  if (a == nullptr) return Err::NoMem;
  std::memset(static_cast<void*>(a), 0, sizeof *a);
  a->data_size = data_size;
  a->longest = 0;
  a->shortest = kMaxSequence;
  a->flags = kMarkComplete;
  a->data_shift = shift_for(data_size);
  if (data_size != 0) {
    a->default_data = alloc_zeroed<std::uint8_t>(data_size);
    if (a->default_data == nullptr) {
      kw_mem_free(a);
      return Err::NoMem;
    }
    if (default_data != nullptr) std::memcpy(a->default_data, default_data, data_size);
  }
  return a;
}

Result<Automaton*> automaton_create(std::uint32_t data_size, const void* default_data) noexcept {
  Result<Automaton*> r = automaton_create_empty(data_size, default_data);
  if (!r) return r;
  Automaton* a = *r;
  a->root = node_create();
  if (a->root == nullptr) {
    automaton_release(a);
    return Err::NoMem;
  }
  return a;
}

void automaton_release(Automaton* a) noexcept {
  if (a == nullptr) return;
  const bool shared = (a->flags & kSharedTables) != 0;
  if (a->root != nullptr) release_node(a->root, shared);
  kw_mem_free(a->shared_nodes);
  kw_mem_free(a->shared_classes);
  kw_mem_free(a->shared_data);
  fast_release(a->fast);
  kw_mem_free(a->default_data);
  kw_mem_free(a);
}

Err automaton_insert(Automaton& a, const std::uint8_t* seq, std::size_t n, const void* data) noexcept {
  if (n < 1 || n > kMaxSequence || seq == nullptr || a.root == nullptr) return Err::BadType;
  if ((a.flags & kSharedTables) != 0) return Err::BadType;
  // The derived tables exist from the first character of two bytes or more
  // on, and a row of third-level tables from the first one of three bytes or
  // more: both are allocated before any node changes.
  if (n >= 2 && a.fast == nullptr && (a.fast = fast_create()) == nullptr) return Err::NoMem;
  if (n >= 3 && !fast_own_row(*a.fast, seq[0])) return Err::NoMem;
  if (a.fast != nullptr) a.fast->block_state = kBlockUnknown;
  const Err e = insert_nodes(a, seq, n, data);
  // Class tables may have been made (and classes set) even on failure.
  if (n >= 2) fast_update(*a.fast, a.root, seq[0], seq[1]);
  return e;
}

Err automaton_prepare(Automaton& a) noexcept {
  fast_release(a.fast);
  a.fast = nullptr;
  if (a.root == nullptr) return Err::None;
  FastTables* f = fast_create();
  if (f == nullptr) return Err::NoMem;
  for (unsigned b0 = 0; b0 < 256; ++b0) {
    const Node* n1 = child_of(a.root, static_cast<std::uint8_t>(b0));
    if (n1 == nullptr) continue;
    for (unsigned b1 = 0; b1 < 256; ++b1) {
      if (n1->cls[b1] == kMore && !fast_own_row(*f, static_cast<std::uint8_t>(b0))) {
        fast_release(f);
        return Err::NoMem;
      }
      fast_update(*f, a.root, static_cast<std::uint8_t>(b0), static_cast<std::uint8_t>(b1));
    }
  }
  a.fast = f;
  return Err::None;
}

const BlockSets* block_sets(const Automaton& a) noexcept {
  if (a.fast == nullptr || a.root == nullptr) return nullptr;
  FastTables& f = *a.fast;
  std::atomic_ref<std::uint32_t> state(f.block_state);
  std::uint32_t now = state.load(std::memory_order_acquire);
  if (now == kBlockUnknown) {
    std::uint32_t expected = kBlockUnknown;
    if (!state.compare_exchange_strong(expected, kBlockBusy, std::memory_order_acquire)) return nullptr;
    BlockSets sets{};
    bool any_lead = false;
    sets.high_lead = true;
    for (unsigned b = 0; b < 256; ++b) {
      const std::uint8_t c = a.root->cls[b];
      ByteSet* set = nullptr;
      if (c == kComplete && b != 0) set = &sets.single;
      if (c == kMore && f.third[b] == kNoThird) set = &sets.lead;
      if (b != 0 && b < 0x80 && set != &sets.single) sets.high_lead = false;
      if (b < 0x80 && set == &sets.lead) sets.high_lead = false;
      if (set == nullptr) continue;
      set->rows[b >> 7][b & 15] |= static_cast<std::uint8_t>(1u << ((b >> 4) & 7));
      any_lead |= set == &sets.lead;
    }
    // Pairs with a second byte below 0x80: bits 0..127 of each first
    // byte's 256, the first two words of its four.
    for (unsigned b0 = 0; b0 < 256 && sets.high_lead; ++b0) {
      if ((f.pairs[4 * b0] | f.pairs[4 * b0 + 1]) != 0) sets.high_lead = false;
    }
    f.block = sets;
    now = any_lead ? kBlockReady : kBlockNone;
    state.store(now, std::memory_order_release);
  }
  return now == kBlockReady ? &f.block : nullptr;
}

namespace {

Err insert_nodes(Automaton& a, const std::uint8_t* seq, std::size_t n, const void* data) noexcept {
  Node* node = a.root;
  // Every step first makes all allocations it needs and only then links the
  // new pieces, so a failed allocation leaves a consistent automaton (extra
  // zero tables are owned by their nodes and released with them).
  for (std::size_t i = 0; i + 1 < n; ++i) {
    const std::uint8_t b = seq[i];
    const std::uint8_t c = node->cls[b];
    if (c == kMore) {
      node = node->children[node->index[b]];
      continue;
    }
    if (c != kIllegal) return Err::BadType;  // a complete character is a prefix of seq
    if (node->next_child >= 256) return Err::BadType;
    if (!own_class(a, *node) || !own_index(a, *node) || !reserve_child(*node)) return Err::NoMem;
    Node* child = node_create();
    if (child == nullptr) return Err::NoMem;
    const std::uint32_t k = node->next_child++;
    node->children[k] = child;
    const_cast<std::uint8_t*>(node->index)[b] = static_cast<std::uint8_t>(k);
    const_cast<std::uint8_t*>(node->cls)[b] = kMore;
    node = child;
  }
  const std::uint8_t last = seq[n - 1];
  const std::uint8_t c = node->cls[last];
  if (c == kMore) return Err::BadType;  // seq is a prefix of longer characters
  if ((a.flags & kMarkComplete) != 0 && !own_class(a, *node)) return Err::NoMem;
  if (data != nullptr && a.data_size != 0) {
    if (!own_data(a, *node)) return Err::NoMem;
    std::memcpy(node->data + (static_cast<std::size_t>(last) << a.data_shift), data, a.data_size);
  }
  if ((a.flags & kMarkComplete) != 0) const_cast<std::uint8_t*>(node->cls)[last] = kComplete;
  const auto len = static_cast<std::uint32_t>(n);
  if (len > a.longest) a.longest = len;
  if (len < a.shortest) a.shortest = len;
  return Err::None;
}

}  // namespace

Match automaton_lookup_wide(const Automaton& a, std::uint32_t v, std::uint8_t* out) noexcept {
  const std::uint32_t n = wide_length(a, v);
  if (n < 1 || n > kMaxSequence || a.root == nullptr) return Match{0, 0, nullptr, 0, Err::Ilseq};
  const Node* node = a.root;
  for (std::uint32_t i = 0; i < n; ++i) {
    const auto b = static_cast<std::uint8_t>(v >> (8 * (n - 1 - i)));
    const std::uint8_t c = node->cls[b];
    out[i] = b;
    if (i + 1 == n) {
      if (c != kComplete) break;
      return Match{n, v, node, b, Err::None};
    }
    if (c != kMore) break;
    node = node->children[node->index[b]];
  }
  return Match{0, 0, nullptr, 0, Err::Ilseq};
}

}  // namespace kw::codeset
