#include "encoding/ZString.h"

#include <langinfo.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <cwchar>
#include <stdexcept>

// Integers of the list encoding are written by copying their low bytes.
static_assert(std::endian::native == std::endian::little);

wchar_t ZString::conv_buf[kConversionBufferSize];
wchar_t ZString::conv_buf1[kConversionBufferSize];

namespace {

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

// A nonzero character that every locale here encodes as a byte of the same value.
bool IsASCII(wchar_t character)
{
    return static_cast<std::uint32_t>(character) - 1 < 0x7F;
}

// A nonzero character of up to three bytes in UTF-8; surrogates can't be encoded.
bool IsShortUTF8(wchar_t character)
{
    const auto code = static_cast<std::uint32_t>(character);
    return code - 1 < 0xD7FF || (code > 0xDFFF && code < 0x10000);
}

char* PutShortUTF8(wchar_t character, char* to)
{
    const auto code = static_cast<std::uint32_t>(character);
    const auto put = [&to](std::uint32_t byte) { *to++ = static_cast<char>(byte); };
    if (code < 0x80) {
        put(code);
        return to;
    }
    if (code < 0x800) {
        put(0xC0 | code >> 6);
    } else {
        put(0xE0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3F));
    }
    put(0x80 | (code & 0x3F));
    return to;
}

bool LocaleIsUTF8()
{
    return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

// Multibyte text in ccbuf, as wcstombs would produce it. That is slow for short values, so it only
// converts what is neither ASCII nor, in a UTF-8 locale, short UTF-8.
HostText ToMultibyte(const wchar_t* text, unsigned long n)
{
    constexpr std::ptrdiff_t kCapacity = 3'641'143;
    constexpr std::ptrdiff_t kLongestShort = 3;
    const wchar_t* const end = text + std::min<unsigned long>(n, kCapacity);
    const wchar_t* at = text;
    char* to = ccbuf;
    while (at != end && IsASCII(*at)) {
        *to++ = static_cast<char>(*at++);
    }
    if (*at != 0 && LocaleIsUTF8()) {
        while (at != end && to - ccbuf <= kCapacity - kLongestShort && IsShortUTF8(*at)) {
            to = PutShortUTF8(*at++, to);
        }
    }
    if (*at != 0 && to - ccbuf < kCapacity) {
        const int rest =
            WideCharToMultiByte(0, 0, at, static_cast<int>(end - at), to,
                                static_cast<int>(kCapacity - (to - ccbuf)), nullptr, nullptr);
        if (rest < 0) {
            throw std::length_error("text has no multibyte form in the process locale");
        }
        to += rest;
    }
    return {ElementType::kBytes, ccbuf, static_cast<std::size_t>(to - ccbuf)};
}

HostText ToUnits(const wchar_t* text, unsigned long n)
{
    auto* units = reinterpret_cast<unsigned short*>(ZString::conv_buf);
    uni4_uni2(text, static_cast<int>(n), units, kUnitCapacity);
    return {ElementType::kWideUnits, reinterpret_cast<const char*>(units), 2 * n};
}

}  // namespace

void ZString::FollowUnicodeOption(const std::int64_t* option)
{
    unicode_option = option;
}

void ZString::AppendElement(ElementType type, const void* payload, unsigned long n)
{
    char head[kLongestHead];
    append(head, WriteHead(head, type, n));
    append(static_cast<const char*>(payload), n);
}

void ZString::AppendString(const char* text, unsigned long n)
{
    AppendElement(ElementType::kBytes, text, n);
}

void ZString::AppendNTString(const char* text)
{
    AppendElement(ElementType::kBytes, text, std::strlen(text));
}

void ZString::AppendEmptyValue()
{
    AppendElement(ElementType::kBytes, "", 1);
}

void ZString::AppendCUString(const void* text, unsigned long n)
{
    AppendElement(ElementType::kWideUnits, text, 2 * n);
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
    AppendElement(value < 0 ? ElementType::kNegative : ElementType::kNonNegative, &low, size);
}

HostText ToHostText(const wchar_t* text, unsigned long n)
{
    CheckLimit(n);
    return UnicodeOption() ? ToUnits(text, n) : ToMultibyte(text, n);
}

void ZString::AppendWString(const wchar_t* text, unsigned long n)
{
    const HostText converted = ToHostText(text, n);
    AppendElement(converted.type, converted.bytes, converted.size);
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
