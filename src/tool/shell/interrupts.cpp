#include "tool/shell/interrupts.h"

#include <unistd.h>

#include <string_view>

#include "client/TemporaryPath.h"

namespace {

volatile std::sig_atomic_t noted = 0;
volatile std::sig_atomic_t stopped = 0;

constexpr std::string_view kCannotCancel =
    "\n^C: a running statement can't be cancelled. Its rows stop once the driver returns; another "
    "^C ends the process.\n";

void Note(int /*signal*/)
{
    noted = 1;
}

void Stop(int signal)
{
    if (stopped != 0) {
        TemporaryPath::RemoveAll();
        std::signal(signal, SIG_DFL);
        ::raise(signal);
        return;
    }
    stopped = 1;
    static_cast<void>(::write(STDERR_FILENO, kCannotCancel.data(), kCannotCancel.size()) == 0);
}

}  // namespace

InterruptHandler::InterruptHandler(void (*handler)(int), volatile std::sig_atomic_t& flag,
                                   int flags)
{
    flag = 0;
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    ::sigaction(SIGINT, &action, &before_);
}

InterruptHandler::~InterruptHandler()
{
    ::sigaction(SIGINT, &before_, nullptr);
}

// Without SA_RESTART, so that a wait for input ends.
NotedInterrupts::NotedInterrupts() : handler_(&Note, noted, 0)
{}

bool NotedInterrupts::Take()
{
    const bool was_noted = noted != 0;
    noted = 0;
    return was_noted;
}

// A driver's system calls are restarted after the signal.
RunningStatement::RunningStatement() : handler_(&Stop, stopped, SA_RESTART)
{}

bool RunningStatement::IsStopped()
{
    return stopped != 0;
}
