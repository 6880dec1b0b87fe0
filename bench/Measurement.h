// Figures from pairs.
#pragma once

#include <vector>

#include "Case.h"

struct Quartiles {
    double low;
    double median;
    double high;
};

Quartiles QuartilesOf(std::vector<double> values);

/// The results of a case's pairs; figures are per unit.
struct Measurement {
    Quartiles ratio{};       // of each pair's two halves
    Quartiles difference{};  // additional nanoseconds of the gateway's half
    double gateway = 0;      // nanoseconds, median
    double base = 0;
    double allocations = 0;  // additional ones of the gateway's half
    std::size_t pairs = 0;
};

struct Effort {
    double seconds;  // per case
    std::size_t least;
    std::size_t most;
};

/// Runs the two halves of pairs in turn, in alternating order, after a first pair that doesn't
/// count.
Measurement Measure(const Pair& pair, const Effort& effort);
