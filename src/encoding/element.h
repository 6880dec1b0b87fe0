// The head of a list's element: what precedes its payload.
#pragma once

#include <cstddef>
#include <cstdint>

/// The type byte of an element (orvelgw.h, convention 10).
enum class ElementType : char { kBytes = 1, kWideUnits = 2, kNonNegative = 4, kNegative = 5 };

/// The longest head that is written.
inline constexpr std::size_t kLongestHead = 8;

/// WriteHead for the rare payloads beyond 253 bytes.
std::size_t WriteLongHead(char* to, ElementType type, std::size_t payload);

/// Writes the length prefix and the type byte of a payload of that many bytes and returns how many
/// bytes it wrote. The length is treated as a signed 32-bit integer.
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
