#include "tool/commands/catalog.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "client/HostList.h"
#include "client/Statement.h"
#include "client/TextTable.h"
#include "client/ascii.h"
#include "client/odbc_numbers.h"
#include "drivers/Profiles.h"
#include "tool/output/Destination.h"
#include "tool/output/Messages.h"
#include "tool/output/format.h"

namespace {

// Where ODBC puts what is read here into the results of its catalog functions, counted from 0.
enum Place : std::size_t {
    kCatalog = 0,
    kSchema = 1,
    kTable = 2,
    kTableType = 3,
    kTableRemarks = 4,
    kColumn = 3,
    kTypeName = 5,
    kColumnSize = 6,
    kDigits = 8,
    kNullable = 10,
    kDefault = 12,
    kKeyColumn = 3,
    kNonUnique = 3,
    kIndex = 5,
    kIndexType = 6,
    kIndexColumn = 8,
    kPrimaryTable = 2,
    kPrimaryColumn = 3,
    kForeignTable = 6,
    kForeignColumn = 7,
    kKeySequence = 8,
    kForeignName = 11,
    kProcedureRemarks = 6,
    kProcedureType = 7,
    kParameterKind = 4,
    kParameterType = 6,
    kGrantee = 4,
    kPrivilege = 5,
    kSpecialColumn = 1
};

// An empty name, where "" is one that isn't given.
const std::string kEmptyName(1, '\0');

constexpr char kStatisticsOfTable[] = "0";  // SQL_TABLE_STAT

/// A row as text; nothing where it has no such column, or a NULL.
class Record {
public:
    explicit Record(Row row)
    {
        for (const Cell& cell : row) {
            cells_.emplace_back(cell.value);
        }
    }

    std::string At(std::size_t place) const
    {
        return place < cells_.size() ? cells_[place] : std::string();
    }

private:
    std::vector<std::string> cells_;
};

using Records = std::vector<Record>;

/// Enough rows have come.
struct Enough {};

/// Keeps the rows of a result, as long as it may.
class Kept : public ResultSink {
public:
    Kept(Records& records, const std::function<bool()>& may_go_on)
        : records_(records), may_go_on_(may_go_on)
    {}

    void Begin(const std::vector<Column>& /*columns*/) override {}
    void Take(Row row) override
    {
        if (may_go_on_ && !may_go_on_()) {
            throw Enough();
        }
        records_.emplace_back(row);
    }
    void End() override {}

private:
    Records& records_;
    const std::function<bool()>& may_go_on_;
};

Records RecordsOf(const Session& session, const std::string& entry,
                  const std::vector<Argument>& inputs, Reporter& reporter,
                  const std::function<bool()>& may_go_on = {})
{
    // The rows are no result of their own; what the driver warns of is passed on.
    class Warnings : public NoReporter {
    public:
        explicit Warnings(Reporter& reporter) : reporter_(reporter) {}
        void Warned(const std::vector<std::string>& lines) override { reporter_.Warned(lines); }

    private:
        Reporter& reporter_;
    };
    Records records;
    Kept kept(records, may_go_on);
    Warnings warnings(reporter);
    try {
        Statement::RunCatalog(session, entry, inputs, kept, warnings);
    } catch (const Enough&) {
        // What has come is what is wanted.
    }
    return records;
}

// Calls an entry whose inputs begin with catalog, schema and name, and keeps what matches. What is
// in front of the point is a schema, or a catalog where that brings nothing.
Records Matching(const Session& session, const std::string& entry, const NamePattern& pattern,
                 const std::vector<Argument>& rest, Reporter& reporter)
{
    const std::string name = pattern.IsEmpty() ? "%" : pattern.ForDriver(session);
    Records found;
    const auto add_matching = [&](const std::string& catalog, const std::string& schema) {
        std::vector<Argument> inputs{catalog, schema, name};
        inputs.insert(inputs.end(), rest.begin(), rest.end());
        for (Record& record : RecordsOf(session, entry, inputs, reporter)) {
            if (pattern.Matches(record.At(kTable)) &&
                pattern.MatchesQualifier(record.At(kCatalog), record.At(kSchema))) {
                found.push_back(std::move(record));
            }
        }
    };
    if (!pattern.Catalog().empty()) {
        try {
            add_matching("", pattern.SchemaForDriver(session));
        } catch (const SqlError&) {
            // MariaDB's driver 3.1.15 refuses a schema, as its sources have catalogs only.
        }
        if (found.empty()) {
            add_matching(pattern.Catalog(), "");
        }
    }
    if (found.empty()) {  // MariaDB's driver finds no procedure of a catalog that is named
        add_matching("", "");
    }
    return found;
}

Records Relations(const Session& session, const NamePattern& pattern, const char* types,
                  Reporter& reporter)
{
    return Matching(session, "Tables", pattern, {types}, reporter);
}

constexpr char kTablesAndViews[] = "TABLE,VIEW";

std::string Qualifier(const Record& record)
{
    return record.At(kSchema).empty() ? record.At(kCatalog) : record.At(kSchema);
}

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

// Adds a name to those in a list: "a, b".
void AddName(std::string& names, const std::string& name)
{
    names += (names.empty() ? "" : ", ") + name;
}

struct Index {
    std::string name;
    bool is_unique = false;
    std::string columns;
};

std::vector<Argument> Named(const Record& table)
{
    return {table.At(kCatalog), table.At(kSchema), table.At(kTable)};
}

std::vector<Index> IndexesOf(const Session& session, const Record& table, Reporter& reporter)
{
    constexpr std::int32_t kAll = 1;
    std::vector<Argument> inputs = Named(table);
    inputs.emplace_back(kAll);
    std::vector<Index> indexes;
    for (const Record& record : RecordsOf(session, "Statistics", inputs, reporter)) {
        if (record.At(kIndexType) == kStatisticsOfTable || record.At(kIndex).empty()) {
            continue;
        }
        if (indexes.empty() || indexes.back().name != record.At(kIndex)) {
            indexes.push_back({record.At(kIndex), record.At(kNonUnique) == "0", ""});
        }
        AddName(indexes.back().columns, record.At(kIndexColumn));
    }
    return indexes;
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

std::string TypeText(const Record& column)
{
    const std::string name = column.At(kTypeName);
    const std::string size = column.At(kColumnSize);
    const bool has_size = !size.empty() && size != "0" && name.find('(') == std::string::npos &&
                          (FindIgnoringCase(name, "char") != std::string::npos ||
                           FindIgnoringCase(name, "binary") != std::string::npos ||
                           FindIgnoringCase(name, "numeric") != std::string::npos ||
                           FindIgnoringCase(name, "decimal") != std::string::npos);
    const std::string digits = column.At(kDigits);
    return !has_size                         ? name
           : digits.empty() || digits == "0" ? fmt::format("{}({})", name, size)
                                             : fmt::format("{}({},{})", name, size, digits);
}

// Those of one table: a name is a pattern for the entry, in which _ stands for any character.
Records ColumnsOf(const Session& session, const Record& table, Reporter& reporter)
{
    std::vector<Argument> inputs = Named(table);
    inputs.emplace_back("%");
    Records columns = RecordsOf(session, "Columns", inputs, reporter);
    std::erase_if(columns, [&](const Record& column) {
        return column.At(kTable) != table.At(kTable) || column.At(kSchema) != table.At(kSchema);
    });
    return columns;
}

void AddColumns(TextTable& table, const Session& session, const Record& relation,
                Reporter& reporter)
{
    constexpr char kNoNulls[] = "0";
    for (const Record& column : ColumnsOf(session, relation, reporter)) {
        table.Add({Qualifier(relation).empty() ? relation.At(kTable)
                                               : Qualifier(relation) + "." + relation.At(kTable),
                   column.At(kColumn), TypeText(column),
                   column.At(kNullable) == kNoNulls ? "no" : "yes", column.At(kDefault)});
    }
}

const std::vector<std::string> kColumnTitles{"table", "column", "type", "null", "default"};

// The keys of one direction; the names that are not given are those of the other side.
TextTable ForeignKeys(const Session& session, const Record& table, bool is_primary,
                      Reporter& reporter)
{
    struct Key {
        std::string columns;
        std::string others;
    };
    std::vector<Argument> inputs = Named(table);
    const std::vector<Argument> none{"", "", ""};
    inputs.insert(is_primary ? inputs.end() : inputs.begin(), none.begin(), none.end());
    std::map<std::string, std::size_t> places;  // of keys that have a name
    std::vector<std::pair<std::string, Key>> keys;
    for (const Record& record : RecordsOf(session, "ForeignKeys", inputs, reporter)) {
        const std::size_t place = is_primary ? kForeignTable : kPrimaryTable;
        const std::string schema = record.At(record.At(place - 1).empty() ? place - 2 : place - 1);
        const std::string other = schema.empty() || schema == Qualifier(table)
                                      ? record.At(place)
                                      : schema + "." + record.At(place);
        const std::string id = record.At(kForeignName) + '\0' + other;
        if (!places.contains(id) || record.At(kKeySequence) == "1") {
            places[id] = keys.size();
            keys.emplace_back(other, Key{});
        }
        Key& key = keys[places[id]].second;
        AddName(key.columns, record.At(is_primary ? kPrimaryColumn : kForeignColumn));
        AddName(key.others, record.At(is_primary ? kForeignColumn : kPrimaryColumn));
    }
    TextTable shown({is_primary ? "referenced column" : "foreign key",
                     is_primary ? "by table" : "refers to table", "column"});
    for (const auto& [other, key] : keys) {
        shown.Add({key.columns, other, key.others});
    }
    return shown;
}

// What identifies a row of a table without a primary key.
TextTable RowIdentifiers(const Session& session, const Record& table, Reporter& reporter)
{
    constexpr std::int32_t kBestRowId = 1;
    constexpr std::int32_t kCurrentRow = 0;
    constexpr std::int32_t kMayBeNull = 1;
    TextTable shown({"row identifier"});
    std::string names;
    std::vector<Argument> inputs = Named(table);
    inputs.insert(inputs.begin(), kBestRowId);
    inputs.insert(inputs.end(), {kCurrentRow, kMayBeNull});
    for (const Record& record : RecordsOf(session, "SpecialColumns", inputs, reporter)) {
        AddName(names, record.At(kSpecialColumn));
    }
    if (!names.empty()) {
        shown.Add({names});
    }
    return shown;
}

TextTable Keys(const Session& session, const Record& table, Reporter& reporter)
{
    TextTable shown({"primary key"});
    std::string names;
    for (const Record& record : RecordsOf(session, "PrimaryKeys", Named(table), reporter)) {
        AddName(names, record.At(kKeyColumn));
    }
    if (names.empty()) {
        return RowIdentifiers(session, table, reporter);
    }
    shown.Add({names});
    return shown;
}

// A part that a driver has no answer for is left out, and said.
template <class Part>
void PassPart(ResultSink& sink, Reporter& reporter, Part part)
{
    try {
        const TextTable table = part();
        if (!table.IsEmpty()) {
            table.PassTo(sink);
        }
    } catch (const SqlError& error) {
        reporter.Warned(error.diagnostics.empty() ? std::vector<std::string>{error.what()}
                                                  : error.diagnostics);
    }
}

void DescribeTable(const Session& session, const Record& table, ResultSink& sink,
                   Reporter& reporter)
{
    TextTable columns(kColumnTitles);
    AddColumns(columns, session, table, reporter);
    columns.PassTo(sink);
    if (table.At(kTableType).find("VIEW") != std::string::npos) {
        return;
    }
    PassPart(sink, reporter, [&] { return Keys(session, table, reporter); });
    PassPart(sink, reporter, [&] {
        TextTable indexes({"index", "unique", "columns"});
        for (const Index& index : IndexesOf(session, table, reporter)) {
            indexes.Add({index.name, index.is_unique ? "yes" : "no", index.columns});
        }
        return indexes;
    });
    for (const bool is_primary : {false, true}) {
        PassPart(sink, reporter, [&] { return ForeignKeys(session, table, is_primary, reporter); });
    }
}

Records RelationsOrNone(const Session& session, const NamePattern& pattern, Reporter& reporter)
{
    Records found = Relations(session, pattern, "", reporter);
    if (found.empty()) {
        throw SqlError("there is no such table");
    }
    return found;
}

struct Source {
    std::string name;
    std::string description;
};

std::vector<Source> AllSources(const Gateway& gateway)
{
    constexpr std::int32_t kFirst = 2;
    constexpr std::int32_t kNext = 1;
    std::vector<Source> sources;
    for (std::int32_t direction = kFirst;; direction = kNext) {
        const Reply reply = gateway.Call("DataSources", {direction});
        const auto list = DecodeList(reply.Bytes());
        if (list.size() != 2) {
            return sources;
        }
        sources.push_back({list[0].Text(), list[1].Text()});
        for (std::string* text : {&sources.back().name, &sources.back().description}) {
            text->resize(std::min(text->find('\0'), text->size()));
        }
    }
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

void DescribeTables(const Session& session, const NamePattern& pattern, ResultSink& sink,
                    Reporter& reporter)
{
    for (const Record& table : RelationsOrNone(session, pattern, reporter)) {
        DescribeTable(session, table, sink, reporter);
    }
}

void ListColumns(const Session& session, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter)
{
    TextTable columns(kColumnTitles);
    for (const Record& table : RelationsOrNone(session, pattern, reporter)) {
        AddColumns(columns, session, table, reporter);
    }
    columns.PassTo(sink, reporter);
}

void ListSources(const Gateway& gateway, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter)
{
    TextTable table({"source", "description"});
    for (const auto& [name, description] : AllSources(gateway)) {
        if (pattern.Matches(name)) {
            table.Add({name, description});
        }
    }
    table.PassTo(sink, reporter);
}

void ListDrivers(const NamePattern& pattern, ResultSink& sink, Reporter& reporter)
{
    const Profiles profiles;
    TextTable table({"driver", "file"});
    for (const std::string& name : profiles.Sections(Profiles::kDrivers)) {
        if (pattern.Matches(name)) {
            table.Add({name, profiles.Value(name, "Driver", Profiles::kDrivers)});
        }
    }
    table.PassTo(sink, reporter);
}

std::vector<std::string> SourceNames(const Gateway& gateway)
{
    std::vector<std::string> names;
    for (Source& source : AllSources(gateway)) {
        names.push_back(std::move(source.name));
    }
    return names;
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
