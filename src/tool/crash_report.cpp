#include "tool/crash_report.h"

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <string_view>

#include "client/Gateway.h"
#include "client/TemporaryPath.h"
#include "text/terminal_text.h"

namespace {

struct Crash {
    int signal;
    const char* name;
};
constexpr Crash kCrashes[] = {{SIGSEGV, "segmentation fault"},
                              {SIGBUS, "bus error"},
                              {SIGABRT, "aborted"},
                              {SIGFPE, "arithmetic error"},
                              {SIGILL, "illegal instruction"}};

// Made before, as a handler of signals makes nothing.
std::array<char, 8192> driver_text;
alignas(16) std::array<char, 65'536> stack;  // a driver may have used up its own

void Say(std::string_view text)
{
    static_cast<void>(::write(STDERR_FILENO, text.data(), text.size()) == 0);
}

void Report(int signal)
{
    for (const Crash& crash : kCrashes) {
        const char* entry = Gateway::CurrentEntry::Name();
        if (crash.signal == signal && entry != nullptr) {
            for (const char* part : {"orvelgw: ", crash.name, " in ", entry,
                                     static_cast<const char*>(driver_text.data()), "\n"}) {
                Say({part, std::strlen(part)});
            }
        }
    }
    TemporaryPath::RemoveAll();
    ::raise(signal);  // with its usual action, as the handler returns
}

}  // namespace

void NameDriverOfCrashes(const std::string& driver)
{
    const std::string text = driver.empty() ? "" : ", driver " + Printable(driver);
    driver_text.fill('\0');
    text.copy(driver_text.data(), driver_text.size() - 1);
}

void ReportCrashes()
{
    const stack_t own{stack.data(), 0, stack.size()};
    ::sigaltstack(&own, nullptr);
    for (const Crash& crash : kCrashes) {
        struct sigaction action {};
        ::sigaction(crash.signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL) {
            action.sa_handler = &Report;
            action.sa_flags = static_cast<int>(SA_RESETHAND | SA_ONSTACK);
            ::sigaction(crash.signal, &action, nullptr);
        }
    }
}
