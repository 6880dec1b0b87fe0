// What a round trip through a connection is to bring back.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "client/Session.h"

/// A verdict in a word, and what was seen where it isn't "right".
struct Finding {
    std::string verdict;
    std::string seen;

    bool IsRight() const { return verdict == "right"; }
};

/// Compares UTF-8 text that came with what was sent: right; cut, where the end is missing; lost,
/// where characters are missing elsewhere; garbled.
Finding Judge(std::string_view sent, std::string_view came);

/// One round trip: a text goes to the source in a statement or a parameter, and comes back in a
/// result.
struct Check {
    enum Subject { kNullness, kPlainText, kBeyondText, kLong };

    const char* name;
    Subject subject;
    bool is_literal;
    const char* matter;  // the text, or the entry that reads a long one
    std::int32_t piece;  // the room that the entry is given; 0: it takes none
};

/// What makes a literal one of national characters, for sources that convert all others.
inline constexpr char kNationalPrefix[] = "N";

std::span<const Check> Checks();

/// What has become of a text. prefix stands in front of a literal: nothing, or kNationalPrefix.
Finding CarryOut(const Check& check, const Session& session, const std::string& prefix);

/// Why the source takes no SELECT without FROM, which all checks need; empty: it does.
std::string RefusalOfSelect(const Session& session);
