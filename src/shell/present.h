// What a person sees: rows as aligned columns, lists and trace records as text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "shell/HostServices.h"
#include "shell/Query.h"

/// Columns a terminal gives to UTF-8 text. What is not UTF-8 counts one a byte.
std::size_t DisplayWidth(std::string_view text);

/// Text that stays in its place on a terminal: control characters as \n, \t or \x1b.
std::string Printable(std::string_view text);

/// A list as a person reads it: 5, "text", u"2-byte text", handle 0x55d0c8a3f2b0.
std::string ListText(std::string_view bytes);

/// Bytes as pairs of hexadecimal digits: 03 04 FF.
std::string HexText(std::string_view bytes);

/// A trace record in one line.
std::string RecordText(const TraceRecord& record);

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
