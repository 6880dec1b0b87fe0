// Statements of the command line.
#pragma once

#include "client/Session.h"
#include "tool/CommandLine.h"

/// Runs the statements, their results to stdout or into a file. kSqlFailed where a value could not
/// be read. Throws SqlError and FileError.
ExitCode RunStatements(const CommandLine& command, const Session& session);
