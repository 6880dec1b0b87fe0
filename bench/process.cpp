#include "process.h"

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>

#include "Host.h"
#include "bare_halves.h"

namespace {

// Starts a child that does the work and ends; the parent continues with its process id.
template <class Work>
pid_t StartChild(Work work)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    Require(child >= 0, "no child process");
    if (child == 0) {
        try {
            work();
            _exit(0);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "orvelgw-bench: %s\n", error.what());
            _exit(1);
        }
    }
    return child;
}

// The run with the fewest system calls: the driver reads files and grows its memory only in some.
constexpr int kRuns = 4;

void RunMarked(const std::vector<Case>& cases, const Source& source)
{
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    for (const Case& c : cases) {
        const Pair pair = c.make(source, c.mode);
        for (const auto& half : {pair.gateway, pair.base}) {
            for (int run = 0; run < kRuns; ++run) {
                MakeMark(Mark::kNextRun);
                Meter marked(Meter::Marks::kSystemCalls);
                if (half) {
                    half(marked);
                }
            }
        }
    }
}

// The system call that a stopped child is about to make, or has made.
struct Entered {
    bool entered;
    unsigned long number;
    long argument;
};

Entered EnteredCall(pid_t child)
{
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
    return {info.op == PTRACE_SYSCALL_INFO_ENTRY, info.entry.nr,
            static_cast<long>(info.entry.args[0])};
}

// Counts a child's system calls between its marks, with a figure for each run, until it ends.
std::vector<long> CountBetweenMarks(pid_t child)
{
    std::vector<long> runs;
    bool counts = false;
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int signal = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0 &&
           waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
            signal = WSTOPSIG(status);  // one of its own, to be delivered
            continue;
        }
        signal = 0;
        const Entered call = EnteredCall(child);
        if (!call.entered) {
            continue;
        }
        const auto mark = static_cast<Mark>(call.number == SYS_getpgid ? call.argument : 0);
        if (mark == Mark::kNextRun) {
            runs.push_back(0);
        } else if (mark == Mark::kStart || mark == Mark::kStop) {
            counts = mark == Mark::kStart;
        } else if (counts) {
            ++runs.back();
        }
    }
    Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "system calls can't be counted");
    return runs;
}

double ResidentBytes()
{
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

Memory MemoryOfHost(const Source& source)
{
    Memory memory{};
    const Host host(kDefault);
    memory.loaded = ResidentBytes();
    const Handle connection = host.Connect(source);
    memory.connected = ResidentBytes();
    const Handle statement = host.Statement(connection);
    host.Prepare(statement, kKeyQuery);
    host.BindParameter(statement, 1, SQL_C_SLONG, SQL_INTEGER);
    constexpr long kFirst = 10'000;
    constexpr long kMillion = 1'000'000;
    constexpr long kCallsEach = 4;
    int32_t result = 0;
    for (long calls = 0; calls < kMillion; calls += kCallsEach) {
        if (calls == kFirst) {
            memory.after_first_calls = ResidentBytes();
        }
        LongString key = LongString::Integer(calls * 7'919 % source.rows + 1);
        host.call.set_parameter(statement.In(), key.In(), 1, &result);
        host.call.execute(statement.In(), &result);
        host.call.fetch_rows(statement.In(), 1, OutputArea());
        host.call.close_cursor(statement.In(), &result);
    }
    memory.after_million_calls = ResidentBytes();
    return memory;
}

}  // namespace

std::vector<double> AddedSystemCalls(const std::vector<Case>& cases, const Source& source)
{
    const std::vector<long> runs = CountBetweenMarks(StartChild([&] { RunMarked(cases, source); }));
    const auto fewest = [&](std::size_t half) {
        return *std::min_element(&runs.at(half * kRuns), &runs.at(half * kRuns) + kRuns);
    };
    std::vector<double> added;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto calls = static_cast<double>(cases[i].make(source, cases[i].mode).calls);
        added.push_back(static_cast<double>(fewest(2 * i) - fewest(2 * i + 1)) / calls);
    }
    return added;
}

Memory MeasureMemory(const Source& source)
{
    int ends[2];
    Require(pipe(ends) == 0, "no pipe");
    const pid_t child = StartChild([&] {
        const Memory memory = MemoryOfHost(source);
        Require(write(ends[1], &memory, sizeof memory) == sizeof memory, "no figures");
    });
    close(ends[1]);
    Memory memory{};
    const bool came = read(ends[0], &memory, sizeof memory) == sizeof memory;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    Require(came, "memory can't be measured");
    return memory;
}
