// Values as a person types them.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "client/Statement.h"

/// A command that can't be carried out as it is worded.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A word without the backslash in front that makes text of it.
std::string_view Unescaped(std::string_view word);

/// The value of a word: NULL; a whole number of 64 bits; or text, as which every other number loses
/// nothing. A backslash in front makes what follows it text, whatever it looks like.
TypedValue ValueOf(std::string_view word);

/// The list that a word in brackets stands for: [5, -100, 'text', u'2-byte text', NULL], where a
/// quote inside a text is doubled. Throws UsageError.
std::string ListOf(std::string_view word);

/// The bytes of hexadecimal digits, blanks left out. Throws UsageError.
std::string BytesOf(std::string_view digits);

/// A whole number in 32 bits, decimal or 0x and hexadecimal. Throws UsageError.
std::int32_t IntegerOf(std::string_view word);
