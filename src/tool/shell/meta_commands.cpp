#include "tool/shell/meta_commands.h"

#include <fmt/format.h>

#include <algorithm>

#include "client/ascii.h"
#include "text/near_name.h"
#include "text/value_syntax.h"
#include "tool/commands/entry_inputs.h"
#include "tool/shell/handlers.h"

using Takes = MetaCommand::Takes;

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// In the order of the help. Commands whose help is empty share the line of the next one that has.
constexpr MetaCommand kCommands[] = {
    {"connect", "[-W] STRING", "connect to a data source; -W asks for the password",
     handlers::Connect, Takes::kSource},
    {"conninfo", "", "", handlers::ShowConnection},
    {"doctor", "", "the connection and driver; what is wrong with it", handlers::RunDoctor},
    {"unicode", "", "", handlers::SetUnicode, Takes::kSwitch},
    {"legacy", "[on|off]", "connect again in that mode", handlers::SetLegacy, Takes::kSwitch},
    {"l", "", "", handlers::ListDataSources},
    {"d", "[NAME]", "data sources; tables and views, or all about one", handlers::Describe,
     Takes::kTable},
    {"dt", "", "", handlers::List<CatalogKind::kTables>, Takes::kTable},
    {"dv", "", "", handlers::List<CatalogKind::kViews>, Takes::kTable},
    {"dn", "", "", handlers::List<CatalogKind::kSchemas>},
    {"di", "[PATTERN]", "tables, views, schemas, indexes", handlers::List<CatalogKind::kIndexes>,
     Takes::kTable},
    {"df", "", "", handlers::List<CatalogKind::kProcedures>},
    {"dp", "[PATTERN]", "procedures (of one: its parameters), privileges",
     handlers::List<CatalogKind::kPrivileges>, Takes::kTable},
    {"g", "", "", handlers::Go, Takes::kFile},
    {"gx", "[FILE]", "run the statement, again, vertically; into a file", handlers::GoVertically,
     Takes::kFile},
    {"bind", "VALUE...", "values for the markers of the next statement", handlers::Bind},
    {"put", "", "", handlers::Put, Takes::kFile},
    {"get", "FILE", "a marker's value from a file; a result's into one", handlers::Get,
     Takes::kFile},
    {"watch", "[SECONDS [TIMES]]", "run the statement every few seconds", handlers::Watch},
    {"e", "", "", handlers::Edit},
    {"i", "[FILE]", "edit the statement in $EDITOR; run a script", handlers::Include, Takes::kFile},
    {"o", "[FILE]", "send results to a file, or back here", handlers::SendOutput, Takes::kFile},
    {"x", "", "", handlers::SetVertical, Takes::kSwitch},
    {"timing", "[on|off]", "a line for each value; the time that things took", handlers::SetTiming,
     Takes::kSwitch},
    {"pset", "[NAME [VALUE]]", "format, null, tuples_only, delimiter, pager", handlers::SetOutput,
     Takes::kFormat},
    {"set", "[NAME [VALUE]]", "variables: :NAME, :'NAME', :\"NAME\" in SQL", handlers::SetVariable},
    {"begin", "", "", handlers::Begin},
    {"commit", "", "", handlers::Commit},
    {"rollback", "", "", handlers::Rollback},
    {"autocommit", "[on|off]", "transactions", handlers::SetAutocommit, Takes::kSwitch},
    {"errverbose", "", "all records of the last error", handlers::ShowError},
    {"call", "ENTRY INPUT...", "call entries of the gateway (\\h ENTRY: its inputs)",
     handlers::CallEntries, Takes::kEntry},
    {"list", "HEX", "decode a list of the host's", handlers::DecodeList},
    {"trace", "on|off|FILE", "show the gateway's calls, or write them to a file", handlers::Trace,
     Takes::kFile},
    {"modes", "[SQL]", "a query in all modes, side by side", handlers::CompareModes},
    {"?", "", "", handlers::ShowCommands},
    {"h", "[NAME]", "this help; how to type statements, or about a NAME", handlers::ShowHelp,
     Takes::kCommand},
    {"q", "", "leave; what is not committed is rolled back", handlers::Quit},
};

// Another name, for fingers that know it.
struct Alias {
    const char* name;
    const char* means;
};
constexpr Alias kAliases[] = {{"c", "connect"}, {"quit", "q"}, {"edit", "e"}, {"help", "h"}};

std::string_view Trimmed(std::string_view text)
{
    const auto begin = text.find_first_not_of(kBlanks);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

const MetaCommand* Find(std::string_view name)
{
    const auto* alias = std::ranges::find(kAliases, name, &Alias::name);
    const std::string_view meant = alias == std::end(kAliases) ? name : alias->means;
    const auto* found = std::ranges::find(kCommands, meant, &MetaCommand::name);
    return found == std::end(kCommands) ? nullptr : found;
}

[[noreturn]] void RefuseName(std::string_view name)
{
    std::vector<std::string_view> names;
    for (const MetaCommand& command : kCommands) {
        names.emplace_back(command.name);
    }
    const auto near = NearName(name, names);
    throw UsageError(fmt::format(
        "there is no command \\{}; {}", name,
        near.empty() ? "\\? shows those that there are" : fmt::format("did you mean \\{}?", near)));
}

// The statement's commands may follow one that takes values: "SELECT ? \bind 5 \g".
std::size_t NextCommand(std::string_view rest)
{
    auto first = std::string_view::npos;
    for (const char* next : {" \\g", " \\gx", " \\get", " \\put", " \\bind", " \\watch"}) {
        const auto at = rest.find(next);
        const auto end = at + std::string_view(next).size();
        if (at != std::string_view::npos && (end == rest.size() || rest[end] == ' ')) {
            first = std::min(first, at);
        }
    }
    return first;
}

std::string Heading(const MetaCommand* first, const MetaCommand* last)
{
    std::string names;
    for (const MetaCommand* command = first; command <= last; ++command) {
        names += fmt::format("{}\\{}", names.empty() ? "" : " ", command->name);
    }
    return names + (*last->arguments == '\0' ? "" : " ") + last->arguments;
}

constexpr char kStatementHelp[] =
    "A statement ends with a semicolon and may take several lines; ^C clears it.\n"
    "The body of CREATE PROCEDURE, FUNCTION or TRIGGER ends with its END; or with\n"
    "a line of / alone, or what \\delimiter names. Tab completes keywords, names of\n"
    "tables and columns, and commands. History: the up key, or ^R to search it.\n"
    "\\? lists the commands, \\h NAME tells of one, or of an entry of the gateway.\n";

}  // namespace

std::span<const MetaCommand> MetaCommands()
{
    return kCommands;
}

std::vector<std::string> MetaCall::Words() const
{
    std::vector<std::string> words;
    std::string_view left = rest;
    while (!(left = Trimmed(left)).empty()) {
        std::string& word = words.emplace_back();
        bool is_quoted = false;
        int brackets = 0;
        for (; !left.empty() &&
               (is_quoted || brackets > 0 || kBlanks.find(left[0]) == std::string_view::npos);
             left.remove_prefix(1)) {
            const char c = left[0];
            if (c == '\'' && brackets == 0) {
                // A doubled quote inside is one.
                if (is_quoted && left.substr(1, 1) == "'") {
                    word += c;
                    left.remove_prefix(1);
                } else {
                    is_quoted = !is_quoted;
                }
                continue;
            }
            is_quoted = c == '\'' ? !is_quoted : is_quoted;
            brackets += is_quoted ? 0 : c == '[' ? 1 : c == ']' && brackets > 0 ? -1 : 0;
            word += c;
        }
        if (is_quoted) {
            throw UsageError("a quote is not closed");
        }
    }
    return words;
}

std::string MetaCall::Word() const
{
    auto words = Words();
    if (words.size() > 1) {
        throw UsageError("one word is enough; a name with blanks goes in '...'");
    }
    return words.empty() ? "" : words[0];
}

bool MetaCall::Switched(bool is_on) const
{
    const std::string word = Word();
    if (!word.empty() && word != "on" && word != "off") {
        throw UsageError("on or off, not " + word);
    }
    return word.empty() ? !is_on : word == "on";
}

std::string MetaCall::Statement() const
{
    const auto begun = splitter.Finish();
    std::string sql = begun ? begun->text : workspace.Context().last_sql;
    if (sql.empty()) {
        throw UsageError("there is no statement to run");
    }
    return sql;
}

void CarryOut(Workspace& workspace, std::string_view line, StatementSplitter& splitter)
{
    line.remove_prefix(1);
    const auto word = line.substr(0, line.find_first_of(kBlanks));
    const auto name = word.substr(0, word.find_last_not_of(';') + 1);  // "\dt;"
    const MetaCommand* command = Find(name);
    if (command == nullptr) {
        RefuseName(name);
    }
    auto rest = line.substr(word.size());
    const bool takes_values =
        command->carry_out == handlers::Bind || command->carry_out == handlers::Put;
    const auto next = takes_values ? NextCommand(rest) : std::string_view::npos;
    workspace.names.Wait();
    command->carry_out({workspace, Trimmed(rest.substr(0, next)), splitter});
    if (next != std::string_view::npos) {
        CarryOut(workspace, Trimmed(rest.substr(next)), splitter);
    }
}

void handlers::ShowCommands(const MetaCall& call)
{
    const MetaCommand* first = std::begin(kCommands);
    for (const MetaCommand& command : kCommands) {
        if (*command.help != '\0') {
            fmt::print(call.workspace.Out(), "{:<29} {}\n", Heading(first, &command), command.help);
            first = &command + 1;
        }
    }
}

void handlers::ShowHelp(const MetaCall& call)
{
    const std::string name = call.Word();
    std::FILE* out = call.workspace.Out();
    if (name.empty()) {
        fmt::print(out, "{}", kStatementHelp);
        return;
    }
    const bool is_command = name.starts_with('\\');
    if (const MetaCommand* command = Find(is_command ? name.substr(1) : name)) {
        const MetaCommand* helped = command;
        while (*helped->help == '\0') {
            ++helped;
        }
        fmt::print(out, "\\{} {}\n  {}\n", command->name, helped->arguments, helped->help);
        return;
    }
    const ORVEL_ZFE* entry = call.workspace.Library().Find(name);
    if (entry == nullptr || is_command) {
        RefuseName(is_command ? name.substr(1) : name);
    }
    const auto inputs = EntryInputs(name);
    fmt::print(out, "{} {}\n  inputs: {}\n", entry->name, entry->signature,
               inputs.empty() ? "none" : inputs);
}

void handlers::Quit(const MetaCall& call)
{
    call.workspace.is_done = true;
    call.splitter.Clear();  // the rest of a script
}
