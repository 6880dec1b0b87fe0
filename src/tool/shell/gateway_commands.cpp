#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "client/HostList.h"
#include "client/TextTable.h"
#include "drivers/ConnectionString.h"
#include "text/list_text.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/commands/modes.h"
#include "tool/shell/handlers.h"
#include "tool/shell/own_program.h"

namespace {

struct Mode {
    const char* name;
    const char* word;  // of the command line
};
constexpr std::array<Mode, 3> kModes{
    {{"none", ""}, {"unicode", "--unicode"}, {"legacy", "--legacy"}}};

ModeRows RowsInMode(const Workspace& workspace, const Mode& mode, const std::string& sql)
{
    std::vector<std::string> words{"--library", workspace.Words().library, "--host-rows", "-c",
                                   sql};
    if (*mode.word != '\0') {
        words.emplace_back(mode.word);
    }
    std::string said;
    const int exit_code = RunOwnProgram(words, workspace.ConnectionString(),
                                        [&](std::string_view text) { said += text; });
    return exit_code == 0 ? ModeRowsOf(said)
                          : ModeRows{{}, {}, fmt::format("the mode {} failed", mode.name)};
}

// A cell, or why there is none.
std::string CellText(const ModeRows& rows, std::size_t row, std::size_t column)
{
    if (!rows.error.empty()) {
        return "(failed)";
    }
    if (row >= rows.rows.size() || column >= rows.rows[row].size()) {
        return "(no row)";
    }
    const auto& cell = rows.rows[row][column];
    return cell ? Escaped(*cell) : "NULL";
}

}  // namespace

void handlers::CallEntries(const MetaCall& call)
{
    Caller& caller = call.workspace.Calls();
    const auto calls = CallsOf(call.Words(), call.workspace.Library(), caller.HasConnection());
    if (!caller.Make(calls)) {
        call.workspace.exit_code = std::max(call.workspace.exit_code, kSqlFailed);
    }
}

void handlers::DecodeList(const MetaCall& call)
{
    const std::string_view digits = call.rest.substr(call.rest.starts_with("0x") ? 2 : 0);
    fmt::print(call.workspace.Out(), "{}\n", ListText(BytesOf(digits)));
}

void handlers::Trace(const MetaCall& call)
{
    const std::string word = call.Word();
    if (word.empty()) {
        throw UsageError("\\trace takes on, off or the name of a file");
    }
    call.workspace.Trace(word != "off", word == "on" || word == "off" ? "" : word);
}

void handlers::CompareModes(const MetaCall& call)
{
    Workspace& workspace = call.workspace;
    workspace.Connected();
    const std::string sql = call.rest.empty() ? call.Statement() : std::string(call.rest);
    std::vector<ModeRows> modes;
    std::size_t row_count = 0;
    std::vector<std::string> titles;
    for (const Mode& mode : kModes) {
        const ModeRows& rows = modes.emplace_back(RowsInMode(workspace, mode, sql));
        if (!rows.error.empty()) {
            workspace.Context().messages->Say(
                fmt::format("{}: {}", mode.name, Printable(WithoutSecrets(rows.error))));
        }
        row_count = std::max(row_count, rows.rows.size());
        titles = titles.empty() ? rows.titles : titles;
    }
    TextTable table({"row", "column", kModes[0].name, kModes[1].name, kModes[2].name, "differs"});
    std::uint64_t differing = 0;
    for (std::size_t row = 0; row < row_count; ++row) {
        for (std::size_t column = 0; column < titles.size(); ++column) {
            std::vector<std::string> texts{std::to_string(row + 1), titles[column]};
            for (const ModeRows& rows : modes) {
                texts.push_back(CellText(rows, row, column));
            }
            const bool differs = texts[2] != texts[3] || texts[2] != texts[4];
            differing += differs ? 1 : 0;
            texts.emplace_back(differs ? "<--" : "");
            table.Add(std::move(texts));
        }
    }
    table.PassTo(*workspace.Context().sink);
    workspace.Context().messages->Say(fmt::format("({} of {} differing)", differing,
                                                  Counted(row_count * titles.size(), "value")));
}
