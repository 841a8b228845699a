// Charmap automaton: creation, insertion, wide lookup and release.
#include "codeset/automaton.h"

namespace kw::codeset {

const std::uint8_t kZeroTable[256] = {};

}  // namespace kw::codeset
