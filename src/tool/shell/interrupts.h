// What ^C does to a session at a terminal.
#pragma once

#include <csignal>

#include "client/Session.h"

/// ^C, or the end of a pager, has stopped the rows of a result.
struct Stopped : SqlError {
    using SqlError::SqlError;
};

/// A handler of SIGINT for as long as the object lives; then the one before it is back.
class InterruptHandler {
public:
    /// flag: what the handler sets; cleared first. flags: those of sigaction.
    InterruptHandler(void (*handler)(int), volatile std::sig_atomic_t& flag, int flags);
    ~InterruptHandler();
    InterruptHandler(const InterruptHandler&) = delete;
    InterruptHandler& operator=(const InterruptHandler&) = delete;

private:
    struct sigaction before_ {};
};

/// Records ^C for as long as it lives. ^C interrupts a wait for input.
class NotedInterrupts {
public:
    NotedInterrupts();

    /// Whether ^C was typed since the last call.
    static bool Take();

private:
    InterruptHandler handler_;
};

/// A statement is running, and can't be cancelled: the first ^C says so and stops its rows, the
/// second ends the process.
class RunningStatement {
public:
    RunningStatement();

    static bool IsStopped();

private:
    InterruptHandler handler_;
};
