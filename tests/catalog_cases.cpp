#include "handle_case.h"

namespace {

using namespace std::string_literals;

// Names that differ in what ODBC is to get: one, none, one that starts with a zero, another.
const std::vector<Argument> kThree = {"c", "", "\0x"s};
const std::vector<Argument> kFour = {"c", "", "\0x"s, "v%"};
const std::vector<Argument> kThreeWide = {u"c"s, u""s, u"\0x"s};
const std::vector<Argument> kFourWide = {u"c"s, u""s, u"\0x"s, u"\u00E9%"s};

constexpr char kThreeTraced[] = R"(, "c", "", "\x00x")";
constexpr char kFourTraced[] = R"(, "c", "", "\x00x", "v%")";
constexpr char kThreeWideTraced[] = R"(, u"c", u"", u"\x00x")";
constexpr char kFourWideTraced[] = R"(, u"c", u"", u"\x00x", u"é%")";

constexpr char kThreeNames[] = "'c',1,null,0,'',0";
constexpr char kFourNames[] = "'c',1,null,0,'',0,'v%',2";
constexpr char kThreeWideNames[] = "'c',1,null,0,'<0>x',2";
constexpr char kFourWideNames[] = "'c',1,null,0,'<0>x',2,'<e9>%',2";

std::vector<Argument> Joined(std::vector<Argument> first, const std::vector<Argument>& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

HandleCase Row(const char* name, std::vector<Argument> rest, const char* begin, const char* odbc,
               const char* call)
{
    return {.name = name, .rest = std::move(rest), .odbc = odbc, .begin = begin, .call = call};
}

}  // namespace

std::vector<HandleCase> CatalogCases()
{
    // clang-format off
    std::vector<HandleCase> rows = {
        Row("Tables", kFour, kFourTraced, "SQLTables", kFourNames),
        Row("TablesW", kFourWide, kFourWideTraced, "SQLTablesW", kFourWideNames),
        Row("Columns", kFour, kFourTraced, "SQLColumns", kFourNames),
        Row("ColumnsW", kFourWide, kFourWideTraced, "SQLColumnsW", kFourWideNames),
        Row("ColumnPrivileges", kFour, kFourTraced, "SQLColumnPrivileges", kFourNames),
        Row("ColumnPrivilegesW", kFourWide, kFourWideTraced, "SQLColumnPrivilegesW", kFourWideNames),
        Row("TablePrivileges", kThree, kThreeTraced, "SQLTablePrivileges", kThreeNames),
        Row("TablePrivilegesW", kThreeWide, kThreeWideTraced, "SQLTablePrivilegesW", kThreeWideNames),
        Row("PrimaryKeys", kThree, kThreeTraced, "SQLPrimaryKeys", kThreeNames),
        Row("PrimaryKeysW", kThreeWide, kThreeWideTraced, "SQLPrimaryKeysW", kThreeWideNames),
        Row("ForeignKeys", Joined(kThree, {"d", "e", "f"}), R"(, "c", "", "\x00x", "d", "e", "f")",
            "SQLForeignKeys", "'c',1,null,0,'',0,'d',1,'e',1,'f',1"),
        Row("ForeignKeysW", Joined(kThreeWide, {u"d"s, u"e"s, u"f"s}),
            R"(, u"c", u"", u"\x00x", u"d", u"e", u"f")",
            "SQLForeignKeysW", "'c',1,null,0,'<0>x',2,'d',1,'e',1,'f',1"),
        Row("SpecialColumns", {65'537, "c", "", "t", -1, 2}, R"(, 65537, "c", "", "t", -1, 2)",
            "SQLSpecialColumns", "1,'c',1,null,0,'t',1,65535,2"),
        Row("SpecialColumnsW", {65'537, u"c"s, u""s, u"t"s, -1, 2}, R"(, 65537, u"c", u"", u"t", -1)",
            "SQLSpecialColumnsW", "1,'c',1,null,0,'t',1,65535,2"),
        Row("Statistics", {"c", "", "t", 65'537}, R"(, "c", "", "t", 65537)",
            "SQLStatistics", "'c',1,null,0,'t',1,1,1"),
        // The host's 2-byte characters as they are, read as wide ones.
        Row("StatisticsW", {u"c"s, u""s, u"xyz"s, 0}, R"(, u"c", u"", u"xyz", 0)",
            "SQLStatisticsW", "'c',1,null,0,'<790078>z<0>',3,0,1"),
        // The catalog only tells whether it is there.
        Row("DescribeProcedures", {"c", "s", ""}, R"(, "c", "s", "")",
            "SQLProcedures", "'',0,'s',1,null,0"),
        Row("DescribeProcedureColumns", kFour, kFourTraced, "SQLProcedureColumns", kFourNames),
        // Two zero characters at the start: the host's own characters, of length 0 but for a catalog.
        Row("DescribeProceduresW", {u"\0\0"s, u"\0\0z"s, u"\0x"s},
            R"(, u"\x00\x00", u"\x00\x00z", u"\x00x")",
            "SQLProceduresW", "'<0><0>',2,'',0,'<0>x',2"),
        Row("DescribeProcedureColumnsW", {u"\0\0"s, u""s, u"\u00E9"s, u"\0"s},
            R"(, u"\x00\x00", u"", u"é", u"\x00")",
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
        row.begins_only_unknown = name == "SpecialColumnsW";
        if (name == "StatisticsW") {
            row.begin_label = "Statistics";
        }
    }
    return rows;
}
