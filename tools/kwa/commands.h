// The kwa command's subcommands and the helpers they share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kwa.h"

namespace kwa_cmd {

// One subcommand: its name, its usage lines (indented like the others) and
// its entry point, which receives the arguments after the name and returns
// the exit status (0 success, 1 failure, 2 usage error).
struct Command {
  const char* name;
  const char* usage;
  int (*run)(int argc, char** argv);
};

// Every subcommand, in the order "kwa" lists them; ends with a null name.
extern const Command kCommands[];

// Loads the locale that SPEC names (a locale specification, a composite
// KW_<CATEGORY> = ... specification, a .lco file name, C or POSIX), or with a
// null SPEC the locale the environment selects. On failure prints the reason
// on standard error, sets *status (2 for a malformed SPEC, else 1) and
// returns null. Release the result with kw_lc_unload.
kw_locale* load_locale(const char* spec, int* status);

// Text for an error number stored by locale loading.
const char* load_error_text(std::uint32_t e);

// Takes "-l SPEC" from the front of the arguments: on return *spec is SPEC
// (or null when absent) and argc/argv skip the option. False on a "-l"
// without its value (a usage message has been printed).
bool take_locale_option(int& argc, char**& argv, const char*& spec);

// Bytes of a category string: up to its first run of four zero bytes.
std::size_t string_bytes(const char* s);

}  // namespace kwa_cmd
