#include "encoding/element.h"

#include <bit>
#include <cstring>

// Lengths are written by copying their low bytes.
static_assert(std::endian::native == std::endian::little);

std::size_t WriteLongHead(char* to, ElementType type, std::size_t payload)
{
    constexpr int kLongestShort = 253;
    constexpr int kLongestMedium = 65'534;
    const auto length = static_cast<int>(payload);
    const auto stored = static_cast<std::uint32_t>(length) + 1;
    if (length <= kLongestShort) {  // a count beyond 31 bits
        to[0] = static_cast<char>(length + 2);
        to[1] = static_cast<char>(type);
        return 2;
    }
    const std::size_t zeros = length <= kLongestMedium ? 1 : 3;
    const std::size_t size = zeros + 1;
    std::memset(to, 0, zeros);
    std::memcpy(to + zeros, &stored, size);
    to[zeros + size] = static_cast<char>(type);
    return zeros + size + 1;
}
