#include "tool/script_words.h"

#include <fmt/format.h>

namespace {

void SetVariable(const std::string& word, Variables& variables)
{
    const auto equals = word.find('=');
    const std::string name = word.substr(0, equals);
    if (equals == std::string::npos || !IsVariableName(name)) {
        throw CLI::ValidationError(
            "--set", "NAME=VALUE is needed, a name of letters, digits and underscores");
    }
    variables[name] = word.substr(equals + 1);
}

}  // namespace

void AddScriptOptions(CLI::App& app, CommandLine& command)
{
    ScriptOptions& script = command.script;
    app.add_option_function<std::vector<std::string>>(
           "-v,--set",
           [&script](const std::vector<std::string>& words) {
               for (const std::string& word : words) {
                   SetVariable(word, script.variables);
               }
           },
           "Set a variable: in statements :NAME is replaced by its value, :'NAME' by the value as "
           "a literal, :\"NAME\" by the value as a quoted name")
        ->type_name("NAME=VALUE")
        ->type_size(1)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    const auto add = [&app](const char* names, bool& flag, const char* description) {
        app.add_flag(names, flag, description)->disable_flag_override();
    };
    add("--keep-going", script.keeps_going,
        "Go on after a statement that fails; the exit code is 1 all the same");
    add("-1,--single-transaction", script.is_single_transaction,
        "Run all statements in one transaction, which is rolled back if one fails");
    add("--echo", script.echoes, "Show each statement on stderr before it runs");
    add("-q,--quiet", script.is_quiet, "Leave out the counts of rows and changes");
    add("-t,--tuples-only", command.output.tuples_only,
        "Print the rows alone, without the names of columns");
}

void CheckScriptOptions(const CLI::App& app, const CommandLine& command)
{
    if (command.script.is_single_transaction && command.script.keeps_going) {
        throw CLI::ValidationError("--single-transaction and --keep-going exclude each other");
    }
    if (command.task == CommandLine::Task::kStatements) {
        return;
    }
    for (const char* name :
         {"--set", "--keep-going", "--single-transaction", "--echo", "--quiet", "--tuples-only"}) {
        if (app.count(name) > 0) {
            throw CLI::ValidationError(fmt::format("{} is for --command and --file", name));
        }
    }
}
