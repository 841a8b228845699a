// Locale object writer: the in-memory description of a locale and its text
// form (.lco) as the library's locale reader consumes it.
//
// Strings are bytes in the locale's code set. Numbers that a locale does not
// define keep their defaults (monetary numbers: not available).
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "locale/lco_format.h"

namespace kw::writers {

// One character of an automaton: 1 to 4 bytes and its 16-bit data.
struct LcoChar {
  std::uint8_t len = 0;
  std::array<std::uint8_t, 4> bytes{};
  std::uint16_t data = 0;
};

// A set of characters with 16-bit data; order does not matter. A character
// given twice keeps its last data.
struct LcoAutomaton {
  std::uint16_t default_data = 0;
  std::vector<LcoChar> chars;

  // Adds a character of `n` (1..4) bytes.
  void add(const std::uint8_t* seq, std::size_t n, std::uint16_t data);
  // Adds the character whose wide value is `value`, in `n` bytes big-endian.
  void add_value(std::uint32_t value, std::size_t n, std::uint16_t data);
};

// A locale-defined character class: written as its bit number (mask
// 2048 << bit); the reader turns it back into the mask.
struct NamedClass {
  std::string name;
  int bit = 0;  // 0..4
};

struct CasePair {
  std::uint32_t upper = 0;  // 0: no mapping to upper case
  std::uint32_t lower = 0;  // 0: no mapping to lower case
};

struct CtypeSource {
  // Every character of the locale with its class mask (upper 1, lower 2,
  // alpha 4, digit 8, space 16, cntrl 32, punct 64, graph 128, print 256,
  // xdigit 512, blank 1024, named classes 2048 << bit).
  LcoAutomaton classes;
  std::vector<NamedClass> named;
  // Per character its case index: case_pairs[index - 1] (0 = no mapping).
  LcoAutomaton case_index;
  std::vector<CasePair> case_pairs;
  // Most output bytes per input byte of case conversion; written with "%g".
  // Negative: an empty line (the reader then takes 4.0).
  double expansion = 1.0;
};

struct CollateElement {
  std::uint16_t weight_index = 0;
  std::vector<std::uint32_t> chars;  // 1..15 wide characters
};

struct CollateSource {
  enum class Kind { AsSpecified, Thai };
  Kind kind = Kind::AsSpecified;
  // Per character its weight index (row of `weights`).
  LcoAutomaton indexes;
  std::int32_t table_form = 1;  // 1: plain weight table
  // One value per level: 1 forward, 2 backward (at most 8 levels).
  std::vector<std::uint16_t> levels;
  // weights[j][i]: the weight of index j at level i; every row has one value
  // per level. Written for j = 0 .. weights.size() - 1 (the highest index is
  // weights.size() - 1).
  std::vector<std::vector<std::uint16_t>> weights;
  std::vector<CollateElement> elements;
  std::vector<std::vector<std::uint32_t>> expansions;  // 1..15 wide characters each
  std::int32_t further_count = 0;                      // the count after the expansion count
};

struct NumericSource {
  std::string decimal_point = ".";  // item 55
  std::string thousands_sep;        // item 56
  std::vector<int> grouping;        // at most 15 values
  std::string positive_sign;
  std::string negative_sign = "-";
};

struct MonetarySource {
  std::string int_curr_symbol;
  std::string currency_symbol;  // item 59
  std::string mon_decimal_point;
  std::string mon_thousands_sep;
  std::vector<int> mon_grouping;
  std::string positive_sign;
  std::string negative_sign;
  std::int32_t int_frac_digits = lco::kNotAvailable;
  std::int32_t frac_digits = lco::kNotAvailable;
  std::int32_t p_cs_precedes = lco::kNotAvailable;
  std::int32_t p_sep_by_space = lco::kNotAvailable;
  std::int32_t n_cs_precedes = lco::kNotAvailable;
  std::int32_t n_sep_by_space = lco::kNotAvailable;
  std::int32_t p_sign_posn = lco::kNotAvailable;
  std::int32_t n_sign_posn = lco::kNotAvailable;
};

struct TimeSource {
  std::string calendar = "gregorian";       // gregorian, hebrew, islamic, arabic
  std::array<std::string, 7> abday;         // items 8-14 (first day-name set)
  std::array<std::string, 7> day;           // items 1-7 (second day-name set)
  std::vector<std::string> abmon;           // items 35-54 (first month set)
  std::vector<std::string> mon;             // items 15-34 (second month set)
  std::string d_t_fmt;                      // item 0
  std::string d_fmt;                        // item 61
  std::string t_fmt;                        // item 62
  std::string am;                           // item 64
  std::string pm;                           // item 65
  std::string t_fmt_ampm;                   // item 63
  std::vector<std::string> era;             // POSIX era strings
  std::string era_d_fmt;                    // item 67
  std::string era_d_t_fmt;                  // item 69
  std::string era_t_fmt;                    // item 68
  std::vector<std::string> alt_digits;
};

struct MessagesSource {
  std::string yesexpr;  // item 71
  std::string noexpr;   // item 72
  std::string yesstr;   // item 57
  std::string nostr;    // item 58
};

struct LocaleSource {
  std::string codeset;                    // code-set name (at most 20 characters)
  std::vector<std::string> header_extra;  // further "KEY=value" header lines
  CtypeSource ctype;
  CollateSource collate;
  NumericSource numeric;
  MonetarySource monetary;
  TimeSource time;
  MessagesSource messages;
};

// How automata are written.
enum class AutomatonForm {
  Smallest,  // the compact form when it is shorter, else the node form
  Nodes,     // always the node form
  Compact,   // always the compact form
};

struct LcoOptions {
  AutomatonForm form = AutomatonForm::Smallest;
};

// The whole locale object text. Throws std::invalid_argument for a source
// that cannot be written (a character of 0 or more than 4 bytes, one that is
// a prefix of another, more than 8 levels, a row of the wrong width, more
// than 15 grouping values, an unknown calendar, a code-set name of more than
// 20 characters).
std::string write_lco(const LocaleSource& source, const LcoOptions& options = {});

// One serialised automaton (16-bit data written as hex(4)), as the sections
// hold it; for tests and for the conversion-object writer.
std::string write_lco_automaton(const LcoAutomaton& automaton, AutomatonForm form);

// The body of one string token (length, blank, hexadecimal bytes).
std::string lco_string_token(const std::string& bytes);

}  // namespace kw::writers
