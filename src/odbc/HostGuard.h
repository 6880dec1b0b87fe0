// What a driver must not do to the host.
#pragma once

#include <pthread.h>

#include <atomic>
#include <string>

/// Marks the calling thread as one that runs an entry, until the end of the scope. A SIGPIPE that
/// it gets meanwhile is a driver's, see BrokenPipeHandler. Scopes nest. No system call is made.
class HostGuard {
public:
    /// kOff where the thread may wait for a driver or run the host's code: a thread that is
    /// cancelled there would be unwound through the guard that lets nothing escape. Switching it
    /// off and on costs as much as the rest of a short entry.
    enum class Cancellation { kOff, kAsItIs };

    explicit HostGuard(Cancellation cancellation = Cancellation::kOff)
        : outer_(thread_in_entry.load(std::memory_order_relaxed)), cancellation_(cancellation)
    {
        thread_in_entry.store(pthread_self(), std::memory_order_relaxed);
        if (cancellation_ == Cancellation::kOff) {
            pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
        }
    }
    ~HostGuard()
    {
        if (cancellation_ == Cancellation::kOff) {
            pthread_setcancelstate(cancel_state_, nullptr);
        }
        thread_in_entry.store(outer_, std::memory_order_relaxed);
    }
    HostGuard(const HostGuard&) = delete;
    HostGuard& operator=(const HostGuard&) = delete;

    /// Whether the calling thread runs an entry. Safe in a signal handler.
    static bool IsInEntry()
    {
        return pthread_equal(thread_in_entry.load(std::memory_order_relaxed), pthread_self()) != 0;
    }

private:
    static inline std::atomic<pthread_t> thread_in_entry{};  // none: zero, which no thread is
    static_assert(std::atomic<pthread_t>::is_always_lock_free);

    pthread_t outer_;
    Cancellation cancellation_;
    int cancel_state_ = PTHREAD_CANCEL_ENABLE;
};

/// Keeps a lost server from ending the process.
///
/// A write to a server that is gone is an error to the driver that does it and no SIGPIPE to the
/// process, which would end: Virtuoso's driver 7.2.5 leaves the signal to others (tests/sources,
/// LostServer.IsAnErrorAndNoMore). Where the host leaves SIGPIPE to the system, this handler
/// swallows what a thread gets that runs an entry, and lets any other end the process. A host that
/// ignores the signal or handles it keeps its own disposition.
class BrokenPipeHandler {
public:
    BrokenPipeHandler() = default;
    /// Gives the signal back to the system where the handler is still this one.
    ~BrokenPipeHandler();
    BrokenPipeHandler(const BrokenPipeHandler&) = delete;
    BrokenPipeHandler& operator=(const BrokenPipeHandler&) = delete;

    /// Installs the handler if the disposition is the system's default.
    static void Install();
    /// Restores the default if the handler is still this one.
    static void Remove();
};

/// Puts the process's LC_CTYPE, by which text is converted, back at the end of the scope:
/// psqlodbca.so 13.02 sets that of the environment as it connects (tests/sources,
/// Values.OfTextInEveryMode). No driver measured changes it in another call.
class LocaleGuard {
public:
    LocaleGuard();
    ~LocaleGuard();
    LocaleGuard(const LocaleGuard&) = delete;
    LocaleGuard& operator=(const LocaleGuard&) = delete;

private:
    std::string locale_;
};
