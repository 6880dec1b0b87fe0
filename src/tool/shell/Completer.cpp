#include "tool/shell/Completer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <system_error>

#include "client/ascii.h"
#include "client/sql_text.h"
#include "tool/commands/catalog.h"
#include "tool/commands/data_sources.h"
#include "tool/commands/entry_inputs.h"
#include "tool/output/format.h"
#include "tool/shell/meta_commands.h"

namespace {

constexpr const char* kKeywords[] = {
    "ALL",        "ALTER",     "AND",    "AS",     "ASC",      "BEGIN",      "BETWEEN", "BY",
    "CASE",       "CAST",      "CHECK",  "COLUMN", "COMMIT",   "CONSTRAINT", "COUNT",   "CREATE",
    "CROSS",      "DEFAULT",   "DELETE", "DESC",   "DISTINCT", "DROP",       "ELSE",    "END",
    "EXCEPT",     "EXISTS",    "FETCH",  "FIRST",  "FOREIGN",  "FROM",       "FULL",    "FUNCTION",
    "GRANT",      "GROUP",     "HAVING", "IN",     "INDEX",    "INNER",      "INSERT",  "INTERSECT",
    "INTO",       "IS",        "JOIN",   "KEY",    "LEFT",     "LIKE",       "LIMIT",   "NOT",
    "NULL",       "OFFSET",    "ON",     "OR",     "ORDER",    "OUTER",      "PRIMARY", "PROCEDURE",
    "REFERENCES", "RETURNING", "REVOKE", "RIGHT",  "ROLLBACK", "SELECT",     "SET",     "TABLE",
    "THEN",       "TRIGGER",   "UNION",  "UNIQUE", "UPDATE",   "USING",      "VALUES",  "VIEW",
    "WHEN",       "WHERE",     "WITH"};

constexpr std::size_t kMostTables = 4;  // of a statement, whose columns are offered

bool StartsWith(std::string_view text, std::string_view start)
{
    return text.size() >= start.size() && EqualsIgnoringCase(text.substr(0, start.size()), start);
}

bool IsWordEnd(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return !(std::isalnum(byte) != 0 || c == '_' || c == '$' || byte >= 0x80U);
}

std::string_view LastWord(std::string_view text)
{
    const auto end = std::find_if(text.rbegin(), text.rend(), &IsWordEnd);
    return text.substr(static_cast<std::size_t>(text.rend() - end));
}

// What begins like the word, in the order of the names.
template <class Names>
void AddMatching(Completion& completion, const Names& names, std::string_view word)
{
    for (const auto& name : names) {
        if (StartsWith(name, word) &&
            std::ranges::find(completion.candidates, name) == completion.candidates.end()) {
            completion.candidates.emplace_back(name);
        }
    }
}

Completion OfNames(std::vector<std::string> names, std::string_view word)
{
    Completion completion{word.size(), {}, {}, true};
    std::ranges::sort(names);
    AddMatching(completion, names, word);
    return completion;
}

// Names as they stand in SQL.
std::vector<std::string> ForSql(const std::vector<std::string>& names, const SqlDialect& dialect)
{
    std::vector<std::string> quoted;
    quoted.reserve(names.size());
    for (const std::string& name : names) {
        quoted.push_back(
            LastWord(name) == name && !name.empty() ? name : QuotedName(name, dialect.Quote()));
    }
    return quoted;
}

Completion OfFiles(std::string_view word)
{
    const auto slash = word.rfind('/');
    const std::string folder(slash == std::string_view::npos ? "" : word.substr(0, slash + 1));
    Completion completion{word.size(), {}, {}, true};
    std::error_code error;
    for (const auto& entry :
         std::filesystem::directory_iterator(folder.empty() ? "." : folder, error)) {
        const std::string name = folder + entry.path().filename().string();
        if (name.starts_with(word)) {
            const bool is_folder = entry.is_directory(error);
            completion.candidates.push_back(name + (is_folder ? "/" : ""));
        }
    }
    std::ranges::sort(completion.candidates);
    completion.ends_word =
        completion.candidates.empty() || !completion.candidates.front().ends_with('/');
    return completion;
}

std::vector<std::string> CommandNames()
{
    std::vector<std::string> names;
    for (const MetaCommand& command : MetaCommands()) {
        names.push_back(fmt::format("\\{}", command.name));
    }
    return names;
}

std::vector<std::string> EntryNames(const Gateway& gateway)
{
    std::vector<std::string> names;
    for (const ORVEL_ZFE* row = gateway.Table(); row->name != nullptr; ++row) {
        names.emplace_back(row->name);
    }
    return names;
}

// The entry of the last call among the words, where its inputs are being typed.
Completion OfEntries(const Gateway& gateway, std::string_view rest, std::string_view word)
{
    auto before = rest.substr(0, rest.size() - word.size());
    if (const auto then = before.rfind(" then "); then != std::string_view::npos) {
        before.remove_prefix(then + std::string_view(" then ").size());
    }
    before.remove_prefix(std::min(before.find_first_not_of(' '), before.size()));
    if (before.empty()) {
        return OfNames(EntryNames(gateway), word);
    }
    if (!word.empty()) {
        return OfNames({"@connection", "@statement", "then"}, word);
    }
    const auto entry = before.substr(0, before.find(' '));
    if (gateway.Find(entry) == nullptr) {
        return {};
    }
    const auto inputs = EntryInputs(entry);
    return {0, {}, fmt::format("{}: {}", entry, inputs.empty() ? "no inputs" : inputs), true};
}

std::vector<std::string> FormatNames()
{
    std::vector<std::string> names{"delimiter", "format", "null",       "off",
                                   "on",        "pager",  "tuples_only"};
    for (const NamedFormat& format : kFormats) {
        names.emplace_back(format.name);
    }
    return names;
}

std::vector<std::string> Tables(Workspace& workspace)
{
    // A failure would spoil the transaction.
    return workspace.IsConnected() && !workspace.IsInTransaction()
               ? workspace.names.Tables(workspace.Connected())
               : std::vector<std::string>();
}

Completion OfCommand(Workspace& workspace, std::string_view command)
{
    const auto blank = command.find(' ');
    if (blank == std::string_view::npos) {
        return OfNames(CommandNames(), command);
    }
    const auto rest = command.substr(blank + 1);
    const auto word = rest.substr(rest.rfind(' ') + 1);  // or from the start
    using Takes = MetaCommand::Takes;
    const auto* found =
        std::ranges::find(MetaCommands(), command.substr(1, blank - 1), &MetaCommand::name).base();
    switch (found == std::to_address(MetaCommands().end()) ? Takes::kText : found->takes) {
        case Takes::kCommand: {
            auto names = CommandNames();
            const auto entries = EntryNames(workspace.Library());
            names.insert(names.end(), entries.begin(), entries.end());
            return OfNames(names, word);
        }
        case Takes::kEntry:
            return OfEntries(workspace.Library(), rest, word);
        case Takes::kFile:
            return OfFiles(word);
        case Takes::kFormat:
            return OfNames(FormatNames(), word);
        case Takes::kSource:
            return OfNames(SourceNames(workspace.Library()), word);
        case Takes::kSwitch:
            return OfNames({"on", "off"}, word);
        case Takes::kTable:
            return OfNames(Tables(workspace), word);
        default:
            return {};
    }
}

// Keywords in the case in which the word is typed.
void AddKeywords(Completion& completion, std::string_view word)
{
    const bool is_lower = !word.empty() && LowerInAscii(word.back()) == word.back();
    for (std::string keyword : kKeywords) {
        if (StartsWith(keyword, word)) {
            if (is_lower) {
                std::ranges::transform(keyword, keyword.begin(), &LowerInAscii);
            }
            completion.candidates.push_back(keyword);
        }
    }
}

/// The words of a statement so far.
struct StatementWords {
    std::set<std::string> names;  // in lower case
    std::string last;             // in lower case
    bool is_open = false;         // a quote or a comment
};

StatementWords WordsOf(std::string_view text, const SqlDialect& dialect)
{
    StatementWords words;
    for (SqlLexer lexer(text, dialect); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        words.is_open = !token.is_closed;
        if (token.kind == SqlToken::kWord) {
            words.last.assign(token.text);
            std::ranges::transform(words.last, words.last.begin(), &LowerInAscii);
            words.names.insert(words.last);
        }
    }
    return words;
}

bool NamesTables(std::string_view keyword)
{
    constexpr std::string_view kBefore[] = {"from", "join", "into", "update", "table", "view"};
    return std::ranges::find(kBefore, keyword) != std::end(kBefore);
}

// Those of the tables that the statement names, or of the one in front of a point.
std::vector<std::string> Columns(Workspace& workspace, const std::vector<std::string>& tables,
                                 const StatementWords& words, std::string_view qualifier)
{
    std::vector<std::string> columns;
    std::size_t asked = 0;
    for (const std::string& table : tables) {
        std::string lower = table;
        std::ranges::transform(lower, lower.begin(), &LowerInAscii);
        const bool is_named =
            qualifier.empty() ? words.names.contains(lower) : EqualsIgnoringCase(qualifier, table);
        if (is_named && ++asked <= kMostTables) {
            const auto more = workspace.names.Columns(workspace.Connected(), table);
            columns.insert(columns.end(), more.begin(), more.end());
        }
    }
    std::ranges::sort(columns);
    return columns;
}

Completion OfStatement(Workspace& workspace, const std::string& text)
{
    const std::string_view word = LastWord(text);
    const std::string_view before = std::string_view(text).substr(0, text.size() - word.size());
    const SqlDialect& dialect = workspace.Context().dialect;
    const StatementWords words = WordsOf(before, dialect);
    Completion completion{word.size(), {}, {}, true};
    if (words.is_open) {
        return completion;
    }
    const auto tables = Tables(workspace);
    if (before.ends_with('.')) {
        const auto qualifier = LastWord(before.substr(0, before.size() - 1));
        AddMatching(completion, ForSql(Columns(workspace, tables, words, qualifier), dialect),
                    word);
        return completion;
    }
    if (NamesTables(words.last)) {
        AddMatching(completion, ForSql(tables, dialect), word);
        return completion;
    }
    AddMatching(completion, ForSql(Columns(workspace, tables, words, ""), dialect), word);
    if (!word.empty()) {
        AddMatching(completion, ForSql(tables, dialect), word);
        AddKeywords(completion, word);
    }
    return completion;
}

}  // namespace

Completion Complete(Workspace& workspace, std::string_view statement,
                    std::string_view before_cursor)
{
    const auto backslash = before_cursor.rfind('\\');
    const bool is_command = backslash != std::string_view::npos &&
                            (backslash == 0 || before_cursor[backslash - 1] == ' ');
    return is_command ? OfCommand(workspace, before_cursor.substr(backslash))
                      : OfStatement(workspace, std::string(statement) + std::string(before_cursor));
}
