// What is said beside the data.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "client/ResultSink.h"

/// Says it on a stream, whatever the format of the data. That nobody can read it stops nothing.
class Messages : public Reporter {
public:
    /// Without counts it does not say how many rows came or changed.
    explicit Messages(std::FILE* stream, bool has_counts = true)
        : stream_(stream), has_counts_(has_counts)
    {}

    void Returned(const ResultSummary& summary) override;
    void Changed(std::int64_t rows) override;
    void Done() override;
    void Warned(const std::vector<std::string>& diagnostics) override;

    /// A line of its own.
    void Say(const std::string& line) const;

private:
    void Mention(const std::vector<ColumnNotice>& notices, const char* what) const;
    void Count(const std::string& line) const;

    std::FILE* stream_;
    bool has_counts_;
};

/// A count with its noun: "1 row", "3 rows".
std::string Counted(std::uint64_t count, const char* noun);
