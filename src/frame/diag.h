// The diagnostics routine: log file and pop-up notices, switched on by the
// settings file (section KWA, keys Logging and Popups) or by KWALOG/KWADEBUG.
#pragma once

// Reports one finished message text. Reads the switches on first use; never
// affects the caller's result and never fails visibly.
void kw_diag(const char* text) noexcept;

namespace kw::frame {

// Formats like snprintf into a bounded buffer, then reports it with kw_diag.
void diagf(const char* fmt, ...) noexcept
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

// Forgets the switches so that the next kw_diag reads them again. Tests only.
void reset_diag_for_tests() noexcept;

}  // namespace kw::frame
