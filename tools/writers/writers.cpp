// Text helpers shared by the object-file writers.
#include "writers.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace kw::writers {

namespace {
constexpr char kHex[] = "0123456789ABCDEF";
}

void put_hex_bytes(std::string& out, const std::uint8_t* bytes, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    out.push_back(kHex[bytes[i] >> 4]);
    out.push_back(kHex[bytes[i] & 15]);
  }
}

void put_hex(std::string& out, std::uint32_t value, int digits) {
  for (int i = digits - 1; i >= 0; --i) out.push_back(kHex[(value >> (4 * i)) & 15]);
}

bool write_file(const std::string& path, const std::string& text, std::string& error) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path p(path);
  if (p.has_parent_path()) fs::create_directories(p.parent_path(), ec);
  const std::string tmp = path + ".tmp";
  std::FILE* f = std::fopen(tmp.c_str(), "wb");
  if (f == nullptr) {
    error = "cannot create " + tmp;
    return false;
  }
  const bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  const bool closed = std::fclose(f) == 0;
  if (!written || !closed) {
    error = "cannot write " + tmp;
    std::remove(tmp.c_str());
    return false;
  }
  fs::rename(tmp, p, ec);
  if (ec) {
    error = "cannot rename " + tmp + " to " + path + ": " + ec.message();
    return false;
  }
  return true;
}

}  // namespace kw::writers
