// A value into a file.
#pragma once

#include <cstdint>
#include <string>

#include "client/Statement.h"

/// Executes the statement and writes the first column of the first row into a file, piece by piece:
/// binary data and the bytes of a narrow driver's text as they are, other text in UTF-8. Returns
/// the bytes written. Throws SqlError, and FileError; then the file is as it was.
std::uint64_t WriteFirstValue(Statement& statement, const std::string& file);
