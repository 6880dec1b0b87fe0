// What can only be measured from outside a process, in children of this one.
#pragma once

#include <vector>

#include "Case.h"

/// The additional system calls of the gateway's half of each case, per call of an entry.
std::vector<double> AddedSystemCalls(const std::vector<Case>& cases, const Source& source);

/// Resident memory of a host, in bytes.
struct Memory {
    double loaded;
    double connected;
    double after_first_calls;
    double after_million_calls;
};

Memory MeasureMemory(const Source& source);
