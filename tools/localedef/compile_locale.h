// Turning a locale definition and a charmap into the locale-object writer's
// in-memory form: classes, case pairs, plain code-value collation and the
// information strings encoded in the charmap's code set.
#pragma once

#include <string>
#include <vector>

#include "charmap.h"
#include "locale_source.h"
#include "lco_writer.h"

namespace kw::localedef {

// Mask bits of the standard classes, in kStandardClasses order.
inline constexpr std::uint16_t kClassBits[11] = {1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024};
// Locale-defined classes get bits 0..4 of the named range (mask 2048 << bit).
inline constexpr int kNamedClassBits = 5;
// The class made from the charmap's double-width characters.
inline constexpr char kFullWidthClass[] = "full_width";

struct CompileResult {
  writers::LocaleSource locale;
  std::vector<std::string> warnings;  // dropped classes, characters the charmap lacks
};

// Compiles `def` for `cm`. `symbols` resolves the names that are not <U...>
// (the reader's table). Throws SourceError for values that cannot be
// compiled (a number where a string belongs, too many grouping values, ...),
// naming the file and line of the keyword.
CompileResult compile_locale(const LocaleDef& def, const Charmap& cm, const SymbolTable& symbols,
                             const std::string& locale_name);

}  // namespace kw::localedef
