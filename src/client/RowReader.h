// The rows of a result, with whole values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/Entry.h"
#include "client/ResultSink.h"
#include "client/Session.h"
#include "client/ValueReader.h"

/// Reads row by row and column by column, since what a row entry truncates is lost once it reads
/// another column. Binary columns are read as bytes.
class RowReader {
public:
    /// Warnings from fetching go to the reporter.
    RowReader(const Session& session, const HandleArgument& statement, std::vector<Column> columns,
              Reporter& reporter);

    /// Fetches the next row and reads it. Returns false after the last one. Throws SqlError.
    bool Next();

    /// The row; valid until the next one.
    Row Cells() const { return cells_; }

    const ResultSummary& Summary() const { return summary_; }

private:
    struct Extent {
        std::size_t begin = 0;
        std::size_t size = 0;
    };

    Cell::Kind ReadValue(std::size_t index);
    void ReadOn(std::size_t index);
    bool IsNullBinary(std::int32_t column);
    void Note(std::vector<ColumnNotice>& notices, std::size_t index) const;

    const Session& session_;
    const HandleArgument& statement_;
    std::vector<Column> columns_;
    Reporter& reporter_;
    Entry<const char*> fetch_;
    ValueReader reader_;
    bool forgets_null_binary_;
    std::string values_;  // of the row, one after the other
    std::vector<Extent> extents_;
    std::vector<Cell> cells_;
    ResultSummary summary_;
};
