// Text on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Columns a terminal gives to UTF-8 text. What is not UTF-8 counts one a byte.
std::size_t DisplayWidth(std::string_view text);

/// Text that stays in its place on a terminal: control characters as \n, \t or \x1b.
std::string Printable(std::string_view text);

/// The same with a backslash as \\, so that no other text looks alike.
std::string Escaped(std::string_view text);

/// Printable text in double quotes; a quote and a backslash inside get a backslash.
std::string Quoted(std::string_view text);

/// Bytes as pairs of hexadecimal digits: 03 04 FF.
std::string HexText(std::string_view bytes);
