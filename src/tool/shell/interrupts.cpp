#include "tool/shell/interrupts.h"

#include <unistd.h>

#include <string_view>

#include "client/TemporaryPath.h"

namespace {

volatile std::sig_atomic_t noted = 0;
volatile std::sig_atomic_t stopped = 0;

constexpr std::string_view kCannotCancel =
    "\n^C: a running statement can't be cancelled. Its rows stop once the driver returns; another "
    "^C "
    "ends the process.\n";

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

// Without SA_RESTART, where what waits is to end.
void Handle(void (*handler)(int), int flags, struct sigaction& before)
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    ::sigaction(SIGINT, &action, &before);
}

}  // namespace

NotedInterrupts::NotedInterrupts()
{
    noted = 0;
    Handle(&Note, 0, before_);
}

NotedInterrupts::~NotedInterrupts()
{
    ::sigaction(SIGINT, &before_, nullptr);
}

bool NotedInterrupts::Take()
{
    const bool was_noted = noted != 0;
    noted = 0;
    return was_noted;
}

// A driver's calls go on behind the signal.
RunningStatement::RunningStatement()
{
    stopped = 0;
    Handle(&Stop, SA_RESTART, before_);
}

RunningStatement::~RunningStatement()
{
    ::sigaction(SIGINT, &before_, nullptr);
}

bool RunningStatement::IsStopped()
{
    return stopped != 0;
}
