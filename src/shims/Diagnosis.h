// The shim's own diagnostic record.
#pragma once

#include <sql.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

/// One record; an empty SQLSTATE means none. Its texts are literals, so that a record needs no
/// allocation.
struct Diagnosis {
    std::string_view state;
    std::string_view what;
    std::string_view subject = {};  // what the number refers to
    int number = 0;                 // 0: none

    bool HasState() const { return !state.empty(); }

    std::string Text() const
    {
        const std::string of =
            number != 0 ? std::string(subject) + " " + std::to_string(number) + ": " : "";
        return "[Orvel][Wide shim]" + of + std::string(what);
    }
};

/// Copies ASCII into a buffer of that many characters, with a terminator; returns whether all of it
/// fitted.
template <class Character>
bool CopyAscii(std::string_view text, Character* to, std::ptrdiff_t capacity)
{
    if (to == nullptr || capacity <= 0) {
        return false;
    }
    const std::size_t copied = std::min(text.size(), static_cast<std::size_t>(capacity) - 1);
    *std::copy_n(text.data(), copied, to) = 0;
    return copied == text.size();
}

/// Implements SQLGetDiagRec, for characters of either width, for a single record.
template <class Character>
SQLRETURN TellRecord(std::string_view its_state, std::string_view message, SQLSMALLINT number,
                     Character* state, SQLINTEGER* native, Character* text, SQLSMALLINT capacity,
                     SQLSMALLINT* length)
{
    if (number != 1) {
        return number < 1 ? SQL_ERROR : SQL_NO_DATA;
    }
    constexpr int kStateSize = 6;
    CopyAscii(its_state, state, kStateSize);
    if (native != nullptr) {
        *native = 0;
    }
    if (length != nullptr) {
        *length = static_cast<SQLSMALLINT>(message.size());
    }
    return CopyAscii(message, text, capacity) ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}
