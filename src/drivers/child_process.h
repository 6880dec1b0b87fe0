// Work in a child process, since a driver may crash or hang.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

/// Sends the work's output to the parent process.
using Send = std::function<void(std::string_view output)>;

/// How the work ended, and its output until then.
struct ChildResult {
    enum End { kFinished, kCrashed, kTimedOut };

    End end = kFinished;
    std::string output;
    std::string reason;  // of a crash: the signal's name
};

/// Runs work in a child process for a limited time. What it prints to stdout goes to stderr. An
/// exception counts as a crash, and so does an exit of the process before the work has returned,
/// with whatever exit code. The child is killed when the calling thread ends, even if that is
/// killed itself. Throws std::system_error if no child process can be started.
ChildResult RunInChild(std::chrono::seconds limit,
                       const std::function<void(const Send& send)>& work);
