// Figures out of pairs.
#pragma once

#include <vector>

#include "Case.h"

struct Quartiles {
    double low;
    double median;
    double high;
};

Quartiles QuartilesOf(std::vector<double> values);

/// What the pairs of a case came to; figures are a unit's.
struct Measurement {
    Quartiles ratio{};       // of each pair's two halves
    Quartiles difference{};  // nanoseconds that the gateway's half takes more
    double gateway = 0;      // nanoseconds, median
    double base = 0;
    double allocations = 0;  // that the gateway's half makes more
    std::size_t pairs = 0;
};

struct Effort {
    double seconds;  // for a case
    std::size_t least;
    std::size_t most;
};

/// Runs the two halves of a pair in turn, the order changing with each pair, after one that doesn't
/// count.
Measurement Measure(const Pair& pair, const Effort& effort);
