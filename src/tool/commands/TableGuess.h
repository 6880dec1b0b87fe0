// The table that a CSV file could be the rows of.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "client/Session.h"

/// What the values of a column have been so far, and so its type.
class TypeGuess {
public:
    void Take(std::string_view value);

    /// INTEGER, BIGINT or DOUBLE PRECISION, where each value is as good as its text; or else the
    /// data source's type of long bytes, where all are written as such, its type of long text, or a
    /// VARCHAR as long as the longest.
    std::string Name(const Session& session) const;

private:
    bool has_values_ = false;
    bool is_integer_ = true;
    bool is_big_ = false;
    bool is_double_ = true;
    bool is_binary_ = true;
    std::size_t longest_ = 1;
};

/// The statement that creates a table of these columns, the guesses in the same order.
std::string CreateTable(const Session& session, const std::string& table,
                        const std::vector<std::string>& names,
                        const std::vector<TypeGuess>& guesses);
