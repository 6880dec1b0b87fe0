// What is measured, as data.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Meter.h"
#include "Source.h"
#include "bare_halves.h"

/// A task performed through the gateway, and its base for comparison: usually the same ODBC calls
/// made directly. Each function performs the whole task and starts and stops the meter for the
/// parts that count.
struct Pair {
    Half gateway;
    Half base;   // none if the task involves no ODBC
    long units;  // rows, queries, calls: what a figure refers to
    long calls;  // of entries, in the parts that count
};

/// The goal of a case.
struct Goal {
    enum Kind {
        kRatio,        // times the base
        kNanoseconds,  // per unit
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
    std::size_t pairs = 0;  // if the case needs a certain number of them
};

/// Queries, rows and inserts, for any source.
std::vector<Case> QueryCases();

/// Single calls, long data and large numbers, for SQLite only.
std::vector<Case> CallCases();
