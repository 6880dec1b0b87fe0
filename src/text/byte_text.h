// Bytes as text.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Appends bytes as \x and two hexadecimal digits each.
void AppendHex(std::string& text, std::string_view bytes);

/// The bytes that such a text represents; nothing for any other text.
std::optional<std::string> BytesOfHex(std::string_view text);

/// Appends bytes in base64 (RFC 4648).
void AppendBase64(std::string& text, std::string_view bytes);
