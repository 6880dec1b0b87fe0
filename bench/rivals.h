// Other ways to the same rows, measured by separate programs.
#pragma once

#include <string>
#include <vector>

#include "Measurement.h"
#include "Source.h"

/// What one costs compared with bare calls through its own driver manager. Times are nanoseconds
/// per unit.
struct Rival {
    std::string name;
    std::string task;
    Quartiles ratio;
    double time;
    double base;
};

/// Runs a command with the source's connection string, its rows and the seconds per task as its
/// last arguments. It writes a line for each task: its name, the task, the quartiles of the ratio,
/// its time and that of the bare calls, separated by tabs.
std::vector<Rival> RunRival(const std::string& command, const Source& source, double seconds);
