// The words of the command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/Session.h"
#include "tool/ExitCode.h"
#include "tool/commands/query.h"

/// What the program is to do: run statements, import a file, call entries, diagnose, or make a
/// shim.
struct CommandLine {
    std::optional<std::string> connection_string;
    SessionOptions options;
    std::string library;  // empty: the one beside the program, or else the loader's

    std::vector<std::string> statements;
    std::vector<Marker> markers;          // of the one statement, in the order of their words
    std::optional<std::string> get_file;  // nothing: rows are printed
    std::string null_text = "NULL";

    std::vector<std::string> import;  // a file and a table, or nothing

    std::vector<std::string> call;  // the words of calls, or nothing
    bool is_hex = false;

    bool diagnose = false;

    std::string shim_face;  // empty: none is to be made
    std::string shim_driver;
    std::string shim_folder;  // empty: where it belongs
};

/// What the words ask for: a command to carry out, or an exit code where there is nothing more to
/// do (help, version, wrong usage), all said.
struct Parsed {
    CommandLine command;
    bool carry_out = false;
    ExitCode exit_code = kDone;
};

Parsed ParseCommandLine(int count, const char* const* words);
