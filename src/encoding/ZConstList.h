// The reader of host lists.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "encoding/conversions.h"
#include "orvelgw.h"

/// A cursor over a host list (orvelgw.h, convention 10). Reads in place: the list's bytes belong to
/// the argument that it is constructed with and must outlive it.
///
/// Lists come from the host and are not trusted. Prefix bytes are signed on purpose, so a short
/// prefix of 128 or more steps backwards and a malformed list can lead anywhere; bytes outside the
/// list are never touched and read as 0.
class ZConstList {
public:
    /// What an element is; the values are those that GetType returns.
    enum Category { kUnsupported = 0, kString = 1, kInteger = 2, kDouble = 3, kWideString = 4 };

    explicit ZConstList(const zarray* list) : ZConstList(list->bytes, list->length) {}
    explicit ZConstList(const ORVEL_EXSTR* list)
        : ZConstList(list->text, list->text != nullptr ? list->length : 0)
    {}

    /// Makes element n (from 1) current. Returns 1, or 0 if the list ends before it; no list has
    /// more elements than bytes, which bounds every walk. The getters below require that it
    /// returned 1.
    int MoveTo(long n)
    {
        if (n > std::min<std::ptrdiff_t>(end_ - start_, INT32_MAX)) {
            return 0;
        }
        if (index_ > n) {
            element_ = 0;
            index_ = 1;
        }
        while (index_ < n) {
            element_ += Step();
            ++index_;
        }
        if (element_ >= end_ - start_) {
            return 0;
        }
        payload_ = element_ + (Byte(element_) != 0 ? 2 : 4);
        return 1;
    }

    /// The current element's Category. For an element without a type byte (prefix 01), that of the
    /// byte that follows it.
    int GetType() const
    {
        constexpr Category kCategories[] = {kUnsupported, kString,  kWideString,
                                            kUnsupported, kInteger, kInteger,
                                            kDouble,      kDouble,  kDouble};
        const unsigned type = Byte(payload_ - 1);
        return type < std::size(kCategories) ? kCategories[type] : kUnsupported;
    }

    /// The current integer in 32 bits, 0 for another type. A negative integer of four payload bytes
    /// reads as -1: its sign fill is shifted by 32, which wraps to no shift. GetLong reads it
    /// correctly.
    int GetInt() const;

    /// The current integer in 64 bits, 0 for another type.
    long GetLong() const;

    /// The current decimal or double, 0.0 for another type. A negative decimal without mantissa
    /// bytes is -1 times its power of ten.
    double GetDouble() const;

    /// Widens the current 2-byte string into conv_buf1, terminated, and returns its characters.
    int uni2_uni4() const;

    /// Payload bytes of the current element as its prefix claims them; -1 for the long form, which
    /// this reader does not support.
    int PayloadLength() const
    {
        const int prefix = Byte(element_);
        if (prefix == 0) {
            return Byte(element_ + 1) + 256 * Byte(element_ + 2) - 1;
        }
        return std::max(prefix - 2, 0);
    }

    /// The current element's payload bytes, truncated at the end of the list; none for the long
    /// form.
    std::string_view Payload() const
    {
        const std::ptrdiff_t size = end_ - start_;
        if (payload_ < 0 || payload_ >= size) {
            return {};
        }
        const auto length = std::clamp<std::ptrdiff_t>(PayloadLength(), 0, size - payload_);
        return {reinterpret_cast<const char*>(start_ + payload_), static_cast<std::size_t>(length)};
    }

    /// Multibyte text from the payload to the first zero, widened into conv_buf. Returns the
    /// characters, or -1 if it is not valid text in the locale.
    int ConvertToUni() const;

    /// Wide text from the payload to the first zero, as multibyte text in conv_buf, terminated.
    /// Returns the bytes, or -1 if the locale can't represent a character.
    int ConvertToMB() const;

    static int Init() { return 1; }

    alignas(wchar_t) static char conv_buf[kConversionBufferSize];
    static wchar_t conv_buf1[kConversionBufferSize];

private:
    ZConstList(const void* bytes, std::size_t length)
        : payload_(kNowhere),
          element_(0),
          index_(1),
          start_(static_cast<const unsigned char*>(bytes)),
          end_(start_ + length)
    {}

    unsigned char Byte(std::ptrdiff_t offset) const
    {
        return offset >= 0 && offset < end_ - start_ ? start_[offset] : 0;
    }
    std::int8_t SignedByte(std::ptrdiff_t offset) const
    {
        return static_cast<std::int8_t>(Byte(offset));
    }
    std::ptrdiff_t Step() const;
    std::uint64_t Accumulate(std::ptrdiff_t from, int count, unsigned word_bits) const;

    // The payload offset before the first MoveTo, in the role of a null pointer.
    static constexpr std::ptrdiff_t kNowhere = PTRDIFF_MIN / 2;

    // Offsets from start_, because a malformed list leads outside, where a pointer must not point.
    std::ptrdiff_t payload_;  // of the current element, just past its type byte
    std::ptrdiff_t element_;  // its length prefix
    std::int32_t index_;      // its number, from 1
    const unsigned char* start_;
    const unsigned char* end_;
};
