// What stands before the payload of a list's element.
#pragma once

#include <cstddef>
#include <cstdint>

/// The type byte of an element (orvelgw.h, convention 10).
enum class ElementType : char { kBytes = 1, kWideUnits = 2, kNonNegative = 4, kNegative = 5 };

/// The longest that WriteHead writes.
inline constexpr std::size_t kLongestHead = 8;
/// What it writes of payloads of up to kLongestShortPayload bytes.
inline constexpr std::size_t kShortHead = 2;
inline constexpr std::size_t kLongestShortPayload = 253;

/// Writes the length prefix and the type byte of a payload of so many bytes and returns how many
/// bytes that took. The length is taken as a signed integer of 32 bits.
inline std::size_t WriteHead(char* to, ElementType type, std::size_t payload)
{
    constexpr int kLongestMedium = 65'534;
    const auto length = static_cast<int>(payload);
    const auto stored = static_cast<std::uint32_t>(length) + 1;
    std::size_t at = 0;
    if (length <= static_cast<int>(kLongestShortPayload)) {
        to[at++] = static_cast<char>(length + 2);
    } else {
        const std::size_t zeros = length <= kLongestMedium ? 1 : 3;
        const std::size_t size = length <= kLongestMedium ? 2 : 4;
        for (std::size_t i = 0; i < zeros; ++i) {
            to[at++] = '\0';
        }
        for (std::size_t i = 0; i < size; ++i) {
            to[at++] = static_cast<char>(stored >> 8 * i);
        }
    }
    to[at++] = static_cast<char>(type);
    return at;
}
