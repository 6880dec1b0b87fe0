// What is measured, as data.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Meter.h"
#include "Source.h"
#include "bare_halves.h"

/// One piece of work through the gateway, and what that is compared with: as a rule the same ODBC
/// calls made bare. Each function does the whole of it and shows the meter the stretches that
/// count.
struct Pair {
    Half gateway;
    Half base;   // none where the work has no ODBC in it
    long units;  // rows, queries, calls: what a figure is given for
    long calls;  // of entries, in the stretches that count
};

/// What a case is to reach.
struct Goal {
    enum Kind {
        kRatio,        // times the base
        kNanoseconds,  // a unit
        kAbove,        // nanoseconds above the base
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
    bool base_is_bare = true;
    std::size_t pairs = 0;  // where it takes a certain number of them
};

/// Queries, rows and inserts: over any source.
std::vector<Case> QueryCases();

/// Single calls, long data and large numbers: over SQLite alone.
std::vector<Case> CallCases();
