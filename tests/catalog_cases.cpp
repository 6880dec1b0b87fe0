#include "handle_case.h"

namespace {

using namespace std::string_literals;

// Names that differ in what ODBC is to get: one, none, one that starts with a zero, another.
const std::vector<Argument> kThree = {"c", "", "\0x"s};
const std::vector<Argument> kFour = {"c", "", "\0x"s, "v%"};
const std::vector<Argument> kThreeWide = {u"c"s, u""s, u"\0x"s};
const std::vector<Argument> kFourWide = {u"c"s, u""s, u"\0x"s, u"\u00E9%"s};

constexpr char kThreeNames[] = "'c',1,null,0,'',0";
constexpr char kFourNames[] = "'c',1,null,0,'',0,'v%',2";
constexpr char kThreeWideNames[] = "'c',1,null,0,'<0>x',2";
constexpr char kFourWideNames[] = "'c',1,null,0,'<0>x',2,'<e9>%',2";

std::vector<Argument> Joined(std::vector<Argument> first, const std::vector<Argument>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

HandleCase Row(const char* name, std::vector<Argument> rest, const char* odbc, const char* call)
{
    return {.name = name, .rest = std::move(rest), .odbc = odbc, .call = call};
}

}  // namespace

std::vector<HandleCase> CatalogCases()
{
    // clang-format off
    std::vector<HandleCase> rows = {
        Row("Tables", kFour, "SQLTables", kFourNames),
        Row("TablesW", kFourWide, "SQLTablesW", kFourWideNames),
        Row("Columns", kFour, "SQLColumns", kFourNames),
        Row("ColumnsW", kFourWide, "SQLColumnsW", kFourWideNames),
        Row("ColumnPrivileges", kFour, "SQLColumnPrivileges", kFourNames),
        Row("ColumnPrivilegesW", kFourWide, "SQLColumnPrivilegesW", kFourWideNames),
        Row("TablePrivileges", kThree, "SQLTablePrivileges", kThreeNames),
        Row("TablePrivilegesW", kThreeWide, "SQLTablePrivilegesW", kThreeWideNames),
        Row("PrimaryKeys", kThree, "SQLPrimaryKeys", kThreeNames),
        Row("PrimaryKeysW", kThreeWide, "SQLPrimaryKeysW", kThreeWideNames),
        Row("ForeignKeys", Joined(kThree, {"d", "e", "f"}),
            "SQLForeignKeys", "'c',1,null,0,'',0,'d',1,'e',1,'f',1"),
        Row("ForeignKeysW", Joined(kThreeWide, {u"d"s, u"e"s, u"f"s}),
            "SQLForeignKeysW", "'c',1,null,0,'<0>x',2,'d',1,'e',1,'f',1"),
        Row("SpecialColumns", {65'537, "c", "", "t", -1, 2},
            "SQLSpecialColumns", "1,'c',1,null,0,'t',1,65535,2"),
        Row("SpecialColumnsW", {65'537, u"c"s, u""s, u"t"s, -1, 2},
            "SQLSpecialColumnsW", "1,'c',1,null,0,'t',1,65535,2"),
        Row("Statistics", {"c", "", "t", 65'537},
            "SQLStatistics", "'c',1,null,0,'t',1,1,1"),
        // The host's 2-byte characters as they are, read as wide ones.
        Row("StatisticsW", {u"c"s, u""s, u"xyz"s, 0},
            "SQLStatisticsW", "'c',1,null,0,'<790078>z<0>',3,0,1"),
        // The catalog only tells whether it is there.
        Row("DescribeProcedures", {"c", "s", ""},
            "SQLProcedures", "'',0,'s',1,null,0"),
        Row("DescribeProcedureColumns", kFour, "SQLProcedureColumns", kFourNames),
        // Two zero characters at the start: the host's own characters, of length 0 but for a catalog.
        Row("DescribeProceduresW", {u"\0\0"s, u"\0\0z"s, u"\0x"s},
            "SQLProceduresW", "'<0><0>',2,'',0,'<0>x',2"),
        Row("DescribeProcedureColumnsW", {u"\0\0"s, u""s, u"\u00E9"s, u"\0"s},
            "SQLProcedureColumnsW", "'',0,null,0,'<e9>',1,'',0"),
    };
    // clang-format on
    for (HandleCase& row : rows) {
        const std::string_view name = row.name;
        if (name.starts_with("Describe")) {
            row.function = row.name + std::string_view("Describe").size();
            row.unknown_label = row.begin_label = row.function;
        }
        row.traces_two_handle_bytes = name == "ForeignKeysW";
        if (name == "StatisticsW") {
            row.begin_label = "Statistics";
        } else if (name == "SpecialColumnsW") {
            row.begins_only_unknown = true;
            row.begin = R"(, 65537, u"c", u"", u"t", -1)";
        }
    }
    return rows;
}
