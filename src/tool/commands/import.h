// A CSV file into a table.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "client/Query.h"

/// Inserts a file's records as rows, all of them or, where anything fails, none. The first record
/// names the columns. on_progress is told the rows so far. Returns the rows. Throws SqlError and
/// CsvError.
std::size_t ImportCsv(const Session& session, const std::string& file, const std::string& table,
                      ResultSink& sink, const std::function<void(std::size_t)>& on_progress);
