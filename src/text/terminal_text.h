// Text on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Columns that UTF-8 text takes up on a terminal. What is not UTF-8 counts as one per byte.
std::size_t DisplayWidth(std::string_view text);

/// Text that can't move a terminal's cursor: control characters as \n, \t or \x1b.
std::string Printable(std::string_view text);

/// The same with a backslash as \\, so that different texts look different.
std::string Escaped(std::string_view text);

/// Printable text in double quotes; quotes and backslashes inside are escaped with a backslash.
std::string Quoted(std::string_view text);

/// Bytes as pairs of hexadecimal digits: 03 04 FF.
std::string HexText(std::string_view bytes);
