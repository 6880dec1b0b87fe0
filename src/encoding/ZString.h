// The writer of host lists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "encoding/conversions.h"
#include "encoding/element.h"
#include "orvelgw.h"

/// A growing host list (orvelgw.h, convention 10). Every Append operation adds exactly one element.
/// Throws what std::string throws when it can't grow, and std::length_error for text that a
/// conversion buffer can't hold (more than kConversionLimit characters) or that the process locale
/// can't represent.
class ZString : public std::string {
public:
    /// A string of n bytes.
    void AppendString(const char* text, unsigned long n);

    /// A string of the bytes before the terminating zero.
    void AppendNTString(const char* text);

    /// A string of one zero byte: an empty value to the host, for which the empty string means
    /// NULL.
    void AppendEmptyValue();

    /// A 2-byte string of n characters, as they are in memory.
    void AppendCUString(const void* text, unsigned long n);

    /// An integer. The sign is taken from all 64 bits, the value from the low 32:
    /// 4,294,967,296 is written as a 0 of one byte.
    void AppendLong(long value);

    /// Unicode option on: a 2-byte string of n characters. Off: a string of the multibyte form of
    /// text, which must be terminated and is read up to its terminator, whatever n says.
    void AppendWString(const wchar_t* text, unsigned long n);

    /// Unicode option on: a 2-byte string of n characters: the multibyte text up to its terminator,
    /// widened, then zeros. n counts bytes, so text outside ASCII always ends in zeros.
    /// Off: a string of n bytes.
    void AppendConvert(const char* text, unsigned long n);

    /// Fills an output: the low 16 bits of the list's length, then all of its bytes.
    void CopyTo(zarray* output) const;

    /// Sets the option that AppendWString and AppendConvert follow; until then it is off.
    static void FollowUnicodeOption(const std::int64_t* option);

    static wchar_t conv_buf[kConversionBufferSize];
    static wchar_t conv_buf1[kConversionBufferSize];

private:
    void AppendElement(ElementType type, const void* payload, unsigned long n);
};

/// Text as an element's payload, in a conversion buffer until the next conversion.
struct HostText {
    ElementType type;
    const char* bytes;
    std::size_t size;
};

/// The payload that ZString::AppendWString makes of a text, by the same option. Throws as it does.
HostText ToHostText(const wchar_t* text, unsigned long n);
