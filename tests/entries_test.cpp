// Every entry with a handle, in one table: its ODBC calls, its results, its trace.
#include <fmt/format.h>

#include <map>
#include <ostream>
#include <vector>

#include "encoding/ZString.h"
#include "scripted_fixture.h"

using scripted::Current;
using scripted::WideBytes;

namespace {

/// What an entry returns: a result code, a count and a code in the record, or an output.
enum class Answers { kCode, kCount, kOutput };

constexpr std::size_t kCounted = SIZE_MAX;  // as many as the length word says

struct HandleCase {
    const char* name = "";
    std::vector<Argument> rest = {};  // inputs after the handle
    const char* odbc = "";            // the ODBC function it calls
    Answers answers = Answers::kCode;
    const char* begin = nullptr;           // BEGIN record after the handle; null: the inputs
    const char* function = name;           // its name in the trace
    const char* unknown_label = function;  // its name there for an unknown handle; null: no record
    const char* end = answers == Answers::kCode ? "  0" : "";  // END record of a success
    const char* thrown_end = answers == Answers::kOutput ? "" : "  -999999";
    bool on_connection = false;
    const char* failed_end = "  -1";
    const char* call = nullptr;          // the arguments of the ODBC call after the handle
    const char* begin_label = function;  // its name in the BEGIN record
    bool looks_up_counted = false;  // as many bytes of a handle as its length word says, else eight
    std::size_t traced = kCounted;  // bytes of the handle in the BEGIN record
    bool is_failure_guarded = false;
    bool begins_only_unknown = false;  // there is a BEGIN record only for an unknown handle

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
    {.name = "GetOneRow", .rest = {""}, .odbc = "SQLGetData", .answers = kOutput, .looks_up_counted = true},
    {"FetchRows", {1}, "SQLFetch", kOutput, {}, "ExtendedFetch"},
    {.name = "AllocStatement", .odbc = "SQLAllocHandle", .answers = kOutput, .function = "AllocSt",
     .unknown_label = nullptr, .end = "  handle 0x130", .thrown_end = kZeros, .on_connection = true,
     .failed_end = kZeros},
    {.name = "GetData", .rest = {2, 1}, .odbc = "SQLGetData", .answers = kOutput, .call = "2,1,32766",
     .looks_up_counted = true},
    {.name = "GetDataW", .rest = {2, -8}, .odbc = "SQLGetData", .answers = kOutput, .call = "2,-8,131064",
     .looks_up_counted = true},
    {.name = "GetDataEx", .rest = {2, -2, 9}, .odbc = "SQLGetData", .answers = kOutput, .begin = ", 2, -2",
     .looks_up_counted = true},
    {.name = "GetDataExW", .rest = {2, -8, 40}, .odbc = "SQLGetData", .answers = kOutput, .begin = ", 2, -8",
     .function = "GetDataEx", .looks_up_counted = true},
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
    {.name = "GetTypeInfo", .rest = {65'532}, .odbc = "SQLGetTypeInfo", .call = "-4", .traced = 8,
     .is_failure_guarded = true},
    {.name = "SetConnectOption", .rest = {65'638, -3}, .odbc = "SQLSetConnectAttr",
     .on_connection = true, .call = "65638,-3,0", .looks_up_counted = true, .is_failure_guarded = true},
    {.name = "SetStrConnectOption", .rest = {65'645, "main"}, .odbc = "SQLSetConnectAttr",
     .on_connection = true, .call = "109,'main',-3", .is_failure_guarded = true},
    {.name = "Transact", .rest = {65'537}, .odbc = "SQLEndTran", .on_connection = true,
     .is_failure_guarded = true},
};
// clang-format on

using namespace std::string_literals;

// Names that are passed to ODBC differently: one, none, one that starts with a zero, another.
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
        // The host's 2-byte characters unchanged, read as wide ones.
        Row("StatisticsW", {u"c"s, u""s, u"xyz"s, 0},
            "SQLStatisticsW", "'c',1,null,0,'<790078>z<0>',3,0,1"),
        // Only the catalog's presence matters.
        Row("DescribeProcedures", {"c", "s", ""},
            "SQLProcedures", "'',0,'s',1,null,0"),
        Row("DescribeProcedureColumns", kFour, "SQLProcedureColumns", kFourNames),
        // Two zero characters at the start: the host's own characters, with length 0 except for a
        // catalog.
        Row("DescribeProceduresW", {u"\0\0"s, u"\0\0z"s, u"\0x"s},
            "SQLProceduresW", "'<0><0>',2,'',0,'<0>x',2"),
        Row("DescribeProcedureColumnsW", {u"\0\0"s, u""s, u"\u00E9"s, u"\0"s},
            "SQLProcedureColumnsW", "'',0,null,0,'<e9>',1,'',0"),
    };
    // clang-format on
    constexpr std::string_view kLookUpCounted =
        " Tables Columns ColumnPrivileges TablePrivileges DescribeProcedures "
        "DescribeProcedureColumns SpecialColumns SpecialColumnsW ";
    constexpr std::string_view kTraceEight =
        " Tables Columns ColumnPrivileges TablePrivileges DescribeProcedureColumns PrimaryKeys "
        "SpecialColumns Statistics StatisticsW ";
    for (HandleCase& row : rows) {
        const std::string_view name = row.name;
        const std::string word = fmt::format(" {} ", name);
        row.is_failure_guarded = true;
        row.looks_up_counted = kLookUpCounted.find(word) != std::string_view::npos;
        row.traced = kTraceEight.find(word) != std::string_view::npos ? 8 : kCounted;
        if (name.starts_with("Describe")) {
            row.function = row.name + std::string_view("Describe").size();
            row.unknown_label = row.begin_label = row.function;
        }
        if (name == "ForeignKeysW") {
            row.traced = 2;
        } else if (name == "StatisticsW") {
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
            Call("BindParameter", {statement, 1, 1, 1, 12, 0, 0, 0});  // so that a value can be set
        }
        const std::string_view odbc = entry.odbc;
        const bool is_wide = odbc == "SQLColAttributeW" || odbc == "SQLGetData";
        Current().values = {{.length = 2, .bytes = is_wide ? WideBytes(L"va") : "va", .number = 7}};
        TraceOn();
        Current().TakeCalls();
    }
    Reply CallWith(const std::string& handle) { return CallOn(handle, entry.name, entry.rest); }
    /// The BEGIN record of a call, with this for its handle.
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
        return entry.on_connection ? kDbc : entry.traced == 2 ? "\"/\\x01\"" : kStmt;
    }
    /// The records of a call with the known handle and this END record.
    std::string Records(const char* end) const
    {
        return (entry.begins_only_unknown ? "" : Begin(Known())) +
               fmt::format("{} END{}\n", entry.function, end);
    }
    /// A call with the known handle, with its END record and what is reported.
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
    EXPECT_EQ(Current().TakeCalls(), "") << "nothing reaches the driver";
    const auto end =
        entry.unknown_label != nullptr ? fmt::format("{} END  -2\n", entry.unknown_label) : "";
    const char* shown = entry.traced == 2 ? "\"\\t\\x03\"" : "handle 0x309";
    EXPECT_EQ(Traced(), Begin(shown) + end);
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(Code("GetLastSQLCode"), 0);
}

// The length word of the handle is 0, but eight bytes are there.
TEST_P(EachEntry, TakesAHandleAsCountedOrWhole)
{
    guarded.first_counts = 0;
    const std::string& handle = entry.on_connection ? connection : statement;
    CallWith(handle);
    guarded.first_counts.reset();
    const char* shown = entry.traced == kCounted ? "\"\"" : Known();
    const bool has_begun = entry.looks_up_counted || !entry.begins_only_unknown;
    EXPECT_TRUE(Traced().starts_with(has_begun ? Begin(shown) : entry.function));
    EXPECT_EQ(WasError(), entry.looks_up_counted ? -1 : 0);
    if (entry.looks_up_counted) {
        CallWith(handle + "more");
        EXPECT_EQ(WasError(), 0) << "what exceeds eight bytes is cut";
    }
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

// The END record of a failure is guarded if the code is not the result, and in some other entries.
TEST_P(EachEntry, ContainsOrPassesWhatTheLogThrowsOfAFailure)
{
    const bool is_guarded =
        entry.answers == Answers::kCode ? entry.is_failure_guarded : entry.failed_end != kZeros;
    const bool is_freed = entry.odbc == std::string_view("SQLDisconnect");  // which fails last
    Current().codes[is_freed ? "SQLFreeHandle" : entry.odbc] = SQL_ERROR;
    bool has_thrown = false;
    HostServices::Instance().on_record = [&](const TraceRecord& record) {
        if (record.name.ends_with(" END") && !std::exchange(has_thrown, true)) {
            throw std::runtime_error("log");
        }
    };
    const auto call = [&] { CallWith(entry.on_connection ? connection : statement); };
    if (is_guarded) {
        call();
        EXPECT_EQ(WasError(), -1000);
    } else {
        EXPECT_THROW(call(), std::runtime_error);
    }
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

TEST_P(EachEntry, HasItsOwnNoData)
{
    if (entry.answers != Answers::kCode) {
        return;
    }
    const std::map<std::string_view, Pair> own = {
        {"Execute", {100, 0}}, {"Fetch", {100, 100}}, {"Disconnect", {0, 0}}};
    const auto found = own.find(entry.name);
    Current().codes = {{entry.odbc, SQLRETURN{SQL_NO_DATA}}};
    const int code = CallWith(entry.on_connection ? connection : statement).code;
    EXPECT_EQ(Pair(code, WasError()), found != own.end() ? found->second : Pair(100, -1));
}

INSTANTIATE_TEST_SUITE_P(All, EachEntry, testing::ValuesIn(kHandleCases),
                         [](const auto& entry) { return entry.param.name; });
INSTANTIATE_TEST_SUITE_P(Catalogs, EachEntry, testing::ValuesIn(CatalogCases()),
                         [](const auto& entry) { return entry.param.name; });

}  // namespace
