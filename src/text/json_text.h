// Values in JSON.
#pragma once

#include <string>
#include <string_view>

/// Appends a text in quotes. A byte that is not part of a UTF-8 character becomes U+FFFD.
void AppendJsonString(std::string& json, std::string_view text);

/// Whether a text is a number in JSON: 0 alone or before a point, digits after a point, no plus.
bool IsJsonNumber(std::string_view text);
