#include "text/byte_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

constexpr std::string_view kHexMark = "\\x";
constexpr char kHexDigits[] = "0123456789abcdef";
constexpr char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// -1 if it is not a digit.
int DigitOf(char c)
{
    const bool is_letter = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    return c >= '0' && c <= '9' ? c - '0' : is_letter ? (c | 0x20) - 'a' + 10 : -1;
}

}  // namespace

void AppendHex(std::string& text, std::string_view bytes)
{
    text += kHexMark;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text.push_back(kHexDigits[value >> 4]);
        text.push_back(kHexDigits[value & 0xF]);
    }
}

std::optional<std::string> BytesOfHex(std::string_view text)
{
    if (!text.starts_with(kHexMark) || text.size() % 2 != 0) {
        return std::nullopt;
    }
    text.remove_prefix(kHexMark.size());
    std::string bytes(text.size() / 2, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const int high = DigitOf(text[2 * i]);
        const int low = DigitOf(text[2 * i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes[i] = static_cast<char>(high * 16 + low);
    }
    return bytes;
}

void AppendBase64(std::string& text, std::string_view bytes)
{
    constexpr std::size_t kGroup = 3;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(kGroup, bytes.size()))) {
        const std::string_view group = bytes.substr(0, kGroup);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < kGroup; ++i) {
            bits = bits << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
        }
        for (std::size_t i = 0; i <= kGroup; ++i) {
            const auto digit = bits >> (6 * (kGroup - i)) & 0x3F;
            text.push_back(i <= group.size() ? kBase64Digits[digit] : '=');
        }
    }
}
