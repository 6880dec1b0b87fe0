// What keeps the host alive when a driver writes to a server that is gone.
#pragma once

#include <csignal>

/// While it lives, a write to a closed connection is an error to the driver that does it and no
/// SIGPIPE to the process, which would end. Virtuoso's driver 7.2.5 is one that leaves the signal
/// to others (tests/sources, LostServer.IsAnErrorAndNoMore). Of the calling thread only; the host's
/// own signals, blocked and pending ones, are left as they are.
class LostServerGuard {
public:
    LostServerGuard();
    ~LostServerGuard();
    LostServerGuard(const LostServerGuard&) = delete;
    LostServerGuard& operator=(const LostServerGuard&) = delete;

private:
    sigset_t broken_pipe_{};
    sigset_t host_mask_{};
    bool was_pending_;
};
