#include "tool/password_prompt.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <string_view>

#include "text/value_syntax.h"

namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile std::sig_atomic_t interrupt = 0;

void Note(int signal)
{
    interrupt = signal;
}

/// Signals that end the process end a read instead, as long as it lives, and come afterwards.
class Interruptible {
public:
    Interruptible()
    {
        interrupt = 0;
        struct sigaction action {};
        action.sa_handler = &Note;  // no SA_RESTART
        for (std::size_t i = 0; i < std::size(kInterrupts); ++i) {
            ::sigaction(kInterrupts[i], &action, &before_[i]);
        }
    }
    ~Interruptible()
    {
        for (std::size_t i = 0; i < std::size(kInterrupts); ++i) {
            ::sigaction(kInterrupts[i], &before_[i], nullptr);
        }
        if (interrupt != 0) {
            ::raise(interrupt);
        }
    }
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;

private:
    struct sigaction before_[std::size(kInterrupts)]{};
};

/// The terminal of the process, without echo as long as this object lives.
class Terminal {
public:
    Terminal() : descriptor_(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (descriptor_ < 0) {
            throw UsageError(
                "--password needs a terminal; --password-file and ORVELGW_PASSWORD need none");
        }
        ::tcgetattr(descriptor_, &before_);
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        silent.c_cc[VSUSP] = _POSIX_VDISABLE;
        ::tcsetattr(descriptor_, TCSAFLUSH, &silent);
    }
    ~Terminal()
    {
        ::tcsetattr(descriptor_, TCSAFLUSH, &before_);
        ::close(descriptor_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Write(std::string_view text) const
    {
        static_cast<void>(::write(descriptor_, text.data(), text.size()) == 0);
    }

    std::string ReadLine() const
    {
        std::string line;
        char byte = '\0';
        while (interrupt == 0 && ::read(descriptor_, &byte, 1) == 1 && byte != '\n') {
            line.push_back(byte);
        }
        return line;
    }

private:
    int descriptor_;
    termios before_{};
};

}  // namespace

std::string AskPassword(const std::string& prompt)
{
    std::string password;
    {
        const Interruptible interruptible;
        const Terminal terminal;
        terminal.Write(prompt);
        password = terminal.ReadLine();
    }
    if (password.empty()) {
        throw UsageError("no password was typed");
    }
    return password;
}
