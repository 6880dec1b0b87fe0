// What a round trip through a connection is to bring back.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "shell/Session.h"

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
    enum Subject { kNullness, kPlainText, kBeyondText, kParameter, kLong };

    const char* name;
    Subject subject;
    /// Throws SqlError. prefix stands in front of the literal: nothing, or kNationalPrefix.
    Finding (*carry_out)(const Session& session, const std::string& prefix);
};

/// What makes a literal one of national characters, for sources that convert all others.
inline constexpr char kNationalPrefix[] = "N";

std::span<const Check> Checks();

/// A SELECT without FROM, which all checks need. Throws SqlError where the source takes none.
void TrySelect(const Session& session);
