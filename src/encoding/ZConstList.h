// The reader of host lists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "encoding/conversions.h"
#include "orvelgw.h"

/// A cursor over a host list (orvelgw.h, convention 10). Reads in place: the list's bytes belong to
/// the argument that it is built over and must outlive it.
///
/// Lists come from the host and are not trusted. Prefix bytes are signed on purpose, so a short
/// prefix of 128 or more steps backwards and a malformed list can lead anywhere; bytes outside the
/// list are never touched and read as 0.
class ZConstList {
public:
    /// What an element is; the values are those that GetType returns.
    enum Category { kUnsupported = 0, kString = 1, kInteger = 2, kDouble = 3, kWideString = 4 };

    explicit ZConstList(const zarray* list);
    explicit ZConstList(const ORVEL_EXSTR* list);

    /// Makes element n (from 1) current. Returns 1, or 0 where the list ends before it; no list has
    /// more elements than bytes, which bounds every walk. The getters below need a 1 from here.
    int MoveTo(long n);

    /// The current element's Category. An element without a type byte (prefix 01) answers for the
    /// byte that follows it.
    int GetType() const;

    /// The current integer in 32 bits, 0 for another type. A negative integer of four payload bytes
    /// reads as -1: its sign fill is shifted by 32, which wraps to no shift. GetLong reads it
    /// right.
    int GetInt() const;

    /// The current integer in 64 bits, 0 for another type.
    long GetLong() const;

    /// The current decimal or double, 0.0 for another type. A negative decimal without mantissa
    /// bytes is -1 times its power of ten.
    double GetDouble() const;

    /// Widens the current 2-byte string into conv_buf1, terminated, and returns its characters.
    int uni2_uni4() const;

    /// Payload bytes of the current element as its prefix claims them; -1 for the long form, which
    /// this reader does not address.
    int PayloadLength() const;

    /// The current element's payload bytes, cut where the list ends; none for the long form.
    std::string_view Payload() const;

    /// Multibyte text from the payload to the first zero, widened into conv_buf. Returns the
    /// characters, or -1 where it is not text of the locale.
    int ConvertToUni() const;

    /// Wide text from the payload to the first zero, as multibyte text in conv_buf, terminated.
    /// Returns the bytes, or -1 where the locale has no form for a character.
    int ConvertToMB() const;

    static int Init() { return 1; }

    alignas(wchar_t) static char conv_buf[kConversionBufferSize];
    static wchar_t conv_buf1[kConversionBufferSize];

private:
    ZConstList(const void* bytes, std::size_t length);

    unsigned char Byte(std::ptrdiff_t offset) const;
    std::int8_t SignedByte(std::ptrdiff_t offset) const;
    std::ptrdiff_t Step() const;
    std::uint64_t Accumulate(std::ptrdiff_t from, int count, unsigned word_bits) const;

    // Offsets from start_, because a malformed list leads outside, where a pointer may not go.
    std::ptrdiff_t payload_;  // of the current element, just past its type byte
    std::ptrdiff_t element_;  // its length prefix
    std::int32_t index_;      // its number, from 1
    const unsigned char* start_;
    const unsigned char* end_;
};
