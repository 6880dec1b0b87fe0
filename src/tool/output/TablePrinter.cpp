#include "tool/output/TablePrinter.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "text/terminal_text.h"

namespace {

// Messages are best effort: that nobody can read them must not stop the rows.
template <class... Arguments>
void Say(std::FILE* messages, fmt::format_string<Arguments...> format, Arguments&&... arguments)
{
    std::fputs(fmt::format(format, std::forward<Arguments>(arguments)...).c_str(), messages);
}

}  // namespace

void TablePrinter::Begin(const std::vector<Column>& columns)
{
    columns_ = columns;
    widths_.clear();
    rows_.clear();
    cut_.clear();
    unreadable_.clear();
    for (const Column& column : columns_) {
        widths_.push_back(DisplayWidth(Printable(column.name)));
    }
}

void TablePrinter::Take(Row row)
{
    std::vector<std::string> cells;
    const auto mention = [&](std::map<std::size_t, Mentioned>& mentioned, std::size_t column) {
        if (mentioned[column].count++ == 0) {
            mentioned[column].first_row = rows_.size() + 1;
        }
    };
    for (std::size_t i = 0; i < std::min(row.size(), columns_.size()); ++i) {
        if (row[i].may_be_cut) {
            mention(cut_, i);
        }
        if (row[i].unreadable) {
            mention(unreadable_, i);
        }
        cells.push_back(row[i].text ? Printable(*row[i].text) : null_text_);
        widths_[i] = std::max(widths_[i], DisplayWidth(cells.back()));
    }
    rows_.push_back(std::move(cells));
}

void TablePrinter::PrintLine(const std::vector<std::string>& cells, bool is_title) const
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string space(widths_[i] - DisplayWidth(cells[i]), ' ');
        const bool right = columns_[i].IsNumeric() && !is_title;
        line += (i > 0 ? " | " : "") + (right ? space + cells[i] : cells[i] + space);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    fmt::print(data_, "{}\n", line);
}

void TablePrinter::Mention(const std::map<std::size_t, Mentioned>& mentioned,
                           const char* what) const
{
    for (const auto& [column, values] : mentioned) {
        Say(messages_, "orvelgw: column {}: {} {}, first in row {}, {}\n",
            Printable(columns_[column].name), values.count, values.count == 1 ? "value" : "values",
            values.first_row, what);
    }
}

void TablePrinter::End()
{
    std::vector<std::string> titles;
    std::string rule;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        titles.push_back(Printable(columns_[i].name));
        rule += (i > 0 ? "-+-" : "") + std::string(widths_[i], '-');
    }
    PrintLine(titles, true);
    fmt::print(data_, "{}\n", rule);
    for (const auto& row : rows_) {
        PrintLine(row, false);
    }
    std::fflush(data_);
    Mention(cut_, "as long as a row brings (1,000 characters or bytes) and perhaps cut");
    Mention(unreadable_, "read <ERROR>, as does what the driver fails to deliver");
    Say(messages_, "({} {})\n", rows_.size(), rows_.size() == 1 ? "row" : "rows");
}

void TablePrinter::Changed(std::int64_t rows)
{
    if (rows < 0) {
        std::fputs("(done)\n", messages_);
    } else {
        Say(messages_, "({} {} changed)\n", rows, rows == 1 ? "row" : "rows");
    }
}

void TablePrinter::Warn(const std::vector<std::string>& diagnostics)
{
    for (const std::string& line : diagnostics) {
        Say(messages_, "{}\n", Printable(line));
    }
}
