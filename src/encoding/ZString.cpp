#include "encoding/ZString.h"

#include <bit>
#include <cstring>
#include <cwchar>
#include <stdexcept>

// Integers of the list encoding are written by copying their low bytes.
static_assert(std::endian::native == std::endian::little);

wchar_t ZString::conv_buf[kConversionBufferSize];
wchar_t ZString::conv_buf1[kConversionBufferSize];

namespace {

constexpr char kBytes = 1;
constexpr char kWideUnits = 2;
constexpr char kNonNegative = 4;
constexpr char kNegative = 5;

constexpr int kLongestShort = 253;
constexpr int kLongestMedium = 65'534;

// Four times the size of ZString::conv_buf, which always holds the 2-byte form of a text.
constexpr int kUnitCapacity = 58'258'336;

const std::int64_t kOff = 0;
const std::int64_t* unicode_option = &kOff;

bool UnicodeOption()
{
    return *unicode_option != 0;
}

void CheckLimit(unsigned long characters)
{
    if (characters > kConversionLimit) {
        throw std::length_error("text is longer than a conversion buffer");
    }
}

}  // namespace

void ZString::FollowUnicodeOption(const std::int64_t* option)
{
    unicode_option = option;
}

void ZString::AppendElement(char type, const void* payload, unsigned long n)
{
    const auto length = static_cast<int>(n);
    const auto stored = static_cast<unsigned>(length) + 1;
    if (length <= kLongestShort) {
        push_back(static_cast<char>(length + 2));
    } else if (length <= kLongestMedium) {
        push_back('\0');
        append(reinterpret_cast<const char*>(&stored), 2);
    } else {
        append(3, '\0');
        append(reinterpret_cast<const char*>(&stored), 4);
    }
    push_back(type);
    append(static_cast<const char*>(payload), n);
}

void ZString::AppendString(const char* text, unsigned long n)
{
    AppendElement(kBytes, text, n);
}

void ZString::AppendNTString(const char* text)
{
    AppendElement(kBytes, text, std::strlen(text));
}

void ZString::AppendEmptyValue()
{
    AppendElement(kBytes, "", 1);
}

void ZString::AppendCUString(const void* text, unsigned long n)
{
    AppendElement(kWideUnits, text, 2 * n);
}

void ZString::AppendLong(long value)
{
    const auto low = static_cast<std::uint32_t>(value);
    const std::uint32_t magnitude = value < 0 ? ~low : low;
    unsigned long size = 4;
    if (magnitude <= 0xFF) {
        size = value != 0 ? 1 : 0;
    } else if (magnitude <= 0xFFFF) {
        size = 2;
    } else if (magnitude <= 0xFFFFFF) {
        size = 3;
    }
    AppendElement(value < 0 ? kNegative : kNonNegative, &low, size);
}

void ZString::AppendWString(const wchar_t* text, unsigned long n)
{
    CheckLimit(n);
    if (UnicodeOption()) {
        auto* units = reinterpret_cast<unsigned short*>(conv_buf);
        uni4_uni2(text, static_cast<int>(n), units, kUnitCapacity);
        AppendCUString(units, n);
        return;
    }
    constexpr int kCapacity = 3'641'143;
    const int length =
        WideCharToMultiByte(0, 0, text, static_cast<int>(n), ccbuf, kCapacity, nullptr, nullptr);
    if (length < 0) {
        throw std::length_error("text has no multibyte form in the process locale");
    }
    AppendString(ccbuf, static_cast<unsigned long>(length));
}

void ZString::AppendConvert(const char* text, unsigned long n)
{
    if (!UnicodeOption()) {
        AppendString(text, n);
        return;
    }
    CheckLimit(n);
    std::wmemset(conv_buf, 0, n);
    MultiByteToWideChar(0, 0, text, static_cast<int>(n), conv_buf, kConversionBufferSize);
    auto* units = reinterpret_cast<unsigned short*>(conv_buf1);
    uni4_uni2(conv_buf, static_cast<int>(n), units, kUnitCapacity);
    AppendCUString(units, n);
}

void ZString::CopyTo(zarray* output) const
{
    output->length = static_cast<std::uint16_t>(size());
    std::memcpy(output->bytes, data(), size());
}
