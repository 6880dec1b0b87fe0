// What is measured, as data.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Meter.h"
#include "Source.h"

/// One piece of work, done through the gateway and bare. Each function does the whole of it and
/// shows the meter the stretches that count.
struct Pair {
    std::function<void(Meter&)> gateway;
    std::function<void(Meter&)> bare;  // none where the work has no ODBC in it
    long units;                        // rows, queries, calls: what a figure is given for
    long calls;                        // of entries, in the stretches that count
};

/// What a case is to reach.
struct Goal {
    enum Kind {
        kRatio,        // times the bare calls
        kNanoseconds,  // a unit, whatever ODBC takes
        kAbove,        // nanoseconds above the bare calls
    };
    Kind kind;
    double limit;
};

struct Case {
    std::string name;
    Mode mode;
    const char* unit;
    Goal goal;
    std::function<Pair(const Source&, const Mode&)> make;
    bool counts_allocations = false;  // rows: nothing is to be allocated for one
};

/// Queries, rows and values: over any source.
std::vector<Case> QueryCases();

/// Single calls, long data and large numbers: over SQLite alone.
std::vector<Case> CallCases();
