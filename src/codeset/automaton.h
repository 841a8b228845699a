// The charmap automaton: the byte-by-byte recogniser of a code set's
// characters, with per-character data of any size. One type serves charmap
// objects, locale objects (CTYPE and COLLATE), and conversion tables.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/err.h"

namespace kw::codeset {

// Byte classes of a node's class table.
inline constexpr std::uint8_t kIllegal = 0;   // the byte cannot occur here
inline constexpr std::uint8_t kMore = 1;      // more bytes follow: descend
inline constexpr std::uint8_t kComplete = 4;  // the byte completes a character

// Automaton flags.
inline constexpr std::uint32_t kMarkComplete = 1;  // insert marks the last byte kComplete
inline constexpr std::uint32_t kSharedTables = 2;  // node tables live in shared blocks

inline constexpr std::uint32_t kMaxSequence = 4;  // bytes of the longest character

// One node of the automaton.
//
// Invariants the walk relies on: `cls` and `index` are never null (absent
// tables point at the shared all-zero table, so every byte is kIllegal and
// maps to child 0); a byte of class kMore always has children[index[b]].
// `data`, when not null, holds 256 slots of (1 << data_shift) bytes; slot b
// is the data of the character that ends with byte b in this node.
struct Node {
  std::uint32_t next_child;  // children allocated so far
  std::int32_t class_no;     // shared class-table number, -1 when own
  std::int32_t data_no;      // shared data-table number, -1 when own
  const std::uint8_t* cls;   // 256 classes
  const std::uint8_t* index; // 256 child numbers
  std::uint8_t* data;        // per-character data, null when absent
  Node** children;           // next_child pointers (grown as needed), or null
};

// A set of byte values in the form the block decoder's shuffles read: byte
// b is in the set when bit ((b >> 4) & 7) of rows[b >> 7][b & 15] is set.
struct ByteSet {
  std::uint8_t rows[2][16];
};

// Byte sets for decoding sixteen bytes at a time (see block_sets).
struct BlockSets {
  ByteSet lead;    // bytes that begin two-byte characters and no longer ones
  ByteSet single;  // one-byte characters other than 0
  // The lead bytes are bytes from 0x80 up, the bytes 0x01..0x7F are
  // one-byte characters, and no two-byte character has a second byte below
  // 0x80 (EUC): the block decoder may then take every high byte for a lead
  // (a high one-byte character, such as a C1 control, fails its block).
  bool high_lead;
};

// Tables derived from the node graph for the codec's fast paths, owned by
// the automaton. automaton_insert keeps them in step with the nodes;
// automata whose nodes are built elsewhere get them from automaton_prepare.
// Absent (null) until then, and readers fall back to the general walk.
struct FastTables {
  // Bit (b0 << 8 | b1) is set when the bytes b0 b1 form a complete character.
  std::uint64_t pairs[1024];
  // For first byte b0: indexed by the second byte, the class table of the
  // node the two bytes lead to (kZeroTable where they lead to no node).
  const std::uint8_t* const* third[256];
  // Filled on first use by block_sets, which alone reads and writes
  // block_state (atomically); insertion resets the state.
  std::uint32_t block_state;
  BlockSets block;
};

// Derived tables that match no character: stand-ins for readers of an
// automaton without its own.
extern const FastTables kNoFast;

struct Automaton {
  std::uint32_t data_size;   // bytes of data per character
  std::uint32_t longest;     // most bytes of any inserted character (0 when empty)
  std::uint32_t shortest;    // fewest bytes (4 when empty)
  std::uint32_t flags;       // kMarkComplete, kSharedTables
  std::uint32_t n_data_tables, n_class_tables, n_index_maps;  // statistics only
  Node* root;
  std::uint8_t* default_data;  // data_size bytes
  std::uint32_t data_shift;    // log2 of data_size rounded up to a power of two
  // Shared storage of automata read in the compact form (kSharedTables):
  // the node array, the class/index tables and the data tables. Null otherwise.
  void* shared_nodes;
  void* shared_classes;
  void* shared_data;
  // Derived tables for the fast paths (see FastTables); null when absent.
  FastTables* fast;
};

// The all-zero 256-byte table that absent class tables and index maps use.
extern const std::uint8_t kZeroTable[256];

// 256 pointers to kZeroTable: the FastTables::third row of a first byte that
// leads to no node of depth two.
extern const std::uint8_t* const kNoThird[256];

// Creates an empty automaton (flags kMarkComplete) whose characters carry
// `data_size` bytes of data, each initialised from `default_data` (zeros when
// null). Err::NoMem on allocation failure.
Result<Automaton*> automaton_create(std::uint32_t data_size, const void* default_data) noexcept;

// Builds the derived tables (FastTables) of an automaton whose nodes were
// built without automaton_insert (the compact form). Err::NoMem leaves the
// automaton without them, which only costs speed.
Err automaton_prepare(Automaton& a) noexcept;

// The derived tables of `a`, or kNoFast when it has none.
inline const FastTables& fast_tables(const Automaton& a) noexcept {
  return a.fast != nullptr ? *a.fast : kNoFast;
}

// The byte sets of the block decoder for `a`, or null when its code set
// has no two-byte characters whose first byte begins nothing longer (or
// no derived tables). Computed once and kept with the derived tables; safe
// to call from several threads (a caller that finds them being computed
// gets null and decodes without them).
const BlockSets* block_sets(const Automaton& a) noexcept;

// Whether the two bytes of `pair` (first byte high) form a complete character.
inline bool fast_pair(const FastTables& f, std::uint32_t pair) noexcept {
  return ((f.pairs[pair >> 6] >> (pair & 63)) & 1) != 0;
}

// Releases the automaton and every table it owns; null is ignored. Shared
// storage (kSharedTables) is released block by block, not node by node.
// Ownership rules: a node's class table and index map are its own blocks when
// class_no < 0 and they are not kZeroTable; its data table is its own block
// when data_no < 0 and it is not null. Without kSharedTables every node and
// its children array are single blocks too; with kSharedTables the nodes and
// their children arrays live in shared_nodes and are not released one by one.
void automaton_release(Automaton* a) noexcept;

// For loaders that build the node graph themselves (the compact form):
// an automaton like automaton_create's but without a root node (root null;
// the caller sets root, flags and the shared blocks). Err::Inval when
// data_size is above 4096, Err::NoMem on allocation failure.
Result<Automaton*> automaton_create_empty(std::uint32_t data_size, const void* default_data) noexcept;

// Sets `node` to an empty node: no children, own (-1) table numbers, class
// table and index map kZeroTable, no data.
void node_init(Node& node) noexcept;

// Allocates one empty node (node_init) through kw_mem_alloc; null on failure.
Node* node_create() noexcept;

// Inserts the character `seq` of `n` bytes (1..4). With kMarkComplete the last
// byte becomes kComplete, the others kMore. `data` (data_size bytes, may be
// null: no data) is stored in the character's slot. Updates longest/shortest.
// Err::NoMem on allocation failure (the automaton stays usable and holds no
// half-linked node); Err::BadType when n is outside 1..4, the automaton uses
// shared tables, or the sequence conflicts with an existing one (a prefix of,
// or extending, a complete character). Inserting a character again only
// replaces its data (when given). The derived tables follow every insert
// (their blocks are allocated before any node changes).
Err automaton_insert(Automaton& a, const std::uint8_t* seq, std::size_t n, const void* data) noexcept;

// The outcome of recognising one character.
struct Match {
  std::uint32_t len;    // bytes consumed; 0 on failure
  std::uint32_t value;  // the wide value: the bytes read big-endian
  const Node* node;     // the node holding the last byte
  std::uint8_t last;    // the last byte
  Err err;              // None, Short (input ended inside the character) or Ilseq
};

// Recognises the character at `s`, reading at most `limit` bytes (limit >= 1).
// Touches the class table and index map of one node per byte; allocates nothing.
inline Match automaton_walk(const Automaton& a, const std::uint8_t* s, std::size_t limit) noexcept;

// The same walk starting at `node` instead of the root (the value then holds
// only the bytes read from `s`). Used by decoders that recognise the first
// bytes themselves.
inline Match node_walk(const Node* node, const std::uint8_t* s, std::size_t limit) noexcept {
  std::uint8_t b = s[0];
  std::uint32_t value = b;
  std::uint8_t c = node->cls[b];
  std::size_t used = 1;
  while (c == kMore) {
    if (used >= limit) return Match{0, 0, nullptr, 0, Err::Short};
    node = node->children[node->index[b]];
    b = s[used++];
    value = (value << 8) | b;
    c = node->cls[b];
  }
  if (c != kComplete) return Match{0, 0, nullptr, 0, Err::Ilseq};
  return Match{static_cast<std::uint32_t>(used), value, node, b, Err::None};
}

inline Match automaton_walk(const Automaton& a, const std::uint8_t* s, std::size_t limit) noexcept {
  return node_walk(a.root, s, limit);
}

// The data of the character that ends with byte `last` in `node`: its slot,
// or the automaton's default data when the node has no data table.
inline const std::uint8_t* automaton_data(const Automaton& a, const Node* node, std::uint8_t last) noexcept {
  if (node->data == nullptr) return a.default_data;
  return node->data + (static_cast<std::size_t>(last) << a.data_shift);
}

// The byte count of wide value `v` in this automaton: at least the shortest
// sequence; 2 for values up to 0xFFFF, 3 up to 0xFFFFFF, 4 above (values up
// to 0xFF keep the shortest length).
inline std::uint32_t wide_length(const Automaton& a, std::uint32_t v) noexcept {
  std::uint32_t n = a.shortest;
  if (v > 0xFF) {
    if (v > 0xFFFFFF) n = 4;
    else if (v > 0xFFFF) { if (n < 4) n = 3; }
    else if (n < 3) n = 2;
  }
  return n;
}

// Looks up wide value `v`: writes its bytes to `out` (room for 4) and returns
// the match (err Ilseq when the value has no character).
Match automaton_lookup_wide(const Automaton& a, std::uint32_t v, std::uint8_t* out) noexcept;

// Calls `visit(seq, n, data)` for every character, in byte order. Used by the
// writers and by tests; returns false as soon as `visit` does.
template <class Visit>
bool automaton_for_each(const Automaton& a, Visit&& visit) noexcept;

}  // namespace kw::codeset

#include "codeset/automaton_inl.h"
