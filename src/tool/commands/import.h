// A CSV file into a table.
#pragma once

#include "client/Session.h"
#include "tool/CommandLine.h"

/// Inserts a file's records as rows, all of them or, where anything fails and the table has
/// transactions, none. The first record names the columns. Throws SqlError, which names the line
/// and says whether rows stay, and CsvError.
ExitCode Import(const CommandLine& command, const Session& session);
