// The bare halves as C functions, for programs in other languages.
#include <cstdio>
#include <exception>
#include <map>

#include "bare_halves.h"

namespace {

// Narrow text over an environment of ODBC 3, which these drivers' managers take alike.
constexpr Mode kMode{"", 0, 0, SQL_OV_ODBC3, SQL_C_CHAR, 1001, 1000};

std::map<std::string, Half> halves;

Half Make(const Source& source, const std::string& task)
{
    if (task == kFetchWithExecute) {
        return BareRows(source, kMode, Counted::kWithExecute, kMode.row_buffer);
    }
    if (task == kByKey) {
        return BareKeyQueries(source, kMode);
    }
    if (task == kByNewStatement) {
        return BareNewStatements(source, kMode);
    }
    return BareInserts(source, kMode);
}

}  // namespace

#pragma GCC visibility push(default)

/// Does the next part of a task over a connection string and a table of so many rows; returns its
/// nanoseconds, or -1 where it failed.
extern "C" double RunBare(const char* connection_string, long rows, const char* task)
{
    try {
        auto half = halves.find(task);
        if (half == halves.end()) {
            half = halves.emplace(task, Make({"", connection_string, rows}, task)).first;
        }
        Meter meter;
        half->second(meter);
        return meter.Nanoseconds();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bare calls: %s\n", error.what());
        return -1;
    }
}

#pragma GCC visibility pop
