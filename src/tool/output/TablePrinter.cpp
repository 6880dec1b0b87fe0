#include "tool/output/TablePrinter.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "text/byte_text.h"
#include "text/terminal_text.h"

namespace {

// Rows by which a table is as wide as it is.
constexpr std::size_t kFirstRows = 300;

constexpr std::size_t kLongestBinary = 32;

bool IsPlain(std::string_view text)
{
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
}

std::string BinaryText(std::string_view bytes)
{
    if (bytes.size() > kLongestBinary) {
        return fmt::format("(binary, {} bytes)", bytes.size());
    }
    std::string text;
    AppendHex(text, bytes);
    return text;
}

}  // namespace

std::string ShownValue(const Cell& cell, const std::string& null_text)
{
    switch (cell.kind) {
        case Cell::kNull:
            return null_text;
        case Cell::kUnreadable:
            return kUnreadableText;
        case Cell::kBinary:
            return BinaryText(cell.value);
        default:
            return IsPlain(cell.value) ? std::string(cell.value) : Escaped(cell.value);
    }
}

TablePrinter::TablePrinter(const OutputSettings& settings, std::FILE* out)
    : TextSink(settings, out), null_text_(settings.null_text.value_or(kNullText))
{}

void TablePrinter::Begin(const std::vector<Column>& columns)
{
    TextSink::Begin(columns);
    first_rows_.clear();
    has_head_ = false;
    widths_.clear();
    for (const Column& column : columns) {
        widths_.push_back(Settings().tuples_only ? 0 : DisplayWidth(Escaped(column.name)));
    }
}

TablePrinter::Field TablePrinter::Shown(const Cell& cell) const
{
    Field field{ShownValue(cell, null_text_)};
    field.width = DisplayWidth(field.text);
    return field;
}

void TablePrinter::Take(Row row)
{
    if (!has_head_) {
        Line& line = first_rows_.emplace_back();
        for (std::size_t i = 0; i < row.size(); ++i) {
            line.push_back(Shown(row[i]));
            widths_[i] = std::max(widths_[i], line[i].width);
        }
        if (first_rows_.size() == kFirstRows) {
            PrintHead();
        }
        return;
    }
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (row[i].kind == Cell::kText && IsPlain(row[i].value)) {
            Append(i, row[i].value, row[i].value.size(), Columns()[i].IsNumeric());
        } else {
            const auto [text, width] = Shown(row[i]);
            Append(i, text, width, Columns()[i].IsNumeric());
        }
    }
    PrintLine();
}

void TablePrinter::Append(std::size_t column, std::string_view text, std::size_t width,
                          bool is_right)
{
    const std::size_t blanks = widths_[column] - std::min(width, widths_[column]);
    Text() += column > 0 ? " | " : "";
    Text().append(is_right ? blanks : 0, ' ').append(text).append(is_right ? 0 : blanks, ' ');
}

void TablePrinter::PrintLine()
{
    Text().erase(Text().find_last_not_of(' ') + 1);
    Text() += '\n';
    Write();
}

void TablePrinter::PrintTitles()
{
    for (std::size_t i = 0; i < widths_.size(); ++i) {
        const std::string title = Escaped(Columns()[i].name);
        Append(i, title, DisplayWidth(title), false);
    }
    PrintLine();
    for (std::size_t i = 0; i < widths_.size(); ++i) {
        Text().append(i > 0 ? "-+-" : "").append(widths_[i], '-');
    }
    PrintLine();
}

// And the rows that were kept until then.
void TablePrinter::PrintHead()
{
    if (!Settings().tuples_only) {
        PrintTitles();
    }
    for (const Line& line : std::exchange(first_rows_, {})) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            Append(i, line[i].text, line[i].width, Columns()[i].IsNumeric());
        }
        PrintLine();
    }
    has_head_ = true;
}

void TablePrinter::End()
{
    if (!has_head_) {
        PrintHead();
    }
    TextSink::End();
}
