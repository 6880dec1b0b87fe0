// Whether text is UTF-8.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The position, from 0, of the first byte that is not part of a UTF-8 character; nothing if the
/// whole text is UTF-8.
std::optional<std::size_t> FirstInvalidByte(std::string_view text);

/// The text with U+FFFD in the place of every such byte.
std::string WithReplacements(std::string_view text);
