// Work in a process of its own, which may crash or hang.
#pragma once

#include <functional>
#include <string>
#include <string_view>

/// Takes what the work has to say, as it comes.
using Say = std::function<void(std::string_view text)>;

/// How such work ended, and what it said until then.
struct Apart {
    enum End { kDone, kCrashed, kOutOfTime };

    End end = kDone;
    std::string said;
    std::string reason;  // of a crash: the signal's name
};

/// Runs work in a child process, for so many seconds at the most. What it prints goes to stderr.
/// What it throws counts as a crash, and so does an end of the process before that of the work, of
/// whatever exit code. Throws std::system_error where there is no child process.
Apart RunApart(int seconds, const std::function<void(const Say& say)>& work);
