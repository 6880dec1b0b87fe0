#include "client/TextTable.h"

#include "client/odbc_numbers.h"

void TextTable::PassTo(ResultSink& sink) const
{
    std::vector<Column> columns;
    columns.reserve(titles_.size());
    for (const std::string& title : titles_) {
        const bool is_numeric = columns.size() >= numeric_from_;
        columns.push_back({title, is_numeric ? kNumericType : kVarcharType});
    }
    sink.Begin(columns);
    for (const auto& row : rows_) {
        std::vector<Cell> cells;
        cells.reserve(row.size());
        for (const std::string& value : row) {
            cells.push_back({Cell::kText, value});
        }
        sink.Take(cells);
    }
    sink.End();
}

void TextTable::PassTo(ResultSink& sink, Reporter& reporter) const
{
    PassTo(sink);
    reporter.Returned({rows_.size(), {}, {}});
}
