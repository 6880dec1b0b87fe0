#include "odbc/HostGuard.h"

#include <cerrno>
#include <clocale>
#include <ctime>

HostGuard::HostGuard() : locale_(std::setlocale(LC_CTYPE, nullptr))
{
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&broken_pipe_);
    sigaddset(&broken_pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe_, &mask_);
}

HostGuard::~HostGuard()
{
    // A signal that came meanwhile is the driver's, and is taken away.
    const timespec at_once{};
    while (!was_pending_ && sigtimedwait(&broken_pipe_, nullptr, &at_once) == -1 &&
           errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    if (locale_ != std::setlocale(LC_CTYPE, nullptr)) {
        std::setlocale(LC_CTYPE, locale_.c_str());
    }
}
