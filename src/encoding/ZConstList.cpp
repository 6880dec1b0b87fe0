#include "encoding/ZConstList.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <string>

namespace {

enum TypeByte : unsigned char {
    kNonNegativeInteger = 4,
    kNegativeInteger = 5,
    kNonNegativeDecimal = 6,
    kNegativeDecimal = 7,
    kIeeeDouble = 8
};

constexpr std::uint64_t kAllOnes = ~std::uint64_t{0};

}  // namespace

alignas(wchar_t) char ZConstList::conv_buf[kConversionBufferSize];
wchar_t ZConstList::conv_buf1[kConversionBufferSize];

std::ptrdiff_t ZConstList::Step() const
{
    const int prefix = SignedByte(element_);
    const int low = SignedByte(element_ + 1);
    const int high = SignedByte(element_ + 2);
    if (prefix != 0) {
        return prefix;
    }
    if (low != 0 || high != 0) {
        return low + 256 * high + 3;
    }
    return static_cast<std::ptrdiff_t>(Accumulate(element_ + 3, 4, 32)) + 7;
}

// ORs count bytes together, byte i shifted left by 8i bits. Shifts wrap at the word's width, like
// the processor's: this defines how elements with more bytes than a word are read.
std::uint64_t ZConstList::Accumulate(std::ptrdiff_t from, int count, unsigned word_bits) const
{
    std::uint64_t word = 0;
    for (int i = 0; i < count; ++i) {
        word |= std::uint64_t{Byte(from + i)} << (8U * static_cast<unsigned>(i) % word_bits);
    }
    return word;
}

int ZConstList::GetInt() const
{
    constexpr unsigned kBits = 32;
    const int count = static_cast<std::int8_t>(Byte(element_) - 2);
    const unsigned type = Byte(payload_ - 1);
    if (type != kNonNegativeInteger && type != kNegativeInteger) {
        return 0;
    }
    std::uint64_t word = Accumulate(payload_, count, kBits);
    if (type == kNegativeInteger) {
        word |= count <= 0 ? kAllOnes : kAllOnes << (8U * static_cast<unsigned>(count) % kBits);
    }
    return static_cast<int>(static_cast<std::uint32_t>(word));
}

long ZConstList::GetLong() const
{
    constexpr unsigned kBits = 64;
    const int count = static_cast<std::int8_t>(Byte(element_) - 2);
    const unsigned type = Byte(payload_ - 1);
    if (type != kNonNegativeInteger && type != kNegativeInteger) {
        return 0;
    }
    std::uint64_t word = Accumulate(payload_, count, kBits);
    if (type == kNegativeInteger && count <= 0) {
        word = kAllOnes;
    } else if (type == kNegativeInteger && count != 8) {
        word |= kAllOnes << (8U * static_cast<unsigned>(count) % kBits);
    }
    return static_cast<long>(word);
}

double ZConstList::GetDouble() const
{
    constexpr unsigned kBits = 64;
    const unsigned type = Byte(payload_ - 1);
    if (type == kIeeeDouble) {
        return std::bit_cast<double>(Accumulate(payload_, 8, kBits));
    }
    const int count = static_cast<std::int8_t>(Byte(element_)) - 3;
    std::uint64_t mantissa = 0;
    if (type == kNonNegativeDecimal) {
        mantissa = Accumulate(payload_ + 1, count, kBits);
    } else if (type == kNegativeDecimal) {
        mantissa = kAllOnes;
        for (int i = 0; i < count; ++i) {
            const unsigned shift = 8U * static_cast<unsigned>(i) % kBits;
            mantissa &= ~(std::uint64_t{0xFF} << shift);
            mantissa |= std::uint64_t{Byte(payload_ + 1 + i)} << shift;
        }
    }
    return static_cast<double>(static_cast<std::int64_t>(mantissa)) *
           std::pow(10.0, SignedByte(payload_));
}

int ZConstList::uni2_uni4() const
{
    const int length = PayloadLength();
    constexpr int kCapacity = sizeof conv_buf1;
    if (payload_ >= 0 && payload_ + length <= end_ - start_) {
        ::uni2_uni4(start_ + payload_, length, conv_buf1, kCapacity);
    } else {
        for (std::ptrdiff_t i = 0; i < length / 2; ++i) {
            conv_buf1[i] =
                static_cast<wchar_t>(Byte(payload_ + 2 * i) + 256 * Byte(payload_ + 2 * i + 1));
        }
        conv_buf1[length / 2] = 0;
    }
    return length / 2;
}

int ZConstList::ConvertToUni() const
{
    std::string text;
    for (std::ptrdiff_t at = payload_; Byte(at) != 0; ++at) {
        text.push_back(static_cast<char>(Byte(at)));
    }
    // The buffer's capacity in wide characters.
    constexpr int kCapacity = kConversionBufferSize / sizeof(wchar_t);
    return MultiByteToWideChar(0, 0, text.c_str(), PayloadLength(),
                               reinterpret_cast<wchar_t*>(conv_buf), kCapacity);
}

int ZConstList::ConvertToMB() const
{
    std::wstring text;
    constexpr int kWidth = sizeof(wchar_t);
    std::ptrdiff_t at = payload_;
    while (const auto unit = static_cast<wchar_t>(Accumulate(at, kWidth, 32))) {
        text.push_back(unit);
        at += kWidth;
    }
    constexpr int kCapacity = 3'641'143;
    const int length = WideCharToMultiByte(0, 0, text.c_str(), PayloadLength() / 2, conv_buf,
                                           kCapacity, nullptr, nullptr);
    if (length >= 0) {
        conv_buf[length] = 0;
    }
    return length;
}
