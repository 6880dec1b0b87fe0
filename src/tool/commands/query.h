// Statements of the command line.
#pragma once

#include "tool/CommandLine.h"
#include "tool/ExitCode.h"
#include "tool/commands/script.h"

/// Runs the statements, their results to stdout or into a file. kSqlFailed where a value could not
/// be read. Throws SqlError and FileError.
ExitCode RunStatements(const CommandLine& command, ScriptContext& context);
