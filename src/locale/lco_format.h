// Format constants of locale objects (.lco), shared by the reader in the
// library and the writer used by the locale compiler and the test generators.
#pragma once

#include <cstdint>

namespace kw::lco {

// Header lines, without their newline.
inline constexpr char kFileTypeLine[] = "FILE_TYPE=locale_object";
inline constexpr char kVersionLine[] = "COMPILER_VERSION=11";
inline constexpr char kVersion[] = "11";
// The third header line: "<keyword>=<number of header lines>". The reader
// only looks at the number after the first '='.
inline constexpr char kHeaderLengthKey[] = "HEADER_LENGTH";
inline constexpr int kFixedHeaderLines = 3;
// Directory kind of locale objects for the object lookup.
inline constexpr char kLookupKind[] = "lc";
// The default locale object.
inline constexpr char kDefaultObject[] = "default.lco";

// Section markers, newline included, indexed by category number (2..7).
inline constexpr const char* kMarkers[8] = {
    "", "", "### LC_CTYPE\n", "### LC_COLLATE\n", "### LC_NUMERIC\n",
    "### LC_MONETARY\n", "### LC_TIME\n", "### LC_MESSAGES\n"};

// Collation kind lines.
inline constexpr char kCollateAsSpecified[] = "as_specified\n";
inline constexpr char kCollateThai[] = "thai_smo\n";

// Calendar lines of the TIME section, indexed by calendar number (1..4).
inline constexpr const char* kCalendars[5] = {"", "gregorian\n", "hebrew\n", "islamic\n",
                                              "arabic\n"};

// Line limits of the reader (characters, newline included).
inline constexpr int kLineLimit = 127;
inline constexpr int kCalendarLineLimit = 31;
inline constexpr int kCodesetNameLimit = 20;

// Token limits.
inline constexpr int kIntegerDigits = 38;   // digits kept after the first character
inline constexpr int kTokenLimit = 70;      // characters of a token(71)
inline constexpr int kMaxGrouping = 15;     // values of a grouping
inline constexpr int kMaxLevels = 8;        // collation levels held
inline constexpr int kMaxSequence = 4;      // bytes of the longest character

// Serialised automaton flags.
inline constexpr std::uint32_t kFlagMarkComplete = 1;
// The body is the compact form:
//   <node count N> <table count M>
//   M tables, each: <kind> (0 class table, 1 data table) and run records
//     ending with a record of width 0 (as in the node form);
//   N nodes in breadth-first order, each: <class table number> <data table
//     number>, -1 meaning none. The children of a node are the next nodes
//     of the breadth-first order, one per byte of class 1, in byte order.
// Nodes that share a table refer to the same number, so a table is written
// and held once however many nodes use it.
inline constexpr std::uint32_t kFlagCompact = 2;
inline constexpr int kTableClass = 0;
inline constexpr int kTableData = 1;

// Named CTYPE classes: a number below this is a bit number n (mask 2048 << n);
// this or more is the mask itself.
inline constexpr std::uint32_t kFirstNamedClassMask = 2048;

// Monetary numbers not available.
inline constexpr std::int32_t kNotAvailable = 2147483647;

}  // namespace kw::lco
