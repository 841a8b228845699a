// Locale specifications: parsing simple and composite specifications, and the
// file names, code-set numbers and normal forms made from them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "frame/err.h"
#include "kwa.h"

namespace kw::locale {

// Output sizes, terminator included. File names are bounded by the longest
// path an object lookup builds.
inline constexpr std::size_t kFnameSize = KW_LC_FNAME_SIZE;     // file-name outputs
inline constexpr std::size_t kDnameSize = KW_LC_DNAME_SIZE;     // message directory name
inline constexpr std::size_t kShortSize = KW_LC_SHORT_SIZE;     // "en_US.65535@abcd"
inline constexpr std::size_t kLongSize = KW_LC_LONG_SIZE;       // "en_US." + 21-character name + "@abcd"
inline constexpr std::size_t kLangSize = KW_LC_LANG_SIZE;       // "en_US"
inline constexpr std::size_t kCsNumTextSize = KW_LC_CSNUM_SIZE; // "65535"
inline constexpr std::size_t kModifierSize = KW_LC_MOD_SIZE;    // "abcd"
static_assert(kShortSize == 5 + 1 + 5 + 1 + 4 + 1 && kLongSize == 5 + 1 + 21 + 1 + 4 + 1);
inline constexpr std::size_t kMaxModifier = 4;

// The separator-marker byte of a directory part: the directory text, this
// byte, then the file name. Opening replaces it by the path separator.
inline constexpr char kDirMarker = static_cast<char>(0xFF);

// A simple specification: ll_TT.codeset[@mod].
struct SimpleSpec {
  std::string_view text;      // everything consumed, as written
  char language[2];           // as written
  char territory[2];          // as written
  std::string_view codeset;   // 1 to 21 name characters, not starting with '#'
  std::string_view modifier;  // 0 to 4 letters or digits, after '@'
  bool has_modifier;          // an '@' was present
  std::uint16_t number;       // the code set's number, once looked up
};

// Parses the simple specification at the start of `text` (syntax only: the
// code-set name is not looked up). It need not consume all of `text`.
Result<SimpleSpec> parse_simple(std::string_view text) noexcept;

// True when `text` starts like a simple specification: ll_TT. (letters).
bool has_simple_head(std::string_view text) noexcept;

// The category named by a category variable name ("KW_CTYPE" ...) at the
// start of `text` (prefix, case-sensitive), or 0. Sets `length` to the
// name's length.
int category_prefix(std::string_view text, std::size_t& length) noexcept;

// True when `text` starts with a category variable name, and so is read as a
// composite specification.
bool is_composite(std::string_view text) noexcept;

// The category variable name of category 2..7 ("KW_CTYPE" ... "KW_MESSAGES").
std::string_view category_variable(int category) noexcept;

// The two walks over a composite specification. Both read entries
// "KW_xxx = spec" separated by " ; ". The file-name walk stops at the end of
// the text after an entry or after " ; "; the code-set walk requires " ; "
// after every entry, the last one included.
enum class Walk { FileName, CodesetNumber };

struct Composite {
  SimpleSpec entries[6];
  int categories[6];
  int count;
  bool trailing_separator;  // the text ends in " ; "
};

// Walks a composite specification. With `lookup`, every entry's code set is
// looked up through `registry` as it is read and all must give the same
// number; lookup errors are returned as they are.
Result<Composite> walk_composite(std::string_view text, Walk walk, bool lookup,
                                 const char* registry) noexcept;

// The code-set number of a composite, a simple specification, or a bare
// code-set name. A name whose number comes out as kUnknownCodeset (its own
// decimal spelling) names no code set: Err::Short.
Result<std::uint16_t> spec2cs_num(std::string_view text, const char* registry) noexcept;

// The locale object file name of a simple specification (no directory part),
// or the composite text with each entry's specification replaced by the
// directory part and its file name. Returns the length written.
Result<std::size_t> spec2lc_fname(std::string_view text, std::span<char> out, const char* registry,
                                  const char* directory) noexcept;

// The message directory name: the first 10 characters of the file name (of
// the KW_MESSAGES entry for a composite); `out` holds kDnameSize bytes.
Err spec2msg_dname(std::string_view text, std::span<char> out, const char* registry,
                   const char* directory) noexcept;

// The conversion object file name: directory part, both numbers as four
// lower-case hexadecimal digits, ".cvo".
Result<std::size_t> cs_nums2cv_fname(std::uint16_t first, std::uint16_t second, std::span<char> out,
                                     const char* directory) noexcept;

// The pieces of a locale object file name.
struct FnamePieces {
  char language[kLangSize];        // "en_US": language lower, territory upper
  char codeset[kCsNumTextSize];    // the code-set number in decimal
  char modifier[kModifierSize];    // up to 4 characters
};

// Reads a file name such as en_us/0333.lco into pieces. `separator_ok` is
// set false (with Err::None) when position 6 is not a separator; other
// failures are Err::Short.
Err fname2lc_pieces(std::string_view fname, FnamePieces& pieces, bool& separator_ok) noexcept;

// Joins pieces into a short specification: language piece (ll_TT, copied as
// written), '.', the code-set piece (non-empty; its first 5 characters, each
// a hexadecimal digit), and '@' with up to 4 characters of a non-empty
// modifier.
Result<std::size_t> pieces2lc_spec(std::string_view language, std::string_view codeset,
                                   std::string_view modifier, std::span<char> out) noexcept;

// The normal short form of a simple specification: ll_TT.<decimal>[@mod].
Result<std::size_t> spec2lc_short(std::string_view text, std::span<char> out,
                                  const char* registry) noexcept;

// The normal short form of a simple specification made the long way round:
// its file name, the file name's pieces, and the pieces joined again, so that
// it is exactly what reading the locale object's file name back gives.
Result<std::size_t> spec2lc_short_norm(std::string_view text, std::span<char> out,
                                       const char* registry) noexcept;

// The normal form of a simple specification, or of every entry of a
// composite one, entries in category order joined with " ; ".
Result<std::size_t> spec2lc_norm(std::string_view text, std::span<char> out,
                                 const char* registry) noexcept;

// The long form of a simple specification: ll_TT.<registry name>[@mod], the
// name being the first one that maps to the code set's number (see
// cs_num2cs_name); the decimal number when none does.
Result<std::size_t> spec2lc_long(std::string_view text, std::span<char> out,
                                 const char* registry) noexcept;

// The short specification of a locale object file name such as
// en_us/0333euro.lco (an '@' before the modifier is accepted too, and so is a
// directory part ending in the marker byte). Err::Format when the text is not
// such a name.
Result<std::size_t> fname2lc_spec(std::string_view fname, std::span<char> out) noexcept;

// True when `text` is a simple or composite specification by syntax alone.
bool is_lc_spec(std::string_view text) noexcept;

// The simple specification that a composite one gives for `category`, or the
// whole text when it is simple (KW_ALL included).
Result<std::string_view> spec2category(std::string_view text, int category) noexcept;

// The length-taking form of kw_lc_spec2cs_num: considers `length` bytes of
// `spec` (stopping early at a terminator), or all of it up to its terminator
// for -1. Stores one error number in `handle`'s slot and returns 0xE000 on
// failure (Err::BadPtr for a null `spec`, Err::Inval for a length below -1).
std::uint16_t lc_spec2cs_num(void* handle, const char* spec, int length, const char* registry) noexcept;

}  // namespace kw::locale
