// Calls of entries, traced, as lines of a file.
#pragma once

#include <string>

#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// A call of an entry, as its records tell of it.
struct TracedCall {
    double at = 0;       // seconds since the trace began
    std::string entry;   // the external name
    std::string handle;  // conn#1 or stmt#2, empty: none
    std::string arguments;
    std::string outcome;      // what the END record holds
    double milliseconds = 0;  // between the records
    bool failed = false;
};

/// A call as a line of JSON, without the line's end.
std::string JsonLine(const TracedCall& call);

/// A call as a person reads it.
std::string CallLine(const TracedCall& call);

/// orvelgw trace: reads a file of such lines and shows the calls that the words ask for, or a
/// summary by entry: calls, errors, time. Throws UsageError and std::system_error.
ExitCode PrintTrace(const CommandLine& command);
