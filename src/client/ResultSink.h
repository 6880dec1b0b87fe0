// Where the data of results goes, and where messages about it go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A result column, as "DescribeColumns" describes it.
struct Column {
    std::string name;
    std::int64_t sql_type = 0;
    std::int64_t size = 0;
    std::int64_t digits = 0;

    bool IsNumeric() const;
    bool IsText() const;
    bool IsBinary() const;
    /// A date, a time, or both.
    bool IsDateTime() const;
};

/// A value of a row.
struct Cell {
    enum Kind { kNull, kText, kBinary, kUnreadable };

    Kind kind = kNull;
    std::string_view value;  // text, in UTF-8 unless the driver violates that, or the bytes; valid
                             // during the sink's call
    bool is_truncated = false;  // the driver delivered only its beginning
};

using Row = std::span<const Cell>;

/// Receives the data of a result, in this order.
class ResultSink {
public:
    virtual ~ResultSink() = default;

    virtual void Begin(const std::vector<Column>& columns) = 0;
    virtual void Take(Row row) = 0;
    /// The result set has ended, by its last row or by an error that is thrown next.
    virtual void End() = 0;
};

/// Values of one column that call for a message.
struct ColumnNotice {
    std::size_t index = 0;  // of the column, from 0
    std::string column;
    std::uint64_t count = 0;
    std::uint64_t first_row = 0;           // from 1
    std::vector<std::string> diagnostics;  // the driver's, of the first one
};

/// What there is to report about a result set besides its data.
struct ResultSummary {
    std::uint64_t rows = 0;
    std::vector<ColumnNotice> truncated;
    std::vector<ColumnNotice> unreadable;
};

/// Receives what is to be reported besides the data, whatever the data's format.
class Reporter {
public:
    virtual ~Reporter() = default;

    /// A result set has ended; the sink has received all of its data.
    virtual void Returned(const ResultSummary& summary) = 0;
    /// A statement changed that many rows.
    virtual void Changed(std::int64_t rows) = 0;
    /// A statement that changes no rows, or doesn't report how many, is done.
    virtual void Done() = 0;
    /// The driver succeeded with diagnostics, one line per record.
    virtual void Warned(const std::vector<std::string>& diagnostics) = 0;
};

/// Ignores what a statement reports besides its rows.
class NoReporter : public Reporter {
public:
    void Returned(const ResultSummary& /*summary*/) override {}
    void Changed(std::int64_t /*rows*/) override {}
    void Done() override {}
    void Warned(const std::vector<std::string>& /*diagnostics*/) override {}
};
