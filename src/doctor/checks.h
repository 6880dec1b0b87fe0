// The round trips through a connection.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "client/Session.h"

/// A verdict in a word, and a detail where it isn't "ok".
struct Finding {
    std::string verdict;
    std::string detail;

    bool IsRight() const { return verdict == "ok"; }
};

/// Compares UTF-8 text that came back with what was sent: ok; truncated, where the end is missing;
/// lost, where other characters are missing; garbled.
Finding Compare(std::string_view sent, std::string_view received);

/// One round trip: a text goes to the source in a statement or a parameter, and comes back in a
/// result.
struct Check {
    enum Subject { kNullness, kPlainText, kBeyondText, kLong };

    const char* name;
    Subject subject;
    bool is_literal;
    const char* input;   // the text, or the entry that reads a long one
    std::int32_t piece;  // the size that the entry is given; 0: it takes none
};

/// Begins a literal of national characters; some sources convert all others.
inline constexpr char kNationalPrefix[] = "N";

std::span<const Check> Checks();

/// prefix goes before a literal: nothing, or kNationalPrefix.
Finding RunCheck(const Check& check, const Session& session, const std::string& prefix);

/// Why the source refuses a SELECT without FROM, which all checks need; empty where it does not.
std::string RefusalOfSelect(const Session& session);

/// Has SQLite read its file, which connecting does not. Throws ConnectError.
void ReadDatabaseFile(const Session& session);
