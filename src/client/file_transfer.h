// Writing a value to a file.
#pragma once

#include <cstdint>
#include <string>

#include "client/Statement.h"

/// Executes the statement and writes the first column of the first row to a file, piece by piece:
/// binary data and the bytes of a narrow driver's text unchanged, other text in UTF-8. Returns the
/// bytes written. Throws SqlError or FileError, leaving the file unchanged.
std::uint64_t WriteFirstValue(Statement& statement, const std::string& file);
