#include "tool/commands/query.h"

#include <fmt/format.h>

#include <vector>

#include "client/Statement.h"
#include "client/file_transfer.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/output/Messages.h"
#include "tool/output/TablePrinter.h"

namespace {

std::vector<ParameterValue> ParameterValues(const std::vector<Marker>& markers)
{
    std::vector<ParameterValue> values;
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

}  // namespace

ExitCode RunStatements(const CommandLine& command, const Session& session)
{
    Messages messages(stderr);
    TablePrinter printer(stdout, command.null_text);
    ExitCode exit_code = kDone;
    for (const std::string& sql : command.statements) {
        Statement statement(session, sql, messages);
        statement.Bind(ParameterValues(command.markers));
        if (command.get_file) {
            WriteIntoFile(statement, *command.get_file, messages);
        } else if (statement.Run(printer).has_unreadable_values) {
            exit_code = kSqlFailed;
        }
    }
    return exit_code;
}
