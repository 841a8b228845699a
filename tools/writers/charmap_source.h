// A minimal reader of POSIX charmap sources (the CHARMAP section only) that
// produces the input of the charmap-object writer.
#pragma once

#include <string>

#include "cmo_writer.h"

namespace kw::writers {

// Reads the charmap text `text`: <code_set_name>, <comment_char>,
// <escape_char>, and the lines between CHARMAP and END CHARMAP, either
// "<name> bytes" or "<nameN>..<nameM> bytes" (hexadecimal numbers) /
// "<nameN>...<nameM> bytes" (decimal numbers). Bytes are written with the
// escape character and x (hex), d (decimal) or o (octal). Characters of more
// than 4 bytes are skipped. Returns false with `error` on a malformed line.
bool read_charmap_source(const std::string& text, CmoSource& out, std::string& error);

}  // namespace kw::writers
