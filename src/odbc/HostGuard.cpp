#include "odbc/HostGuard.h"

#include <clocale>
#include <csignal>

namespace {

extern "C" void SwallowInEntry(int signal)
{
    if (!HostGuard::IsInEntry()) {
        // Not a driver's: it ends the process once this handler has returned.
        std::signal(signal, SIG_DFL);
        std::raise(signal);
    }
}

bool IsHandledBy(void (*handler)(int))
{
    struct sigaction present {};
    return sigaction(SIGPIPE, nullptr, &present) == 0 && (present.sa_flags & SA_SIGINFO) == 0 &&
           present.sa_handler == handler;
}

}  // namespace

void BrokenPipeHandler::Install()
{
    if (IsHandledBy(SIG_DFL)) {
        struct sigaction ours {};
        ours.sa_handler = SwallowInEntry;
        ours.sa_flags = SA_RESTART | SA_ONSTACK;
        sigaction(SIGPIPE, &ours, nullptr);
    }
}

void BrokenPipeHandler::Remove()
{
    if (IsHandledBy(SwallowInEntry)) {
        std::signal(SIGPIPE, SIG_DFL);
    }
}

BrokenPipeHandler::~BrokenPipeHandler()
{
    Remove();
}

LocaleGuard::LocaleGuard() : locale_(std::setlocale(LC_CTYPE, nullptr))
{}

LocaleGuard::~LocaleGuard()
{
    if (locale_ != std::setlocale(LC_CTYPE, nullptr)) {
        std::setlocale(LC_CTYPE, locale_.c_str());
    }
}
