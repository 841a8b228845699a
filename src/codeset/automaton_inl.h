// Template members of the charmap automaton.
#pragma once

namespace kw::codeset::detail {

template <class Visit>
bool for_each_node(const Automaton& a, const Node* node, std::uint8_t* seq, std::size_t depth,
                   Visit& visit) noexcept {
  for (unsigned b = 0; b < 256; ++b) {
    const std::uint8_t c = node->cls[b];
    if (c == kIllegal) continue;
    seq[depth] = static_cast<std::uint8_t>(b);
    if (c == kComplete) {
      if (!visit(static_cast<const std::uint8_t*>(seq), depth + 1,
                 automaton_data(a, node, static_cast<std::uint8_t>(b))))
        return false;
    } else if (c == kMore && depth + 1 < kMaxSequence) {
      if (!for_each_node(a, node->children[node->index[b]], seq, depth + 1, visit)) return false;
    }
  }
  return true;
}

}  // namespace kw::codeset::detail

namespace kw::codeset {

template <class Visit>
bool automaton_for_each(const Automaton& a, Visit&& visit) noexcept {
  std::uint8_t seq[kMaxSequence] = {};
  return detail::for_each_node(a, a.root, seq, 0, visit);
}

}  // namespace kw::codeset
