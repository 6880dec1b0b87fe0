// The words of the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/Session.h"
#include "text/variables.h"
#include "tool/ExitCode.h"
#include "tool/output/format.h"

/// SQL of the words: a text that goes to the driver as it is, or a script, which is split.
struct SqlInput {
    std::string text;  // or the script's file; - for standard input
    bool is_file = false;
};

/// How statements and scripts run.
struct ScriptOptions {
    Variables variables;
    bool keeps_going = false;
    bool is_single_transaction = false;
    bool echoes = false;
    bool is_quiet = false;
};

/// What takes the place of a parameter marker: a value as a person types it, or a file's bytes.
struct Marker {
    std::string word;  // the value, or the file's name
    bool is_file = false;
};

/// Where the connection string and its password come from, as far as the words say it.
struct ConnectionWords {
    std::optional<std::string> string;
    std::string string_file;  // empty: none
    bool asks_password = false;
    std::string password_file;  // empty: none
};

/// What is imported, and where to.
struct ImportOptions {
    std::string file;   // - for standard input
    std::string table;  // as it goes into SQL
    char delimiter = ',';
    std::optional<std::string> null_text;  // a field that is NULL, beside an empty one
    bool has_header = true;
    std::vector<std::string> columns;  // empty: as the header says, or else all of the table
    bool creates = false;              // the table, too
    std::uint64_t batch = 0;           // rows of a transaction; 0: all
};

/// What the program is to do, and with what.
struct CommandLine {
    enum class Task { kStatements, kImport, kExport, kCall, kListEntries, kDoctor, kShim };
    Task task = Task::kStatements;

    ConnectionWords connection;
    std::optional<std::string> connection_string;  // as a whole, once it is put together
    SessionOptions options;
    std::string library;  // empty: the one beside the program, or else the loader's

    std::vector<SqlInput> statements;
    ScriptOptions script;
    std::vector<Marker> markers;          // of the one statement, in the order of their words
    std::optional<std::string> get_file;  // nothing: rows are printed
    OutputSettings output;
    std::string output_file;  // empty: standard output

    ImportOptions import;
    std::string export_table;  // as it goes into SQL

    std::vector<std::string> call;  // the words of calls, or nothing
    bool is_hex = false;

    std::string shim_face;
    std::string shim_driver;
    std::string shim_folder;  // empty: where it belongs
};

/// What the words ask for: a task to carry out, or an exit code where there is nothing more to do
/// (help, version, wrong usage), all said.
struct Parsed {
    CommandLine command;
    bool has_task = false;
    ExitCode exit_code = kDone;
};

Parsed ParseCommandLine(int count, const char* const* words);
