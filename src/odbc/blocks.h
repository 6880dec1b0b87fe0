// Short pieces of memory, cleared and copied in whole blocks.
//
// Most values are shorter than a block. Copying a whole block is one or two stores; memset and
// memcpy first branch on the length. Whatever is cleared or copied must be followed by kBlock bytes
// of room.
#pragma once

#include <cstddef>
#include <cstring>

inline constexpr std::size_t kBlock = 32;

inline void ClearBlocks(char* to, std::size_t n)
{
    for (std::size_t at = 0; at < n; at += kBlock) {
        std::memset(to + at, 0, kBlock);
    }
}

inline void CopyBlocks(char* to, const char* from, std::size_t n)
{
    for (std::size_t at = 0; at < n; at += kBlock) {
        std::memcpy(to + at, from + at, kBlock);
    }
}
