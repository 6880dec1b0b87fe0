// What stands before the payload of a list's element.
#pragma once

#include <cstddef>
#include <cstdint>

/// The type byte of an element (orvelgw.h, convention 10).
enum class ElementType : char { kBytes = 1, kWideUnits = 2, kNonNegative = 4, kNegative = 5 };

/// The longest head that is written.
inline constexpr std::size_t kLongestHead = 8;

/// WriteHead for payloads beyond 253 bytes, which few are.
std::size_t WriteLongHead(char* to, ElementType type, std::size_t payload);

/// Writes the length prefix and the type byte of a payload of so many bytes and returns how many
/// bytes that took. The length is taken as a signed integer of 32 bits.
inline std::size_t WriteHead(char* to, ElementType type, std::size_t payload)
{
    constexpr std::size_t kLongestShort = 253;
    if (payload > kLongestShort) {
        return WriteLongHead(to, type, payload);
    }
    to[0] = static_cast<char>(payload + 2);
    to[1] = static_cast<char>(type);
    return 2;
}
