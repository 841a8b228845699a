// Compiles the public header as C++ (with the same strict warnings as the C test).
#include "kwa.h"

extern "C" int kwa_header_compiles_as_cxx(void) { return KW_EXT_SLOTS; }
