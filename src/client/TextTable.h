// A result that is made here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "client/ResultSink.h"

/// Rows of text, on their way to a sink.
class TextTable {
public:
    /// The columns from numeric_from on, counted from 0, hold numbers.
    explicit TextTable(std::vector<std::string> titles, std::size_t numeric_from = SIZE_MAX)
        : titles_(std::move(titles)), numeric_from_(numeric_from)
    {}

    void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    bool IsEmpty() const { return rows_.empty(); }

    void PassTo(ResultSink& sink) const;
    void PassTo(ResultSink& sink, Reporter& reporter) const;

private:
    std::vector<std::string> titles_;
    std::size_t numeric_from_;
    std::vector<std::vector<std::string>> rows_;
};
