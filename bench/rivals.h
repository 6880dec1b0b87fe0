// Other ways to the same rows, measured by programs of their own.
#pragma once

#include <string>
#include <vector>

#include "Measurement.h"
#include "Source.h"

/// What one costs, against bare calls over its own driver manager. Times are nanoseconds a unit.
struct Rival {
    std::string name;
    std::string task;
    Quartiles ratio;
    double time;
    double base;
};

/// Runs a command with the source's connection string and rows and so many seconds for a task as
/// its last arguments. It writes a line for each task: its name, the task, the quartiles of the
/// ratio, its time and that of the bare calls, with tabs between.
std::vector<Rival> RunRival(const std::string& command, const Source& source, double seconds);
