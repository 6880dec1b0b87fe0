#include "shell/present.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>
#include <utility>

#include "shell/HostList.h"

namespace {

// Calls take(bytes, point) for every character of UTF-8 text; a byte that is none has no point
// (-1).
template <class Take>
void EachCharacter(std::string_view text, Take take)
{
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t point = -1;
        const auto size =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                             static_cast<utf8proc_ssize_t>(text.size() - at), &point);
        const std::size_t taken = size > 0 ? static_cast<std::size_t>(size) : 1;
        take(text.substr(at, taken), size > 0 ? point : -1);
        at += taken;
    }
}

bool IsControl(utf8proc_int32_t point)
{
    return point < 0 || utf8proc_category(point) == UTF8PROC_CATEGORY_CC;
}

std::string Quoted(std::string_view text)
{
    std::string quoted = "\"";
    EachCharacter(text, [&](std::string_view bytes, utf8proc_int32_t point) {
        quoted += point == '"' || point == '\\' ? "\\" : "";
        quoted += Printable(bytes);
    });
    return quoted + '"';
}

// Addresses of a process have two zero bytes at the high end; text of that form is not seen.
bool LooksLikeHandle(std::string_view bytes)
{
    return bytes.size() == 8 && bytes.substr(6) == std::string_view("\0\0", 2) &&
           bytes.substr(0, 6) != std::string_view("\0\0\0\0\0\0", 6);
}

std::string ElementText(const ListElement& element)
{
    if (element.IsInteger()) {
        return std::to_string(element.Integer());
    }
    if (element.type == ListElement::kUnits) {
        return "u" + Quoted(element.Text());
    }
    if (element.type == ListElement::kBytes && LooksLikeHandle(element.payload)) {
        std::uint64_t handle = 0;
        for (std::size_t i = element.payload.size(); i > 0; --i) {
            handle = handle << 8 | static_cast<unsigned char>(element.payload[i - 1]);
        }
        return fmt::format("handle {:#x}", handle);
    }
    if (element.type == ListElement::kBytes) {
        return Quoted(element.payload);
    }
    if (element.type == ListElement::kNoValue) {
        return "none";
    }
    return fmt::format("{}", element.Number());
}

// Messages are best effort: that nobody can read them must not stop the rows.
template <class... Arguments>
void Say(std::FILE* messages, fmt::format_string<Arguments...> format, Arguments&&... arguments)
{
    std::fputs(fmt::format(format, std::forward<Arguments>(arguments)...).c_str(), messages);
}

}  // namespace

std::size_t DisplayWidth(std::string_view text)
{
    std::size_t width = 0;
    EachCharacter(text, [&](std::string_view, utf8proc_int32_t point) {
        width += point < 0 ? 1 : static_cast<std::size_t>(utf8proc_charwidth(point));
    });
    return width;
}

std::string Printable(std::string_view text)
{
    std::string printable;
    EachCharacter(text, [&](std::string_view bytes, utf8proc_int32_t point) {
        if (point == '\n') {
            printable += "\\n";
        } else if (point == '\t') {
            printable += "\\t";
        } else if (point == '\r') {
            printable += "\\r";
        } else if (IsControl(point)) {
            for (const char byte : bytes) {
                printable += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
            }
        } else {
            printable += bytes;
        }
    });
    return printable;
}

std::string ListText(std::string_view bytes)
{
    std::string text;
    try {
        for (const ListElement& element : DecodeList(bytes)) {
            text += (text.empty() ? "" : ", ") + ElementText(element);
        }
    } catch (const ListError& error) {
        return fmt::format("{} ({})", Quoted(bytes), error.what());
    }
    return text;
}

std::string HexText(std::string_view bytes)
{
    std::string hex;
    for (const char byte : bytes) {
        hex += fmt::format("{}{:02X}", hex.empty() ? "" : " ", static_cast<unsigned char>(byte));
    }
    return hex;
}

std::string RecordText(const TraceRecord& record)
{
    const bool is_text = record.level == "1";  // of "Test"
    const std::string data = is_text ? Quoted(record.data) : ListText(record.data);
    return Printable(record.name) + (data.empty() ? "" : "  " + data);
}

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
