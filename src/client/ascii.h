// Keywords and names, compared without regard to the case of ASCII letters, whatever the locale.
#pragma once

#include <algorithm>
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

constexpr bool ContainsIgnoringCase(std::string_view text, std::string_view word)
{
    return word.empty() ||
           !std::ranges::search(text, word, {}, &LowerInAscii, &LowerInAscii).empty();
}
