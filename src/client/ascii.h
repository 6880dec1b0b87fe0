// Keywords and names, compared without regard to the case of ASCII letters, whatever the locale.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

constexpr char LowerInAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool IsAlphanumericInAscii(char c)
{
    return (c >= '0' && c <= '9') || (LowerInAscii(c) >= 'a' && LowerInAscii(c) <= 'z');
}

constexpr bool EqualsIgnoringCase(std::string_view one, std::string_view other)
{
    return std::ranges::equal(one, other, {}, &LowerInAscii, &LowerInAscii);
}

/// Where a word begins in a text, std::string_view::npos where it doesn't.
constexpr std::size_t FindIgnoringCase(std::string_view text, std::string_view word)
{
    const auto found = std::ranges::search(text, word, {}, &LowerInAscii, &LowerInAscii);
    return found.empty() && !word.empty() ? std::string_view::npos
                                          : static_cast<std::size_t>(found.begin() - text.begin());
}
