// Values as JSON has them.
#pragma once

#include <string>
#include <string_view>

/// Appends a text in quotes. A byte that is no part of a character in UTF-8 becomes U+FFFD.
void AppendJsonString(std::string& json, std::string_view text);

/// Whether a text is a number in JSON: 0 alone or before a point, digits behind a point, no plus.
bool IsJsonNumber(std::string_view text);
