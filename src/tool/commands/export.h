// A table into a CSV file.
#pragma once

#include "client/Session.h"
#include "tool/CommandLine.h"

/// Writes all rows of a table as CSV that Import reads back. kSqlFailed where a value could not be
/// read whole; then a file is as it was. Throws SqlError and FileError.
ExitCode Export(const CommandLine& command, const Session& session);
