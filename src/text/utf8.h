// Whether text is UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// Where the first byte stands that is no part of a character in UTF-8, counted from 0; nothing
/// where all of the text is UTF-8.
std::optional<std::size_t> FirstInvalidByte(std::string_view text);
