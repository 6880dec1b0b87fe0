#include "tool/output/VerticalPrinter.h"

#include <fmt/format.h>

#include <algorithm>

#include "text/terminal_text.h"
#include "tool/output/TablePrinter.h"

VerticalPrinter::VerticalPrinter(const OutputSettings& settings, std::FILE* out)
    : TextSink(settings, out), null_text_(settings.null_text.value_or(kNullText))
{}

void VerticalPrinter::Begin(const std::vector<Column>& columns)
{
    TextSink::Begin(columns);
    rows_ = 0;
    titles_.clear();
    std::size_t width = 0;
    for (const Column& column : columns) {
        titles_.push_back(Escaped(column.name));
        width = std::max(width, DisplayWidth(titles_.back()));
    }
    for (std::string& title : titles_) {
        title.append(width - DisplayWidth(title), ' ');
    }
}

void VerticalPrinter::Take(Row row)
{
    ++rows_;
    if (!Settings().tuples_only) {
        Text() += fmt::format("-[ RECORD {} ]-\n", rows_);
    } else if (rows_ > 1) {
        Text() += '\n';
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::string value = ShownValue(row[i], null_text_);
        Text().append(titles_[i]).append(value.empty() ? " |" : " | ").append(value) += '\n';
    }
    Write();
}
