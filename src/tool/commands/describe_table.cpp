#include "tool/commands/describe_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "client/TextTable.h"
#include "client/ascii.h"

namespace {

constexpr char kStatisticsOfTable[] = "0";  // SQL_TABLE_STAT

// Appends a name to a list: "a, b".
void AddName(std::string& names, const std::string& name)
{
    names += (names.empty() ? "" : ", ") + name;
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

// The entry takes a name as a pattern, in which _ is any character.
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

// The foreign keys of the table, or with is_primary those that refer to it.
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

// The columns that identify a row of a table without a primary key.
TextTable RowIdentifiers(const Session& session, const Record& table, Reporter& reporter)
{
    constexpr std::int32_t kBestRowId = 1;
    constexpr std::int32_t kCurrentRow = 0;
    constexpr std::int32_t kMayBeNull = 1;
    TextTable shown({"row identifier"});
    std::string names;
    const std::vector<Argument> name = Named(table);
    const std::vector<Argument> inputs{kBestRowId, name[0],     name[1],
                                       name[2],    kCurrentRow, kMayBeNull};
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

// A part for which the driver reports an error is left out, with its diagnostics as a warning.
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

}  // namespace

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
