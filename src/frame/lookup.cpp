// Object file lookup: the search order for compiled objects and the open of
// locale file names that carry the 0xFF directory marker.
#include "frame/lookup.h"

#include <cstddef>
#include <cstring>

#include "frame/diag.h"
#include "frame/err.h"
#include "frame/hooks.h"
#include "frame/platform.h"
#include "kwa.h"

namespace {

using kw::platform::kSeparator;

constexpr unsigned char kDirMarker = 0xFF;

// KW_PATH is copied to at most this many characters before it is split.
constexpr std::size_t kMaxSearchList = 1024;

// A path that with its terminator fits in kMaxObjectPath bytes. Appending
// past that keeps what fits (for the report) and marks the path as too long;
// such a path is never opened.
class PathBuffer {
 public:
  static constexpr std::size_t kMaxLength = kMaxObjectPath - 1;

  void append(const char* s, std::size_t n) noexcept {
    const std::size_t room = kMaxLength - len_;
    if (n > room) {
      n = room;
      fits_ = false;
    }
    std::memcpy(buf_ + len_, s, n);
    len_ += n;
    buf_[len_] = '\0';
  }
  void append(const char* s) noexcept { append(s, std::strlen(s)); }
  void append(char c) noexcept { append(&c, 1); }
  void mark_too_long() noexcept { fits_ = false; }
  char last() const noexcept { return len_ == 0 ? '\0' : buf_[len_ - 1]; }
  bool fits() const noexcept { return fits_; }
  const char* c_str() const noexcept { return buf_; }

 private:
  char buf_[kMaxObjectPath] = {};
  std::size_t len_ = 0;
  bool fits_ = true;
};

bool is_absolute(const char* name) noexcept {
  if (name[0] == '/' || name[0] == '\\') return true;
  const unsigned char c = static_cast<unsigned char>(name[0]);
  const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  return letter && name[1] == ':' && (name[2] == '\\' || name[2] == '/');
}

bool has_dir_marker(const char* name) noexcept {
  return std::strchr(name, static_cast<char>(kDirMarker)) != nullptr;
}

// One open attempt, reported success and failure alike. A path that was cut
// is reported as far as it goes and never opened.
std::FILE* attempt(const PathBuffer& path, bool direct) noexcept {
  std::FILE* f = nullptr;
  if (path.fits()) f = direct ? std::fopen(path.c_str(), "r") : kw_ext_fopen(path.c_str(), "r");
  if (f != nullptr) {
    kw::frame::diagf("Opened: %s", path.c_str());
  } else {
    kw::frame::diagf("Could not open: %s", path.c_str());
  }
  return f;
}

std::FILE* fail(void* handle, const char* name) noexcept {
  kw::frame::diagf("Could not open: %s", name);
  if (handle != nullptr) kw::frame::store_error(handle, kw::Err::NoFile);
  return nullptr;
}

struct FindContext {
  const char* name;
  bool direct;
  std::FILE* found;
};

bool try_in_dir(void* context, const char* dir, bool fits) noexcept {
  auto* ctx = static_cast<FindContext*>(context);
  PathBuffer path;
  path.append(dir);
  path.append(ctx->name);
  if (!fits) path.mark_too_long();
  ctx->found = attempt(path, ctx->direct);
  return ctx->found != nullptr;
}

}  // namespace

namespace kw::frame {

bool visit_search_dirs(const char* kind, const char* version, SearchDirVisitor visit,
                       void* context) noexcept {
  if (kind == nullptr) kind = "";
  if (version == nullptr) version = "";
  const char* list = kw_ext_getenv("KW_PATH");
  if (list != nullptr && list[0] != '\0') {
    // A set KW_PATH replaces the installation directory entirely.
    char copy[kMaxSearchList + 1];
    std::size_t n = std::strlen(list);
    if (n > kMaxSearchList) n = kMaxSearchList;
    std::memcpy(copy, list, n);
    copy[n] = '\0';
    for (char* element = copy; *element != '\0';) {
      char* end = std::strchr(element, ';');
      char* next = end != nullptr ? end + 1 : element + std::strlen(element);
      if (end != nullptr) *end = '\0';
      if (*element != '\0') {
        PathBuffer dir;
        dir.append(element);
        dir.append(kSeparator);
        if (visit(context, dir.c_str(), dir.fits())) return true;
      }
      element = next;
    }
    return false;
  }

  PathBuffer base;
  const char* install = kw_ext_getenv("KESTAVORDIR");
  if (install != nullptr && install[0] != '\0') {
    // The separator is added even when the value already ends in one.
    base.append(install);
    base.append(kSeparator);
  } else {
    base.append(kw::platform::default_install_dir());
  }
  base.append("kwa");
  base.append(kSeparator);

  PathBuffer versioned = base;
  versioned.append(kind);
  versioned.append(version);
  versioned.append(kSeparator);
  if (visit(context, versioned.c_str(), versioned.fits())) return true;

  PathBuffer plain = base;
  plain.append(kind);
  plain.append(kSeparator);
  return visit(context, plain.c_str(), plain.fits());
}

}  // namespace kw::frame

std::FILE* kw_find_object(void* handle, const char* name, const char* kind, const char* version,
                          int direct) noexcept {
  if (name == nullptr) {
    if (handle != nullptr) kw::frame::store_error(handle, kw::Err::NoFile);
    return nullptr;
  }
  if (has_dir_marker(name)) return kw_open_escaped(handle, name);

  if (is_absolute(name)) {
    PathBuffer path;
    path.append(name);
    if (std::FILE* f = attempt(path, direct != 0)) return f;
    return fail(handle, name);
  }

  FindContext ctx{name, direct != 0, nullptr};
  kw::frame::visit_search_dirs(kind, version, &try_in_dir, &ctx);
  if (ctx.found != nullptr) return ctx.found;
  return fail(handle, name);
}

std::FILE* kw_open_escaped(void* handle, const char* path) noexcept {
  if (path == nullptr) {
    if (handle != nullptr) kw::frame::store_error(handle, kw::Err::NoFile);
    return nullptr;
  }
  PathBuffer copy;
  for (const char* p = path; *p != '\0'; ++p) {
    if (static_cast<unsigned char>(*p) != kDirMarker) {
      copy.append(*p);
    } else if (!kw::platform::is_separator(copy.last())) {
      copy.append(kSeparator);
    }
  }
  std::FILE* f = attempt(copy, false);
  if (f == nullptr && handle != nullptr) kw::frame::store_error(handle, kw::Err::NoFile);
  return f;
}
