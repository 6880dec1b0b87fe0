// Results as aligned columns.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "client/Query.h"

/// Prints results as aligned columns: rows to one stream, counts and warnings to another.
class TablePrinter : public ResultSink {
public:
    TablePrinter(std::FILE* data, std::FILE* messages, std::string null_text)
        : data_(data), messages_(messages), null_text_(std::move(null_text))
    {}

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;
    void End() override;
    void Changed(std::int64_t rows) override;
    void Warn(const std::vector<std::string>& diagnostics) override;

private:
    // The values of one column that want a word: how many, and the first one's row.
    struct Mentioned {
        std::size_t count = 0;
        std::size_t first_row = 0;
    };

    void PrintLine(const std::vector<std::string>& cells, bool is_title) const;
    void Mention(const std::map<std::size_t, Mentioned>& mentioned, const char* what) const;

    std::FILE* data_;
    std::FILE* messages_;
    std::string null_text_;
    std::vector<Column> columns_;
    std::vector<std::size_t> widths_;
    std::vector<std::vector<std::string>> rows_;
    std::map<std::size_t, Mentioned> cut_;
    std::map<std::size_t, Mentioned> unreadable_;
};
