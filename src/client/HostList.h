// A host's reader and writer of lists (orvelgw.h, convention 10). The reader checks every byte: the
// output of a library that is being debugged is not trusted.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// A malformed list; says where.
struct ListError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// One element, a view of the list's bytes.
struct ListElement {
    enum Type : unsigned char {
        kNoValue = 0,  // the element that is a single byte
        kBytes = 1,
        kUnits = 2,  // 2-byte characters
        kNonNegative = 4,
        kNegative = 5,
        kNonNegativeDecimal = 6,
        kNegativeDecimal = 7,
        kDouble = 8
    };

    unsigned char type = kNoValue;
    std::string_view payload;

    bool IsInteger() const { return type == kNonNegative || type == kNegative; }

    /// The value of an integer; throws ListError for another type or more than 8 bytes.
    std::int64_t Integer() const;

    /// The value of a decimal or a double; throws ListError for another type.
    double Number() const;

    /// The text of a string: bytes unchanged, 2-byte characters as UTF-8.
    std::string Text() const;
};

/// The elements of a list, in order. They point into bytes.
std::vector<ListElement> DecodeList(std::string_view bytes);

/// The length of a list in a zeroed area, of which the length word holds only the value modulo
/// 65,536: found by walking the elements until only zeros follow. Throws ListError if the two
/// disagree.
std::size_t ListLength(std::string_view zeroed_area, std::uint16_t length_word);

/// A value to be put into a list: NULL, an integer, a double, bytes, 2-byte characters.
using ListValue = std::variant<std::monostate, std::int64_t, double, std::string, std::u16string>;

/// The list of these values. NULL is the empty string.
std::string EncodeList(const std::vector<ListValue>& values);

/// Adds an element of bytes, or of 2-byte characters, to a list.
void AppendElement(std::string& list, std::string_view bytes);
void AppendElement(std::string& list, const std::u16string& units);

/// The maximum number of payload bytes that the gateway reads of an element from a host.
inline constexpr std::size_t kLongestElement = 65'534;

/// 2-byte characters (low byte first) as UTF-8. A surrogate pair is one character; a lone surrogate
/// becomes U+FFFD.
std::string Utf8FromUnits(std::string_view units);

/// UTF-8 as 2-byte characters, as a host passes them. What is not UTF-8 becomes U+FFFD.
std::u16string UnitsFromUtf8(std::string_view text);
