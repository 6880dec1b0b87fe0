// Rows as an engine gets them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/Statement.h"

/// A row as the row entry "FetchRows" delivers it in the session's mode: nothing for NULL.
using HostRow = std::vector<std::optional<std::string>>;

/// Fetches so many rows of an executed statement at most. Throws SqlError, and ListError for a row
/// of another number of cells than the first.
std::vector<HostRow> FetchHostRows(const Statement& statement, std::int32_t most);
