#include "tool/commands/modes.h"

#include <cstdio>
#include <utility>

#include "client/HostList.h"

namespace {

constexpr std::int32_t kMostRows = 100;

std::string ListOfTexts(const std::vector<std::string>& texts)
{
    std::vector<ListValue> values(texts.begin(), texts.end());
    return EncodeList(values);
}

ModeRows Read(const Session& session, const std::string& sql)
{
    ModeRows read;
    try {
        NoReporter reporter;
        Statement statement(session, sql, reporter);
        statement.Execute();
        for (Column& column : statement.Describe()) {
            read.titles.push_back(std::move(column.name));
        }
        read.rows = FetchHostRows(statement, kMostRows);
    } catch (const SqlError& error) {
        read.error = error.diagnostics.empty() ? error.what() : MessageOf(error.diagnostics[0]);
    }
    return read;
}

// A NULL is a list of nothing, a value a list of it.
std::string ListOfRow(const HostRow& row)
{
    std::vector<ListValue> cells;
    for (const auto& cell : row) {
        cells.emplace_back(cell ? ListOfTexts({*cell}) : std::string());
    }
    return EncodeList(cells);
}

}  // namespace

ExitCode WriteModeRows(const Session& session, const std::string& sql)
{
    const ModeRows read = Read(session, sql);
    std::vector<ListValue> parts{read.error, ListOfTexts(read.titles)};
    for (const HostRow& row : read.rows) {
        parts.emplace_back(ListOfRow(row));
    }
    const std::string bytes = EncodeList(parts);
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    return kDone;
}

ModeRows ModeRowsOf(std::string_view written)
{
    ModeRows read;
    const auto parts = DecodeList(written);
    if (parts.size() < 2) {
        throw ListError("rows of a mode without their head");
    }
    read.error = parts[0].payload;
    for (const ListElement& title : DecodeList(parts[1].payload)) {
        read.titles.emplace_back(title.payload);
    }
    for (std::size_t i = 2; i < parts.size(); ++i) {
        HostRow& row = read.rows.emplace_back();
        for (const ListElement& cell : DecodeList(parts[i].payload)) {
            const auto values = DecodeList(cell.payload);
            row.push_back(values.empty() ? std::nullopt
                                         : std::optional(std::string(values[0].payload)));
        }
    }
    return read;
}
