// Diagnostics log and pop-up notices.
#include "frame/diag.h"

#include <cstdarg>
#include <cstdio>

void kw_diag(const char* text) noexcept { (void)text; }  // TODO(frame)

namespace kw::frame {

void diagf(const char* fmt, ...) noexcept {
  char buf[1200];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(buf, sizeof buf, fmt, ap);
  va_end(ap);
  kw_diag(buf);
}

void reset_diag_for_tests() noexcept {}

}  // namespace kw::frame
