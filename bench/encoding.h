// The encoding by itself, without ODBC.
#pragma once

#include <string>
#include <vector>

struct EncodingFigure {
    std::string name;
    double nanoseconds;         // per value
    double gigabytes_a_second;  // of what is read
    double allocations;         // per value
};

/// Runs Google Benchmark over the encoding's operations.
std::vector<EncodingFigure> MeasureEncoding(bool quick);
