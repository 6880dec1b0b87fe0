// What a table is made of, by the catalog entries.
#pragma once

#include <string>
#include <vector>

#include "client/ResultSink.h"
#include "client/Session.h"
#include "tool/commands/NamePattern.h"
#include "tool/commands/catalog_records.h"

/// An index of a table.
struct Index {
    std::string name;
    bool is_unique = false;
    std::string columns;  // "a, b"
};

/// The indexes of a table. Throws SqlError.
std::vector<Index> IndexesOf(const Session& session, const Record& table, Reporter& reporter);

/// Passes on the columns, keys, indexes and foreign keys, both ways, of the tables that match, each
/// a result of its own. Throws SqlError if there is none.
void DescribeTables(const Session& session, const NamePattern& pattern, ResultSink& sink,
                    Reporter& reporter);

/// Passes on the columns of the tables that match. Throws SqlError if there is none.
void ListColumns(const Session& session, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter);
