// What ^C does to a session at a terminal.
#pragma once

#include <csignal>

#include "client/Session.h"

/// ^C, or the end of a pager, has stopped the rows of a result.
struct Stopped : SqlError {
    using SqlError::SqlError;
};

/// As long as it lives ^C is noted. It interrupts what waits for input.
class NotedInterrupts {
public:
    NotedInterrupts();
    ~NotedInterrupts();
    NotedInterrupts(const NotedInterrupts&) = delete;
    NotedInterrupts& operator=(const NotedInterrupts&) = delete;

    /// Whether ^C was typed since the last call.
    static bool Take();

private:
    struct sigaction before_ {};
};

/// As long as it lives a statement runs, which nobody can cancel: the first ^C says so and stops
/// its rows, the second ends the process.
class RunningStatement {
public:
    RunningStatement();
    ~RunningStatement();
    RunningStatement(const RunningStatement&) = delete;
    RunningStatement& operator=(const RunningStatement&) = delete;

    static bool IsStopped();

private:
    struct sigaction before_ {};
};
