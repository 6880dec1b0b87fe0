// What a round trip through a connection is to bring back.
#pragma once

#include <span>
#include <string>

#include "shell/Session.h"
#include "shell/doctor/judge.h"

/// One round trip: a text goes to the source in a statement or a parameter, and comes back in a
/// result.
struct Check {
    enum Subject { kNullness, kPlainText, kBeyondText, kParameter, kLong };

    const char* name;
    Subject subject;
    /// Throws SqlError. prefix stands in front of the literal: nothing, or kNational.
    Finding (*carry_out)(const Session& session, const std::string& prefix);
};

/// What makes a literal one of national characters, for sources that convert all others.
inline constexpr char kNational[] = "N";

std::span<const Check> Checks();

/// A SELECT without FROM, which all checks need. Throws SqlError where the source takes none.
void TrySelect(const Session& session);
