// Values as a person types them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "client/Statement.h"

/// A command that can't be carried out as it was typed.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A word without the backslash in front that makes text of it.
std::string_view Unescaped(std::string_view word);

/// The value of a word: NULL, a 64-bit integer, or text. Any other number is text, too, since a
/// double can't hold each of its digits and the data source converts it exactly. A backslash in
/// front makes what follows it text, whatever it looks like.
TypedValue ValueOf(std::string_view word);

/// The list that a word in brackets stands for: [5, -100, 1.5, 'text', u'2-byte text', NULL].
/// Quotes inside text are doubled. Throws UsageError.
std::string ListOf(std::string_view word);

/// The bytes that hexadecimal digits stand for, spaces ignored. Throws UsageError.
std::string BytesOf(std::string_view digits);

/// A 32-bit integer, decimal or 0x and hexadecimal. Throws UsageError.
std::int32_t IntegerOf(std::string_view word);
