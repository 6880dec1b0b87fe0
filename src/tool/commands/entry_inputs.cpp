#include "tool/commands/entry_inputs.h"

#include <algorithm>
#include <iterator>

namespace {

struct Row {
    std::string_view entry;
    std::string_view inputs;
};

// An entry that ends in W and isn't here takes what the entry without the W takes.
constexpr Row kRows[] = {
    {"Connect", "data source name, user, password"},
    {"ConnectWithTimeout", "data source name, user, password, timeout"},
    {"DSNConnect", "connection string"},
    {"DSNConnectWithTimeout", "connection string, timeout"},
    {"Disconnect", "connection"},
    {"RemoveConnection", "connection"},
    {"SetConnectOption", "connection, attribute, value"},
    {"SetStrConnectOption", "connection, attribute, value"},
    {"Transact", "connection, 0 to commit or 1 to roll back"},
    {"GetSQLErrors", "connection, statement"},
    {"SetLogOption", "option"},
    {"SetUnicodeOption", "option"},
    {"SetLegacyOption", "option"},
    {"Test", "text"},
    {"AllocStatement", "connection"},
    {"DropStatement", "statement"},
    {"Prepare", "statement, SQL"},
    {"PreparseSQL", "text, option, list"},
    {"Execute", "statement"},
    {"MoreResults", "statement"},
    {"CloseCursor", "statement"},
    {"RowCount", "statement"},
    {"NumResultCols", "statement"},
    {"SetStmtOption", "statement, attribute, value"},
    {"DescribeColumns", "statement"},
    {"NumColAttribute", "statement, column, field"},
    {"StrColAttribute", "statement, column, field"},
    {"Fetch", "statement"},
    {"GetOneRow", "statement, list of column numbers"},
    {"FetchRows", "statement, rows"},
    {"GetData", "statement, column, C type"},
    {"GetDataEx", "statement, column, C type, length"},
    {"BindParameters",
     "statement, buffer lengths, SQL types, decimal digits, I/O types, column sizes"},
    {"BindParameter",
     "statement, number, I/O type, C type, SQL type, column size, decimal digits, buffer length"},
    {"UnbindParameters", "statement"},
    {"SetParameter", "statement, list with the value, number"},
    {"SetParameterBinary", "statement, list with the value, number"},
    {"GetParameter", "statement, number"},
    {"ParamData", "statement"},
    {"PutData", "statement, piece"},
    {"DescribeParameters", "statement"},
    {"Tables", "statement, catalog, schema, table, table type"},
    {"Columns", "statement, catalog, schema, table, column"},
    {"ColumnPrivileges", "statement, catalog, schema, table, column"},
    {"TablePrivileges", "statement, catalog, schema, table"},
    {"DescribeProcedures", "statement, catalog, schema, procedure"},
    {"DescribeProcedureColumns", "statement, catalog, schema, procedure, column"},
    {"PrimaryKeys", "statement, catalog, schema, table"},
    {"SpecialColumns", "statement, identifier type, catalog, schema, table, scope, nullable"},
    {"Statistics", "statement, catalog, schema, table, kind of index"},
    {"ForeignKeys",
     "statement, primary catalog, primary schema, primary table, foreign catalog, foreign schema, "
     "foreign table"},
    {"GetInfo", "connection, information type"},
    {"GetTypeInfo", "statement, data type"},
    {"DataSources", "direction"},
};

}  // namespace

std::string_view EntryInputs(std::string_view entry)
{
    const auto* row = std::ranges::find(kRows, entry, &Row::entry);
    if (row == std::end(kRows) && entry.ends_with('W')) {
        row = std::ranges::find(kRows, entry.substr(0, entry.size() - 1), &Row::entry);
    }
    return row == std::end(kRows) ? std::string_view() : row->inputs;
}
