#include "client/TemporaryPath.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <csignal>
#include <iterator>
#include <stdexcept>

namespace {

// The signals by which a user, the system or a driver's crash ends the process.
constexpr int kEndingSignals[] = {SIGINT,  SIGTERM, SIGHUP,  SIGQUIT, SIGPIPE, SIGXFSZ,
                                  SIGSEGV, SIGBUS,  SIGABRT, SIGFPE,  SIGILL};

/// A path that a signal handler can reach.
struct Slot {
    std::atomic<bool> is_taken = false;
    char path[PATH_MAX] = "";
};
Slot slots[8];
std::atomic<pid_t> owner = 0;  // children inherit the slots

bool IsTaken(const Slot& slot)
{
    return slot.is_taken;
}

void Remove(const char* path)
{
    if (::unlink(path) != 0) {
        ::rmdir(path);
    }
}

// The signal takes its default action when the handler returns.
void RemoveAndEnd(int signal)
{
    TemporaryPath::RemoveAll();
    ::raise(signal);
}

// Signals that the program ignores or handles itself are left alone.
void HandleEndingSignals()
{
    owner = ::getpid();
    for (const int signal : kEndingSignals) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL) {
            action.sa_handler = &RemoveAndEnd;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            ::sigaction(signal, &action, nullptr);
        }
    }
}

void LeaveEndingSignals()
{
    for (const int signal : kEndingSignals) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == &RemoveAndEnd) {
            std::signal(signal, SIG_DFL);
        }
    }
}

/// Blocks the signals while it exists.
class Hold {
public:
    Hold()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~Hold() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

private:
    sigset_t before_{};
};

}  // namespace

TemporaryPath::TemporaryPath(const std::function<std::string()>& make)
{
    auto* const slot = std::ranges::find_if_not(slots, &IsTaken);
    if (slot == std::end(slots)) {
        throw std::length_error("too many temporary files");
    }
    const Hold hold;
    path_ = make();
    if (!path_.empty() && path_.size() < sizeof slot->path) {
        HandleEndingSignals();
        path_.copy(slot->path, path_.size());
        slot->path[path_.size()] = '\0';
        slot->is_taken = true;
    }
}

void TemporaryPath::RemoveAll() noexcept
{
    for (auto slot = std::rbegin(slots); slot != std::rend(slots) && ::getpid() == owner; ++slot) {
        if (IsTaken(*slot)) {
            Remove(slot->path);
        }
    }
}

TemporaryPath::~TemporaryPath()
{
    if (!path_.empty()) {
        Remove(path_.c_str());
        Release();
    }
}

void TemporaryPath::Release()
{
    for (Slot& slot : slots) {
        if (IsTaken(slot) && slot.path == path_) {
            slot.is_taken = false;
        }
    }
    path_.clear();
    if (std::ranges::none_of(slots, &IsTaken)) {
        LeaveEndingSignals();
    }
}
