// Keywords and names, compared without regard to the case of ASCII letters, whatever the locale.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

constexpr char LowerInAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string UpperInAscii(std::string_view text)
{
    std::string upper(text);
    std::ranges::transform(upper, upper.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return upper;
}

constexpr bool IsAlphanumericInAscii(char c)
{
    return (c >= '0' && c <= '9') || (LowerInAscii(c) >= 'a' && LowerInAscii(c) <= 'z');
}

constexpr bool EqualsIgnoringCase(std::string_view one, std::string_view other)
{
    return std::ranges::equal(one, other, {}, &LowerInAscii, &LowerInAscii);
}

/// Where a word begins in a text, std::string_view::npos if it isn't there.
constexpr std::size_t FindIgnoringCase(std::string_view text, std::string_view word)
{
    const auto is_same = [](char a, char b) { return LowerInAscii(a) == LowerInAscii(b); };
    const auto at = static_cast<std::size_t>(
        std::search(text.begin(), text.end(), word.begin(), word.end(), is_same) - text.begin());
    return at == text.size() && !word.empty() ? std::string_view::npos : at;
}
