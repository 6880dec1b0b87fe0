// What a driver must not do to the host.
#pragma once

#include <csignal>
#include <string>

/// Keeps what is the host's through calls of a driver.
///
/// A write to a server that is gone is an error to the driver that does it and no SIGPIPE to the
/// process, which would end: Virtuoso's driver 7.2.5 leaves the signal to others (tests/sources,
/// LostServer.IsAnErrorAndNoMore). This is of the calling thread only, and signals that the host
/// itself has blocked or pending stay so.
///
/// LC_CTYPE, by which text is converted, is the host's again afterwards: psqlodbca.so 13.02 sets
/// that of the environment as it connects (tests/sources, Values.OfTextInEveryMode).
class HostGuard {
public:
    HostGuard();
    ~HostGuard();
    HostGuard(const HostGuard&) = delete;
    HostGuard& operator=(const HostGuard&) = delete;

private:
    sigset_t broken_pipe_{};
    sigset_t mask_{};
    bool was_pending_;
    std::string locale_;
};
