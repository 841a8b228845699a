// Building charmap and conversion objects from charmaps.
#include "objects.h"

#include <unordered_set>

#include "codeset/charmap.h"

namespace kw::localedef {

namespace {

std::vector<std::uint8_t> bytes_of(const Bytes& b) {
  std::vector<std::uint8_t> out;
  for (int i = 0; i < b.len; ++i) out.push_back(b.byte(i));
  return out;
}

}  // namespace

writers::CmoSource make_cmo(const Charmap& cm) {
  writers::CmoSource out;
  out.codeset = cm.name;
  for (std::size_t i = 0; i < cm.chars.size(); ++i) {
    if (cm.in_range[i]) continue;
    const CharmapChar& c = cm.chars[i];
    std::string name = c.name;
    if (c.ucs != kNoCodePoint) {
      char buf[16];
      std::snprintf(buf, sizeof buf, c.ucs > 0xFFFF ? "U%08X" : "U%04X", c.ucs);
      name = buf;
    }
    out.symbols.push_back(writers::CmoSymbol{name, bytes_of(c.bytes)});
  }
  for (const CharmapRange& r : cm.ranges) {
    std::vector<writers::NumberedChar> chars;
    chars.reserve(r.count);
    for (std::uint32_t k = 0; k < r.count; ++k)
      chars.push_back({static_cast<std::int64_t>(r.first_number) + k, bytes_of(cm.chars[r.first_char + k].bytes)});
    const std::int32_t format = r.digits | (r.hex ? kw::codeset::kRangeHex : 0);
    for (writers::CmoRange& piece : writers::make_ranges(r.prefix, format, chars)) out.ranges.push_back(std::move(piece));
  }
  return out;
}

writers::CvoSource make_cvo(const Charmap& from, const Charmap& to, const std::optional<Bytes>& substitute) {
  writers::CvoSource out;
  std::unordered_set<std::uint64_t> seen;
  for (const CharmapChar& c : from.chars) {
    if (!seen.insert(c.bytes.key()).second) continue;  // bytes listed twice: the first name wins
    const CharmapChar* t = c.ucs != kNoCodePoint ? to.find_ucs(c.ucs) : to.find_name(c.name);
    writers::CvoMapping m;
    m.in = bytes_of(c.bytes);
    if (t != nullptr) {
      m.flags = writers::kCvoMapped;
      m.out = bytes_of(t->bytes);
    } else if (substitute) {
      m.flags = writers::kCvoSubstitute;
      m.out = bytes_of(*substitute);
    } else {
      continue;
    }
    if (c.bytes.value == 0 && t != nullptr && t->bytes.value == 0) m.flags |= writers::kCvoEndsString;
    out.forward.push_back(std::move(m));
  }
  out.header_extra = {"SOURCE=" + from.name, "TARGET=" + to.name};
  writers::cvo_fill_lengths(out);
  return out;
}

}  // namespace kw::localedef
