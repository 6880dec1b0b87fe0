// What a data source holds: its tables and their parts, by the catalog entries.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/Gateway.h"
#include "client/ResultSink.h"
#include "client/Session.h"
#include "tool/CommandLine.h"
#include "tool/ExitCode.h"
#include "tool/commands/NamePattern.h"

enum class CatalogKind {
    kRelations,
    kTables,
    kViews,
    kProcedures,
    kSchemas,
    kIndexes,
    kPrivileges
};

/// Passes on the names of a kind that match, with what the driver says of them. Throws SqlError.
void ListCatalog(const Session& session, CatalogKind kind, const NamePattern& pattern,
                 ResultSink& sink, Reporter& reporter);

/// The first names of tables, or of a table's columns, for completion; may_go_on is asked before
/// each row. Empty where the driver has no answer.
std::vector<std::string> TableNames(const Session& session, const std::function<bool()>& may_go_on);
std::vector<std::string> ColumnNames(const Session& session, const std::string& table,
                                     const std::function<bool()>& may_go_on);

/// orvelgw tables, columns, sources and drivers.
ExitCode PrintCatalog(const CommandLine& command, const Session& session);
ExitCode PrintSources(const CommandLine& command, const Gateway& gateway);
ExitCode PrintDrivers(const CommandLine& command);
