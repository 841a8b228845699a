// Building the charmap-object and conversion-object writers' inputs from
// charmaps.
#pragma once

#include <optional>
#include <string>

#include "charmap.h"
#include "cmo_writer.h"
#include "cvo_writer.h"

namespace kw::localedef {

// The charmap object of `cm`: single characters by name, and each range
// line as the ranges that the loader's byte-wise counting reproduces.
writers::CmoSource make_cmo(const Charmap& cm);

// The conversion from `from` to `to`: characters are matched by symbol
// name. A character `to` lacks is left unmapped, or, with `substitute`,
// mapped to those bytes flagged as a substitution. The NUL character ends
// strings.
writers::CvoSource make_cvo(const Charmap& from, const Charmap& to, const std::optional<Bytes>& substitute);

}  // namespace kw::localedef
