#include "tool/commands/catalog.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "client/TextTable.h"
#include "tool/commands/catalog_records.h"
#include "tool/commands/data_sources.h"
#include "tool/commands/describe_table.h"
#include "tool/output/Destination.h"
#include "tool/output/Messages.h"
#include "tool/output/format.h"

namespace {

void ListRelations(const Session& session, const NamePattern& pattern, const char* types,
                   ResultSink& sink, Reporter& reporter)
{
    TextTable table({"schema", "name", "type", "remarks"});
    Records records = Relations(session, pattern, types, reporter);
    // SQLite's driver 0.9998 leaves them in the order in which they were made.
    std::ranges::stable_sort(records, {}, [](const Record& record) {
        return std::pair(Qualifier(record), record.At(kTable));
    });
    for (const Record& record : records) {
        table.Add({Qualifier(record), record.At(kTable), record.At(kTableType),
                   record.At(kTableRemarks)});
    }
    table.PassTo(sink, reporter);
}

void ListSchemas(const Session& session, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter)
{
    TextTable table({"schema"});
    std::size_t place = kSchema;
    Records records = RecordsOf(session, "Tables", {kEmptyName, "%", kEmptyName, ""}, reporter);
    if (records.empty()) {
        place = kCatalog;
        records = RecordsOf(session, "Tables", {"%", kEmptyName, kEmptyName, ""}, reporter);
    }
    std::set<std::string> names;
    for (const Record& record : records) {
        if (const std::string name = record.At(place);
            !name.empty() && pattern.Matches(name) && names.insert(name).second) {
            table.Add({name});
        }
    }
    table.PassTo(sink, reporter);
}

const char* ParameterKind(const std::string& number)
{
    constexpr const char* kKinds[] = {"unknown",       "in",  "in and out",
                                      "result column", "out", "return value"};
    const bool is_known = number.size() == 1 && number[0] >= '0' && number[0] <= '5';
    return kKinds[is_known ? number[0] - '0' : 0];
}

void ListProcedures(const Session& session, const NamePattern& pattern, ResultSink& sink,
                    Reporter& reporter)
{
    constexpr char kFunction[] = "2";
    TextTable procedures({"schema", "name", "type", "remarks"});
    for (const Record& record : Matching(session, "DescribeProcedures", pattern, {}, reporter)) {
        procedures.Add({Qualifier(record), record.At(kTable),
                        record.At(kProcedureType) == kFunction ? "function" : "procedure",
                        record.At(kProcedureRemarks)});
    }
    procedures.PassTo(sink, reporter);
    if (!pattern.IsOneName() || procedures.IsEmpty()) {
        return;
    }
    TextTable parameters({"procedure", "parameter", "kind", "type"});
    // With % for the parameter PostgreSQL's driver 13.02 finds none.
    for (const Record& record :
         Matching(session, "DescribeProcedureColumns", pattern, {""}, reporter)) {
        parameters.Add({record.At(kTable), record.At(kColumn),
                        ParameterKind(record.At(kParameterKind)), record.At(kParameterType)});
    }
    parameters.PassTo(sink, reporter);
}

void ListIndexes(const Session& session, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter)
{
    TextTable table({"schema", "index", "unique", "table", "columns"});
    for (const Record& record : Relations(session, NamePattern("*"), "TABLE", reporter)) {
        if (!pattern.MatchesQualifier(record.At(kCatalog), record.At(kSchema))) {
            continue;
        }
        try {
            for (const Index& index : IndexesOf(session, record, reporter)) {
                if (pattern.Matches(index.name) || pattern.Matches(record.At(kTable))) {
                    table.Add({Qualifier(record), index.name, index.is_unique ? "yes" : "no",
                               record.At(kTable), index.columns});
                }
            }
        } catch (const SqlError& error) {  // the other tables have theirs
            reporter.Warned({fmt::format("{}: {}", record.At(kTable), error.what())});
        }
    }
    table.PassTo(sink, reporter);
}

void ListPrivileges(const Session& session, const NamePattern& pattern, ResultSink& sink,
                    Reporter& reporter)
{
    TextTable table({"schema", "table", "column", "grantee", "privilege"});
    for (const Record& record : Matching(session, "TablePrivileges", pattern, {}, reporter)) {
        table.Add(
            {Qualifier(record), record.At(kTable), "", record.At(kGrantee), record.At(kPrivilege)});
    }
    for (const Record& relation :
         pattern.IsOneName() ? Relations(session, pattern, "", reporter) : Records()) {
        // No schema: with one the query of PostgreSQL's driver 13.02 fails.
        for (const Record& record :
             RecordsOf(session, "ColumnPrivileges",
                       {relation.At(kCatalog), "", relation.At(kTable), "%"}, reporter)) {
            if (record.At(kSchema) == relation.At(kSchema)) {
                table.Add({Qualifier(record), record.At(kTable), record.At(kColumn),
                           record.At(kGrantee + 1), record.At(kPrivilege + 1)});
            }
        }
    }
    table.PassTo(sink, reporter);
}

template <class List>
ExitCode Print(const CommandLine& command, List list)
{
    Messages messages(stderr, !command.script.is_quiet);
    Destination destination(command.output_file);
    list(NamePattern(command.pattern), *MakeSink(command.output, destination.Stream()), messages);
    destination.Keep();
    return kDone;
}

}  // namespace

void ListCatalog(const Session& session, CatalogKind kind, const NamePattern& pattern,
                 ResultSink& sink, Reporter& reporter)
{
    switch (kind) {
        case CatalogKind::kRelations:
            return ListRelations(session, pattern, kTablesAndViews, sink, reporter);
        case CatalogKind::kTables:
            return ListRelations(session, pattern, "TABLE", sink, reporter);
        case CatalogKind::kViews:
            return ListRelations(session, pattern, "VIEW", sink, reporter);
        case CatalogKind::kProcedures:
            return ListProcedures(session, pattern, sink, reporter);
        case CatalogKind::kSchemas:
            return ListSchemas(session, pattern, sink, reporter);
        case CatalogKind::kIndexes:
            return ListIndexes(session, pattern, sink, reporter);
        case CatalogKind::kPrivileges:
            return ListPrivileges(session, pattern, sink, reporter);
    }
}

std::vector<std::string> TableNames(const Session& session, const std::function<bool()>& may_go_on)
{
    NoReporter reporter;
    std::vector<std::string> names;
    for (const Record& record :
         RecordsOf(session, "Tables", {"", "", "%", kTablesAndViews}, reporter, may_go_on)) {
        names.push_back(record.At(kTable));
    }
    return names;
}

std::vector<std::string> ColumnNames(const Session& session, const std::string& table,
                                     const std::function<bool()>& may_go_on)
{
    NoReporter reporter;
    std::vector<std::string> names;
    for (const Record& record :
         RecordsOf(session, "Columns", {"", "", table, "%"}, reporter, may_go_on)) {
        names.push_back(record.At(kColumn));
    }
    return names;
}

ExitCode PrintCatalog(const CommandLine& command, const Session& session)
{
    return Print(command, [&](const NamePattern& pattern, ResultSink& sink, Reporter& reporter) {
        if (command.lists_columns) {
            ListColumns(session, pattern, sink, reporter);
        } else {
            ListCatalog(session, CatalogKind::kRelations, pattern, sink, reporter);
        }
    });
}

ExitCode PrintSources(const CommandLine& command, const Gateway& gateway)
{
    return Print(command, [&](const NamePattern& pattern, ResultSink& sink, Reporter& reporter) {
        ListSources(gateway, pattern, sink, reporter);
    });
}

ExitCode PrintDrivers(const CommandLine& command)
{
    return Print(command, &ListDrivers);
}
