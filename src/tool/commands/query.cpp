#include "tool/commands/query.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

#include "client/Statement.h"
#include "client/file_transfer.h"
#include "client/odbc_numbers.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/commands/script.h"
#include "tool/failures.h"
#include "tool/output/Messages.h"
#include "tool/output/format.h"

namespace {

std::vector<ParameterValue> ParameterValues(const std::vector<Marker>& markers)
{
    std::vector<ParameterValue> values;
    values.reserve(markers.size());
    for (const auto& [word, is_file] : markers) {
        values.push_back(is_file ? ParameterValue(FileValue{word}) : ParameterValue(ValueOf(word)));
    }
    return values;
}

void WriteIntoFile(Statement& statement, const std::string& file, const Messages& messages)
{
    const std::uint64_t size = WriteFirstValue(statement, file);
    messages.Say(fmt::format("({} written to {}{})", Counted(size, "byte"), Printable(file),
                             size == 0 ? ": NULL, or an empty value" : ""));
}

ExitCode GetValue(const CommandLine& command, const ScriptContext& context)
{
    Statement statement(
        *context.session,
        WithVariables(command.statements[0].text, context.variables, context.dialect),
        *context.messages);
    statement.Bind(ParameterValues(command.markers));
    WriteIntoFile(statement, *command.get_file, *context.messages);
    return kDone;
}

// What the words name as scripts, in their order, so that nothing runs where one is none.
std::deque<Script> ReadScripts(const std::vector<SqlInput>& inputs)
{
    std::deque<Script> scripts;
    for (const auto& [file, is_file] : inputs) {
        if (is_file) {
            scripts.push_back(ReadScript(file));
        }
    }
    return scripts;
}

ExitCode RunInputs(const CommandLine& command, ScriptContext& context, std::deque<Script> scripts)
{
    ExitCode exit_code = kDone;
    for (const auto& [text, is_file] : command.statements) {
        ExitCode code = kDone;
        if (is_file) {
            code = RunScript(context, scripts.front());
            scripts.pop_front();
        } else {
            code = Attempt(context, [&, &sql = text] {
                context.values = ParameterValues(command.markers);
                return RunSql(context, sql);
            });
        }
        exit_code = std::max(exit_code, code);
    }
    return exit_code;
}

// Rolls back, and says what that came to: a source may have committed some of it by itself.
void Undo(Transaction& transaction, const Session& session, const Messages& messages)
{
    constexpr char kAllCapable = 2;  // SQL_TC_ALL
    try {
        transaction.Rollback();
        const bool is_all = session.Information(kTransactionCapable).starts_with(kAllCapable) &&
                            !session.Source().commits_definitions;
        messages.Say(is_all ? "(rolled back)"
                            : "(rolled back, but for what the data source commits by itself, such "
                              "as CREATE and DROP, and tables without transactions)");
    } catch (const SqlError&) {
        messages.Say("(the rollback failed: what was done may stay)");
    }
}

ExitCode RunTogether(const CommandLine& command, ScriptContext& context, std::deque<Script> scripts)
{
    Transaction transaction(*context.session);
    try {
        const ExitCode exit_code = RunInputs(command, context, std::move(scripts));
        transaction.Commit();
        return exit_code;
    } catch (...) {
        const ExitCode exit_code = ReportFailure(command);
        Undo(transaction, *context.session, *context.messages);
        return exit_code;
    }
}

}  // namespace

ExitCode RunStatements(const CommandLine& command, ScriptContext& context)
{
    auto scripts = ReadScripts(command.statements);
    if (command.get_file) {
        return GetValue(command, context);
    }
    return command.script.is_single_transaction ? RunTogether(command, context, std::move(scripts))
                                                : RunInputs(command, context, std::move(scripts));
}
