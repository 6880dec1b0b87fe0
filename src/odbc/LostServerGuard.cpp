#include "odbc/LostServerGuard.h"

#include <cerrno>
#include <ctime>

LostServerGuard::LostServerGuard()
{
    sigset_t pending;
    sigpending(&pending);
    was_pending_ = sigismember(&pending, SIGPIPE) == 1;
    sigemptyset(&broken_pipe_);
    sigaddset(&broken_pipe_, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe_, &host_mask_);
}

LostServerGuard::~LostServerGuard()
{
    // A signal that came meanwhile is the driver's, and is taken away.
    const timespec at_once{};
    while (!was_pending_ && sigtimedwait(&broken_pipe_, nullptr, &at_once) == -1 &&
           errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &host_mask_, nullptr);
}
