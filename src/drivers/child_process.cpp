#include "drivers/child_process.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

// More output of a child is not read.
constexpr std::size_t kOutputLimit = 1'000'000;

// The exit code once the work has returned; a driver may exit with 0.
constexpr int kFinishedCode = 42;

void WriteAll(int pipe, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(pipe, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            ::_exit(EXIT_FAILURE);
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

// A parent that ends before the child asks for the signal sends none.
void EndWithParent(pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(EXIT_FAILURE);
    }
}

[[noreturn]] void RunChild(pid_t parent, int pipe,
                           const std::function<void(const Send& send)>& work)
{
    EndWithParent(parent);
    const rlimit no_core{0, 0};
    ::setrlimit(RLIMIT_CORE, &no_core);
    for (const int fatal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        std::signal(fatal, SIG_DFL);
    }
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    try {
        work([pipe](std::string_view text) { WriteAll(pipe, text); });
    } catch (...) {
        ::_exit(EXIT_FAILURE);
    }
    ::_exit(kFinishedCode);
}

// Whether the pipe was read to its end in time.
bool ReadToEndBy(Clock::time_point deadline, int pipe, std::string& output)
{
    std::array<char, 4096> block{};
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd wanted{pipe, POLLIN, 0};
        const int ready = ::poll(&wanted, 1, static_cast<int>(std::max<long>(left, 0)));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        const ssize_t size = ready > 0 ? ::read(pipe, block.data(), block.size()) : 0;
        if (size <= 0 || output.size() > kOutputLimit) {
            return ready > 0;
        }
        output.append(block.data(), static_cast<std::size_t>(size));
    }
}

// Whether the child ended in time; it has been waited for then.
bool HasEndedBy(Clock::time_point deadline, pid_t child, int& status)
{
    constexpr std::chrono::milliseconds kPause{5};
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

void Kill(pid_t child)
{
    ::kill(child, SIGKILL);
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace

ChildResult RunInChild(std::chrono::seconds limit,
                       const std::function<void(const Send& send)>& work)
{
    std::fflush(stdout);
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        RunChild(parent, ends[1], work);
    }
    const int fork_error = errno;
    ::close(ends[1]);
    if (child < 0) {
        ::close(ends[0]);
        throw std::system_error(fork_error, std::generic_category(), "fork");
    }
    const auto deadline = Clock::now() + limit;
    ChildResult result;
    const bool is_read = ReadToEndBy(deadline, ends[0], result.output);
    ::close(ends[0]);
    int status = 0;
    if (!is_read || !HasEndedBy(deadline, child, status)) {
        Kill(child);
        result.end = ChildResult::kTimedOut;
    } else if (WIFSIGNALED(status) || WEXITSTATUS(status) != kFinishedCode) {
        result.end = ChildResult::kCrashed;
        result.reason =
            WIFSIGNALED(status) ? ::strsignal(WTERMSIG(status)) : "it ended the process";
    }
    return result;
}
