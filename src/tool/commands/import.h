// A CSV file into a table.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "client/ResultSink.h"
#include "client/Session.h"

/// What is imported, and where to.
struct ImportOptions {
    std::string file;   // - for standard input
    std::string table;  // as it goes into SQL
    char delimiter = ',';
};

/// How far an import has come.
struct ImportProgress {
    std::uint64_t rows = 0;
    std::uint64_t bytes = 0;  // of the file
};

/// Inserts a file's records as rows, all of them or, where anything fails and the table has
/// transactions, none. The first record names the columns. Returns the rows. Throws SqlError, which
/// names the line and says whether rows stay, and CsvError.
std::uint64_t ImportCsv(const Session& session, const ImportOptions& options, Reporter& reporter,
                        const std::function<void(const ImportProgress&)>& on_progress);
