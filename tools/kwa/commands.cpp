// The table of kwa subcommands. Each subcommand lives in its own file and
// adds one entry here.
#include "commands.h"

namespace kwa_cmd {

int run_info(int argc, char** argv);
int run_paths(int argc, char** argv);

const Command kCommands[] = {
    {"info", "kwa info [SPEC]   information items and conventions of a locale\n"
             "                         (SPEC: ll_TT.codeset[@mod], a .lco file, C or POSIX;\n"
             "                         none: the locale KW_ALL, KW_<CATEGORY> or KW_LANG selects)",
     &run_info},
    {"paths", "kwa paths         library version and object search directories", &run_paths},
    {nullptr, nullptr, nullptr},
};

}  // namespace kwa_cmd
