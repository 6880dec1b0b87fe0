// Results as aligned columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tool/output/TextSink.h"

/// Prints a result as a table whose columns are as wide as the first rows need them. Those are kept
/// until the widths are known; behind them nothing is, and a wider value pushes its line out.
class TablePrinter : public TextSink {
public:
    TablePrinter(const OutputSettings& settings, std::FILE* out);

    void Begin(const std::vector<Column>& columns) override;
    void Take(Row row) override;
    void End() override;

private:
    /// Text and the columns that it takes on a terminal.
    struct Field {
        std::string text;
        std::size_t width = 0;
    };
    using Line = std::vector<Field>;

    Field Shown(const Cell& cell) const;
    void Append(std::size_t column, std::string_view text, std::size_t width, bool is_right);
    void PrintLine();
    void PrintTitles();
    void PrintHead();

    std::string null_text_;
    std::vector<std::size_t> widths_;
    std::vector<Line> first_rows_;
    bool has_head_ = false;
};

/// A value as it stands in a table or a list: control characters as \n or \x1b, a backslash as \\,
/// bytes as \x00ff, or as their number where they are many.
std::string ShownValue(const Cell& cell, const std::string& null_text);
