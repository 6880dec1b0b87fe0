// Values as a user types them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "client/Statement.h"

/// A command can't be carried out as typed.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A word without the leading backslash that marks it as text.
std::string_view Unescaped(std::string_view word);

/// The value of a word: NULL, a 64-bit integer, or text. Any other number is text, too, since a
/// double can't hold all of its digits and the data source converts it exactly. What follows a
/// leading backslash is text, whatever it looks like.
TypedValue ValueOf(std::string_view word);

/// The list that a word in brackets represents: [5, -100, 1.5, 'text', u'2-byte text', NULL].
/// Quotes inside text are doubled. Throws UsageError.
std::string ListOf(std::string_view word);

/// The bytes that hexadecimal digits represent, spaces ignored. Throws UsageError.
std::string BytesOf(std::string_view digits);

/// A 32-bit integer, decimal or hexadecimal with 0x. Throws UsageError.
std::int32_t IntegerOf(std::string_view word);
