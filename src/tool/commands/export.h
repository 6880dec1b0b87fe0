// A table into a CSV file.
#pragma once

#include "client/Session.h"
#include "tool/CommandLine.h"

/// Writes all rows of a table as CSV that Import reads back. Throws SqlError, where a value can't
/// be read whole, too, and FileError; then a file is as it was.
ExitCode Export(const CommandLine& command, const Session& session);
