#include "tool/commands/import_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "client/ascii.h"
#include "client/odbc_numbers.h"
#include "text/near_name.h"
#include "text/terminal_text.h"

namespace {

const Column* FindColumn(const std::vector<Column>& columns, std::string_view name)
{
    auto found = std::ranges::find(columns, name, &Column::name);
    if (found == columns.end()) {
        found = std::ranges::find_if(
            columns, [&](const Column& column) { return EqualsIgnoringCase(column.name, name); });
    }
    return found != columns.end() ? &*found : nullptr;
}

// The delimiter by which the first name in a title is a column's, as far as there is one.
std::optional<char> LikelyDelimiter(const std::vector<Column>& columns, std::string_view title)
{
    constexpr std::string_view kDelimiters = ";\t|,:";
    for (const char delimiter : kDelimiters) {
        const auto end = title.find(delimiter);
        if (end != std::string_view::npos && FindColumn(columns, title.substr(0, end)) != nullptr) {
            return delimiter;
        }
    }
    return std::nullopt;
}

// What may have been meant by a name that the table does not have.
std::string Suggestion(const std::vector<Column>& columns, std::string_view name)
{
    if (const auto delimiter = LikelyDelimiter(columns, name)) {
        return fmt::format("; did you mean --delimiter '{}'?",
                           *delimiter == '\t' ? "\\t" : std::string(1, *delimiter));
    }
    std::vector<std::string_view> names;
    names.reserve(columns.size());
    for (const Column& column : columns) {
        names.emplace_back(column.name);
    }
    const auto near = NearName(name, names);
    return near.empty() ? "" : fmt::format("; did you mean {}?", Quoted(near));
}

}  // namespace

const Column& ColumnNamed(const std::vector<Column>& columns, std::string_view name,
                          const std::string& table)
{
    if (const Column* column = FindColumn(columns, name)) {
        return *column;
    }
    throw SqlError(
        fmt::format("{} has no column {}{}", table, Quoted(name), Suggestion(columns, name)));
}

std::vector<Column> ColumnsOf(const Session& session, const std::string& table, Reporter& reporter)
{
    Statement statement(session, "SELECT * FROM " + table + " WHERE 1 = 0", reporter);
    statement.Execute();
    return statement.Describe();
}

ParameterShape ShapeOf(const Column& column, const SourceTraits& source)
{
    constexpr std::int64_t kLongestDateTime = 64;
    constexpr std::int64_t kDigitsOf32Bits = 10;
    ParameterShape shape{column.sql_type, std::max<std::int64_t>(column.size, 1), column.digits,
                         column.IsBinary()};
    if (column.IsDateTime() && !source.misreads_text) {
        shape = {.sql_type = kVarcharType, .size = kLongestDateTime};
    }
    const bool is_big = column.sql_type == kBigintType ||
                        (column.sql_type == kIntegerType && column.size > kDigitsOf32Bits);
    if (is_big && source.loses_big_integers) {
        shape.sql_type = kBigintType;
    }
    return shape;
}
