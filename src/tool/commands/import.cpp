#include "tool/commands/import.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <set>

#include "client/odbc_numbers.h"
#include "text/CsvReader.h"
#include "text/value_syntax.h"

namespace {

// A name as the data source wants it, whatever its characters. A data source without quotes has a
// blank for one.
std::string Quoted(const std::string& name, const std::string& quote)
{
    if (quote.empty() || quote == " ") {
        return name;
    }
    std::string quoted = quote;
    for (const char c : name) {
        quoted += quote == std::string(1, c) ? quote + quote : std::string(1, c);
    }
    return quoted + quote;
}

// The table's column of a name: the one that is the same, or else the same but for case.
const Column& ColumnNamed(const std::vector<Column>& columns, const CsvReader::Field& title,
                          const std::string& table)
{
    const std::string name = title.value_or("");
    auto found = std::ranges::find(columns, name, &Column::name);
    if (found == columns.end()) {
        found = std::ranges::find_if(columns, [&](const Column& column) {
            return strcasecmp(column.name.c_str(), name.c_str()) == 0;
        });
    }
    if (found == columns.end()) {
        throw SqlError(fmt::format("{} has no column \"{}\"", table, name), {});
    }
    return *found;
}

std::vector<Column> ColumnsOf(const Session& session, const std::string& table, ResultSink& sink)
{
    Query query(session, "SELECT * FROM " + table + " WHERE 1 = 0", sink);
    query.Execute();
    return query.Describe();
}

/// The statement that inserts a row, and its parameters.
struct Insertion {
    std::string sql;
    std::vector<ParameterShape> parameters;
};

Insertion InsertionOf(const Session& session, const std::string& table,
                      const CsvReader::Record& titles, ResultSink& sink)
{
    const auto columns = ColumnsOf(session, table, sink);
    const Reply info = session.Call("GetInfo", {kIdentifierQuote});
    const auto quote = DecodeList(info.List()).at(0);
    const std::string quote_text = quote.payload == std::string_view("\0", 1) ? "" : quote.Text();
    Insertion insertion;
    std::string names;
    std::string markers;
    std::set<std::string> named;
    for (const CsvReader::Field& title : titles) {
        const Column& column = ColumnNamed(columns, title, table);
        if (!named.insert(column.name).second) {
            throw SqlError("two fields are for the column " + column.name, {});
        }
        names += (names.empty() ? "" : ", ") + Quoted(column.name, quote_text);
        markers += markers.empty() ? "?" : ", ?";
        insertion.parameters.push_back({column.sql_type, std::max<std::int64_t>(column.size, 1),
                                        column.digits, column.IsBinary()});
    }
    insertion.sql = fmt::format("INSERT INTO {} ({}) VALUES ({})", table, names, markers);
    return insertion;
}

void InsertRow(Query& insert, const CsvReader::Record& record,
               const std::vector<ParameterShape>& parameters, TextForm form)
{
    for (std::size_t i = 0; i < record.size(); ++i) {
        const auto& field = record[i];
        const bool is_binary = parameters[i].is_binary;
        insert.Set(i + 1, !field      ? ListValue()
                          : is_binary ? ListValue(*field)
                                      : TextValue(*field, form));
    }
    insert.Execute();
}

}  // namespace

std::size_t ImportCsv(const Session& session, const std::string& file, const std::string& table,
                      ResultSink& sink, const std::function<void(std::size_t)>& on_progress)
{
    CsvReader reader(file);
    const auto titles = reader.Next();
    if (!titles) {
        throw CsvError(file + ": there is no record with the names of columns");
    }
    const Insertion insertion = InsertionOf(session, table, *titles, sink);
    Transaction transaction(session);
    Query insert(session, insertion.sql, sink);
    insert.Bind(insertion.parameters);
    const auto form = session.WideParameters() ? TextForm::kUnits : TextForm::kBytes;
    std::size_t rows = 0;
    while (const auto record = reader.Next()) {
        if (record->size() != titles->size()) {
            throw CsvError(
                fmt::format("{}: record {} has not as many fields ({}) as columns are named ({})",
                            file, reader.Number(), record->size(), titles->size()));
        }
        try {
            InsertRow(insert, *record, insertion.parameters, form);
        } catch (const SqlError& error) {
            throw SqlError(fmt::format("{}: record {}: {}", file, reader.Number(), error.what()),
                           error.diagnostics);
        } catch (const UsageError& error) {
            throw CsvError(fmt::format("{}: record {}: {}", file, reader.Number(), error.what()));
        }
        on_progress(++rows);
    }
    transaction.Commit();
    return rows;
}
