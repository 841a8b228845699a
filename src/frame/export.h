// The one macro that defines an exported function of the library.
#pragma once

#include "kwa.h"

// KW_EXPORT marks a definition as part of the library's C interface: C linkage,
// default visibility (everything else is hidden) and, on Windows, dllexport.
// The calling convention comes from KW_CALL in kwa.h, written at the name.
#if defined(_WIN32)
#define KW_EXPORT extern "C" __declspec(dllexport)
#else
#define KW_EXPORT extern "C" __attribute__((visibility("default")))
#endif
