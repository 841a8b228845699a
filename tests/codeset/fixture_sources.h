// The code sets that the codeset tests load: built here, written to .cmo
// files by the fixture generator, and rebuilt by the round-trip test to
// compare against what the loader read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cmo_writer.h"

namespace kw::testing {

struct CodesetFixture {
  std::string registry_name;  // the name tests load it by
  std::uint16_t number;       // its registry number
  std::string file_name;      // "%04x.cmo" of the number
  kw::writers::CmoSource source;
};

// 8859-1 (819, single byte), unicode (57349, all two bytes), eucjp (5050,
// one to three bytes) and utf8 (57372, written as ranges).
std::vector<CodesetFixture> codeset_fixtures();

// The registry file naming them.
std::string fixture_registry();

// UTF-8 bytes of code point `cp`.
std::vector<std::uint8_t> utf8_bytes(std::uint32_t cp);

}  // namespace kw::testing
