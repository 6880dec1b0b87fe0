// Statements and scripts on a session.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "client/ResultSink.h"
#include "client/Session.h"
#include "client/Statement.h"
#include "client/sql_text.h"
#include "text/StatementSplitter.h"
#include "text/variables.h"
#include "tool/ExitCode.h"
#include "tool/output/Messages.h"

/// What statements run on, and how. A command may change all of it between two statements.
struct ScriptContext {
    const Session* session = nullptr;
    ResultSink* sink = nullptr;
    Messages* messages = nullptr;
    SqlDialect dialect;  // of the session
    Variables variables;
    bool echoes = false;       // each statement on stderr before it runs
    bool keeps_going = false;  // behind a statement that failed
    bool shows_times = false;  // how long preparing, executing and fetching took

    std::vector<ParameterValue> values;  // of the markers of the next statement
    std::string last_sql;                // that ran
    std::optional<SqlError> last_error;

    /// Carries out a command of a script, a line that begins with a backslash. The statement that
    /// it came inside of, if any, is still the splitter's. Throws SqlError or UsageError.
    std::function<void(const StatementSplitter::Piece& command, StatementSplitter& splitter)>
        on_command;
};

/// A script that was read whole.
struct Script {
    std::string name;  // as messages name it
    std::string text;
};

/// How the session's source writes SQL.
SqlDialect DialectOf(const Session& session);

/// A file that is no script; says where it is none.
struct ScriptError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a script (- is standard input). Throws ScriptError where it can't be read, or is not UTF-8
/// without zero bytes.
Script ReadScript(const std::string& file);

/// Runs one statement, or a batch that goes to the driver as a whole, with the values of its
/// variables and markers. A text of blanks and comments alone is ignored. Returns kSqlFailed if a
/// value could not be read. Throws SqlError, and UsageError if there is no connection.
ExitCode RunSql(ScriptContext& context, std::string_view sql);

/// Takes a step of a script, or a statement beside scripts: keeping going, reports the SqlError
/// that it throws and returns kSqlFailed.
ExitCode Attempt(ScriptContext& context, const std::function<ExitCode()>& step);

/// Runs a script statement by statement. Throws SqlError, with the script's name and the line, at
/// the first statement that fails; keeping going, reports it and returns kSqlFailed in the end.
ExitCode RunScript(ScriptContext& context, const Script& script);
