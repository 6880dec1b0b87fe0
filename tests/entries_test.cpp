// Every entry with a handle, by one table: what reaches ODBC, what comes back, what is traced.
#include <fmt/format.h>

#include <ostream>
#include <vector>

#include "encoding/ZString.h"
#include "scripted_fixture.h"

using scripted::Current;
using scripted::WideBytes;

namespace {

/// How an entry answers: by a result code, by a count and a code in the record, by an output.
enum class Answers { kCode, kCount, kOutput };

struct HandleCase {
    const char* name = "";
    std::vector<Argument> rest = {};  // inputs behind the handle
    const char* odbc = "";            // the ODBC function it calls
    Answers answers = Answers::kCode;
    const char* begin = nullptr;           // BEGIN record behind the handle; null: the inputs
    const char* function = name;           // its name in the trace
    const char* unknown_label = function;  // its name there for an unknown handle; null: no record
    const char* end = answers == Answers::kCode ? "  0" : "";  // END record of a success
    const char* thrown_end = answers == Answers::kOutput ? "" : "  -999999";
    bool on_connection = false;
    const char* failed_end = "  -1";
    const char* call = nullptr;          // the arguments of the ODBC call behind the handle
    const char* begin_label = function;  // its name in the BEGIN record
    bool traces_two_handle_bytes = false;
    bool begins_only_unknown = false;  // there is a BEGIN record of an unknown handle only

    friend void PrintTo(const HandleCase& entry, std::ostream* out) { *out << entry.name; }
};

constexpr auto kCount = Answers::kCount;
constexpr auto kOutput = Answers::kOutput;
constexpr char kVa[] = "  \"\\x04\\x01va\"";
constexpr char kNumAttribute[] = "NumColAttribute";
constexpr char kStrAttribute[] = "StrColAttribute";
constexpr char kZeros[] = "  \"\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\"";

const std::string kNumber = EncodeList({5});
const std::string kLongBytes = EncodeList({std::string(600, 'x')});  // more than a buffer holds

// clang-format off
const std::vector<HandleCase> kHandleCases = {
    {"Prepare", {"sel"}, "SQLPrepare", {}, {}, "PrepareHandle"},
    {"PrepareW", {u"ab"}, "SQLPrepareW", {}, ", \"a\\x00\"", "PrepareHandleW"},
    {"Execute", {}, "SQLExecute"},
    {"MoreResults", {}, "SQLMoreResults", {}, {}, "MoreResults", "Execute"},
    {"CloseCursor", {}, "SQLFreeStmt"},
    {"SetStmtOption", {6, -7}, "SQLSetStmtAttr"},
    {"Fetch", {}, "SQLFetch"},
    {"DropStatement", {}, "SQLFreeHandle"},
    {.name = "Disconnect", .odbc = "SQLDisconnect", .on_connection = true},
    {"RowCount", {}, "SQLRowCount", kCount},
    {"NumResultCols", {}, "SQLNumResultCols", kCount, {}, "NumResultCols", "RowCount"},
    {"DescribeColumns", {}, "SQLNumResultCols", kOutput, {}, "DescribeCols"},
    {"NumColAttribute", {1, 6}, "SQLColAttribute", kOutput, {}, kNumAttribute, kNumAttribute, "  7", "  0"},
    {"StrColAttribute", {1, 6}, "SQLColAttribute", kOutput, {}, kStrAttribute, kStrAttribute, kVa},
    {"StrColAttributeW", {1, 6}, "SQLColAttributeW", kOutput, {}, kStrAttribute, kStrAttribute, kVa},
    {"GetOneRow", {""}, "SQLGetData", kOutput},
    {"FetchRows", {1}, "SQLFetch", kOutput, {}, "ExtendedFetch"},
    {.name = "AllocStatement", .odbc = "SQLAllocHandle", .answers = kOutput, .function = "AllocSt",
     .unknown_label = nullptr, .end = "  handle 0x130", .thrown_end = kZeros, .on_connection = true,
     .failed_end = kZeros},
    {.name = "GetData", .rest = {2, 1}, .odbc = "SQLGetData", .answers = kOutput, .call = "2,1,32766"},
    {.name = "GetDataW", .rest = {2, -8}, .odbc = "SQLGetData", .answers = kOutput, .call = "2,-8,131064"},
    {"GetDataEx", {2, -2, 9}, "SQLGetData", kOutput, ", 2, -2"},
    {"GetDataExW", {2, -8, 40}, "SQLGetData", kOutput, ", 2, -8", "GetDataEx"},
    {.name = "BindParameters", .rest = {kNumber, kNumber, kNumber, kNumber, kNumber},
     .odbc = "SQLBindParameter", .function = "Bind", .call = "1,5,1,5,5,5,buffer,512,5"},
    {.name = "BindParameter", .rest = {1, 2, 8, 6, 15, 3, 300}, .odbc = "SQLBindParameter",
     .call = "1,2,8,6,15,3,buffer,304,300"},
    {"SetParameter", {kNumber, 1}, "SQLBindParameter", {}, {}, "SetParam"},
    {"SetParameterBinary", {kLongBytes, 1}, "SQLBindParameter", {}, {}, "SetParamBinary"},
    {.name = "UnbindParameters", .odbc = "SQLFreeStmt", .function = "UnbindParams", .call = "3"},
    {"DescribeParameters", {}, "SQLNumParams", kOutput, {}, "DescribeParams", nullptr},
    {.name = "PutData", .rest = {"ab"}, .odbc = "SQLPutData", .call = "'ab',2"},
    {"PutDataW", {u"ab"}, "SQLPutData"},
    {.name = "GetInfo", .rest = {65'553}, .odbc = "SQLGetInfo", .answers = kOutput,
     .on_connection = true, .call = "17,2047,0"},
    {.name = "GetTypeInfo", .rest = {65'532}, .odbc = "SQLGetTypeInfo", .call = "-4"},
    {.name = "SetConnectOption", .rest = {65'638, -3}, .odbc = "SQLSetConnectAttr",
     .on_connection = true, .call = "65638,-3,0"},
    {.name = "SetStrConnectOption", .rest = {65'645, "main"}, .odbc = "SQLSetConnectAttr",
     .on_connection = true, .call = "109,'main',-3"},
    {.name = "Transact", .rest = {65'537}, .odbc = "SQLEndTran", .on_connection = true},
};
// clang-format on

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

/// The rows of the catalog entries.
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

class EachEntry : public ScriptedTest, public testing::WithParamInterface<HandleCase> {
protected:
    EachEntry()
    {
        Open();
        if (entry.rest.size() == 2 && entry.odbc == std::string_view("SQLBindParameter")) {
            Call("BindParameter", {statement, 1, 1, 1, 12, 0, 0, 0});  // for a value to be set
        }
        const std::string_view odbc = entry.odbc;
        const bool is_wide = odbc == "SQLColAttributeW" || odbc == "SQLGetData";
        Current().values = {{.length = 2, .bytes = is_wide ? WideBytes(L"va") : "va", .number = 7}};
        TraceOn();
        Current().Taken();
    }
    Reply CallWith(const std::string& handle) { return CallOn(handle, entry.name, entry.rest); }
    /// The BEGIN record of a call, of whose handle is shown what is given.
    std::string Begin(const char* handle) const
    {
        std::string inputs = entry.begin != nullptr ? entry.begin : "";
        for (const Argument& input : entry.rest) {
            inputs += entry.begin != nullptr ? "" : ", " + Shown(input);
        }
        return fmt::format("{} BEGIN  {}{}\n", entry.begin_label, handle, inputs);
    }
    static std::string Shown(const Argument& input)
    {
        const auto* number = std::get_if<int32_t>(&input);
        const auto* wide = std::get_if<std::u16string>(&input);
        return ListText(EncodeList({number != nullptr ? ListValue(*number)
                                    : wide != nullptr ? ListValue(*wide)
                                                      : ListValue(std::get<std::string>(input))}));
    }
    /// The handle as a BEGIN record shows it.
    const char* Known() const
    {
        return entry.on_connection ? kDbc : entry.traces_two_handle_bytes ? "\"/\\x01\"" : kStmt;
    }
    /// The records of a call with the known handle, whose END record holds this.
    std::string Records(const char* end) const
    {
        return (entry.begins_only_unknown ? "" : Begin(Known())) +
               fmt::format("{} END{}\n", entry.function, end);
    }
    /// A call with the known handle, and what is traced and told at its end.
    Reply ExpectEnd(const char* end, int was_error)
    {
        Reply reply = CallWith(entry.on_connection ? connection : statement);
        Current().throwing = {};
        Current().codes = {};
        EXPECT_EQ(Traced(), Records(end));
        EXPECT_EQ(WasError(), was_error);
        return reply;
    }

    const HandleCase& entry = GetParam();
};

TEST_P(EachEntry, RejectsAnUnknownHandle)
{
    const Reply reply = CallWith(unknown);
    EXPECT_EQ(reply.code, entry.answers == Answers::kCode ? -2 : Reply::kUntouched);
    EXPECT_EQ(reply.length, 0U) << "no output";
    EXPECT_EQ(Current().Taken(), "") << "nothing reaches the driver";
    const auto end =
        entry.unknown_label != nullptr ? fmt::format("{} END  -2\n", entry.unknown_label) : "";
    const char* shown = entry.traces_two_handle_bytes ? "\"\\t\\x03\"" : "handle 0x309";
    EXPECT_EQ(Traced(), Begin(shown) + end);
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(Code("GetLastSQLCode"), 0);
}

TEST_P(EachEntry, ContainsWhatADriverThrows)
{
    Current().throwing = {entry.odbc};
    EXPECT_EQ(ExpectEnd(entry.thrown_end, -1000).length, 0U);
}

TEST_P(EachEntry, ReportsAFailure)
{
    Current().codes = {{entry.odbc, SQLRETURN{SQL_ERROR}}, {"SQLFreeHandle", SQLRETURN{SQL_ERROR}}};
    const int code = ExpectEnd(entry.failed_end, -1).code;
    EXPECT_TRUE(code == -1 || entry.answers != Answers::kCode) << code;
}

TEST_P(EachEntry, TracesASuccess)
{
    ExpectEnd(entry.end, 0);
    if (entry.call != nullptr) {
        EXPECT_EQ(Current().calls.back(),
                  fmt::format("{}({},{})", entry.odbc, entry.on_connection ? "dbc2" : "stmt3",
                              entry.call));
    }
}

INSTANTIATE_TEST_SUITE_P(All, EachEntry, testing::ValuesIn(kHandleCases),
                         [](const auto& entry) { return entry.param.name; });
INSTANTIATE_TEST_SUITE_P(Catalogs, EachEntry, testing::ValuesIn(CatalogCases()),
                         [](const auto& entry) { return entry.param.name; });

TEST_F(ScriptedTest, NoDataIsEachEntrysOwn)
{
    Open();
    for (const char* function : {"SQLExecute", "SQLMoreResults", "SQLFetch", "SQLFreeStmt"}) {
        Current().codes[function] = SQL_NO_DATA;
    }
    const std::pair<const char*, int> cases[] = {
        {"Execute", 0}, {"MoreResults", -1}, {"Fetch", 100}, {"CloseCursor", -1}};
    for (const auto& [name, was_error] : cases) {
        EXPECT_EQ(Code(name, {statement}), 100) << name;
        EXPECT_EQ(WasError(), was_error) << name;
    }
    Current().codes["SQLExecute"] = SQL_NEED_DATA;
    EXPECT_EQ(Code("Execute", {statement}), 99);
    EXPECT_EQ(WasError(), -1);
}

// A handle argument whose length word says less than the eight bytes that are there.
class ShortHandle : public ScriptedTest {
protected:
    ShortHandle()
    {
        Open();
        std::memcpy(short_statement + 1, statement.data(), statement.size());
        std::memcpy(short_connection + 1, connection.data(), connection.size());
    }
    template <class... Rest>
    int RawCode(const char* name, const uint16_t* handle, Rest... rest)
    {
        int code = 0;
        auto* entry =
            reinterpret_cast<int (*)(const void*, Rest..., int*)>(gateway->Find(name)->function);
        entry(handle, rest..., &code);
        return code;
    }

    uint16_t short_statement[5] = {1};
    uint16_t short_connection[5] = {};  // its handle has one byte that is not 0
    const uint16_t none[5] = {};
};

TEST_F(ShortHandle, IsTakenAsCountedOrWhole)
{
    const void* name = none;
    constexpr int kWhole = 0;
    constexpr int kCounted = -2;
    const std::pair<const char*, int> four_names[] = {{"Tables", kCounted},
                                                      {"TablesW", kWhole},
                                                      {"Columns", kCounted},
                                                      {"ColumnsW", kWhole},
                                                      {"ColumnPrivileges", kCounted},
                                                      {"ColumnPrivilegesW", kWhole},
                                                      {"DescribeProcedureColumns", kCounted},
                                                      {"DescribeProcedureColumnsW", kWhole}};
    for (const auto& [entry, code] : four_names) {
        EXPECT_EQ(RawCode(entry, short_statement, name, name, name, name), code) << entry;
    }
    const std::pair<const char*, int> three_names[] = {
        {"TablePrivileges", kCounted},    {"TablePrivilegesW", kWhole},
        {"DescribeProcedures", kCounted}, {"DescribeProceduresW", kWhole},
        {"PrimaryKeys", kWhole},          {"PrimaryKeysW", kWhole}};
    for (const auto& [entry, code] : three_names) {
        EXPECT_EQ(RawCode(entry, short_statement, name, name, name), code) << entry;
    }
    for (const char* entry : {"Statistics", "StatisticsW"}) {
        EXPECT_EQ(RawCode(entry, short_statement, name, name, name, 0), kWhole) << entry;
    }
    for (const char* entry : {"SpecialColumns", "SpecialColumnsW"}) {
        EXPECT_EQ(RawCode(entry, short_statement, 1, name, name, name, 0, 0), kCounted) << entry;
    }
    for (const char* entry : {"ForeignKeys", "ForeignKeysW"}) {
        EXPECT_EQ(RawCode(entry, short_statement, name, name, name, name, name, name), kWhole);
    }
    EXPECT_EQ(RawCode("Execute", short_statement), kWhole);
    EXPECT_EQ(RawCode("SetConnectOption", short_connection, 1, 1), kCounted);
    EXPECT_EQ(RawCode("SetStrConnectOption", short_connection, 1, "x"), kWhole);
    char output[64] = {};
    const std::pair<const char*, int> reading[] = {{"GetData", -8}, {"GetDataW", 1}};
    for (const auto& [entry, c_type] : reading) {
        RawCode(entry, short_statement, 1, c_type, output);
        EXPECT_EQ(WasError(), -1) << entry;
    }
    RawCode("GetOneRow", short_statement, name, output);
    EXPECT_EQ(WasError(), -1);
    Call("GetOneRow", {statement + "more", ""});
    EXPECT_EQ(WasError(), 0) << "what exceeds 8 bytes is cut";
}

}  // namespace
