// The words of the command line.
#pragma once

#include <string>
#include <vector>

#include "shell/Session.h"

struct CommandLine {
    std::string connection_string;
    std::vector<std::string> statements;
    std::string null_text = "NULL";
    std::string library;  // empty: the one beside the program, or else the loader's
    SessionOptions options;
};

/// Exit codes of the program.
enum ExitCode : int {
    kDone = 0,
    kSqlFailed = 1,
    kWrongUsage = 2,
    kLibraryUnusable = 3,
    kConnectionFailed = 4
};

/// What the words ask for: a command to carry out, or an exit code where there is nothing more to
/// do (help, version, wrong usage), all said.
struct Parsed {
    CommandLine command;
    bool carry_out = false;
    ExitCode exit_code = kDone;
};

Parsed ParseCommandLine(int count, const char* const* words);
