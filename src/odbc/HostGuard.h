// Protection of the host against what drivers do to the process.
#pragma once

#include <pthread.h>

#include <atomic>
#include <string>

/// Marks the calling thread as one that runs an entry, until the end of the scope. A SIGPIPE that
/// it receives meanwhile is a driver's, see BrokenPipeHandler. Scopes nest. Makes no system call.
class HostGuard {
public:
    /// kOff if the thread may wait for a driver or run the host's code: a thread that is
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
    static inline std::atomic<pthread_t> thread_in_entry{};  // zero, which is no thread's id: none
    static_assert(std::atomic<pthread_t>::is_always_lock_free);

    pthread_t outer_;
    Cancellation cancellation_;
    int cancel_state_ = PTHREAD_CANCEL_ENABLE;
};

/// Keeps a lost server from ending the process.
///
/// A write to a server that is gone is an error for the driver that writes, without the SIGPIPE
/// that would end the process: Virtuoso's driver 7.2.5 doesn't handle it (tests/sources,
/// LostServer.IsAnErrorAndNoMore). If the host leaves SIGPIPE to the system, this handler
/// suppresses one received by a thread that runs an entry, and lets any other end the process. A
/// host that ignores or handles the signal keeps its own disposition.
class BrokenPipeHandler {
public:
    BrokenPipeHandler() = default;
    /// Returns the signal to the system if the handler is still this one.
    ~BrokenPipeHandler();
    BrokenPipeHandler(const BrokenPipeHandler&) = delete;
    BrokenPipeHandler& operator=(const BrokenPipeHandler&) = delete;

    /// Installs the handler if the disposition is the system's default.
    static void Install();
    /// Restores the default if the handler is still this one.
    static void Remove();
};

/// Restores the process's LC_CTYPE, which governs text conversion, at the end of the scope:
/// psqlodbca.so 13.02 sets that of the environment when it connects (tests/sources,
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
