// Every entry with a handle, by one table: what reaches ODBC, what comes back, what is traced.
#include <fmt/format.h>

#include <vector>

#include "scripted_fixture.h"

using scripted::Current;
using scripted::WideBytes;

namespace {

/// How an entry answers: by a result code, by a count and a code in the record, by an output.
enum class Answers { kCode, kCount, kOutput };

struct HandleCase {
    const char* name = "";
    std::vector<Argument> rest = {};  // inputs behind the handle
    const char* odbc = "";            // the call it makes
    Answers answers = Answers::kCode;
    const char* begin = "";                // BEGIN record behind the handle
    const char* function = name;           // its name in the trace
    const char* unknown_label = function;  // its name there for an unknown handle; none: no record
    const char* end = answers == Answers::kCode ? "  0" : "";  // END record of a success
    const char* thrown_end = answers == Answers::kOutput ? "" : "  -999999";
    bool on_connection = false;

    friend void PrintTo(const HandleCase& entry, std::ostream* out) { *out << entry.name; }
};

constexpr auto kCount = Answers::kCount;
constexpr auto kOutput = Answers::kOutput;
constexpr char kVa[] = "  \"\\x04\\x01va\"";
constexpr char kZeros[] = "  \"\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\"";

// clang-format off
const std::vector<HandleCase> kHandleCases = {
    {"Prepare", {"sel"}, "SQLPrepare", {}, ", \"sel\"", "PrepareHandle"},
    {"PrepareW", {u"ab"}, "SQLPrepareW", {}, ", \"a\\x00\"", "PrepareHandleW"},
    {"Execute", {}, "SQLExecute"},
    {"MoreResults", {}, "SQLMoreResults", {}, "", "MoreResults", "Execute"},
    {"CloseCursor", {}, "SQLFreeStmt"},
    {"SetStmtOption", {6, -7}, "SQLSetStmtAttr", {}, ", 6, -7"},
    {"Fetch", {}, "SQLFetch"},
    {"DropStatement", {}, "SQLFreeHandle"},
    {.name = "Disconnect", .odbc = "SQLDisconnect", .on_connection = true},
    {"RowCount", {}, "SQLRowCount", kCount},
    {"NumResultCols", {}, "SQLNumResultCols", kCount, "", "NumResultCols", "RowCount"},
    {"DescribeColumns", {}, "SQLNumResultCols", kOutput, "", "DescribeCols"},
    {"NumColAttribute", {1, 6}, "SQLColAttribute", kOutput, ", 1, 6", "NumColAttribute",
     "NumColAttribute", "  7", "  0"},
    {"StrColAttribute", {1, 6}, "SQLColAttribute", kOutput, ", 1, 6", "StrColAttribute",
     "StrColAttribute", kVa},
    {"StrColAttributeW", {1, 6}, "SQLColAttributeW", kOutput, ", 1, 6", "StrColAttribute",
     "StrColAttribute", kVa},
    {"GetOneRow", {""}, "SQLGetData", kOutput, ", \"\""},
    {"FetchRows", {1}, "SQLFetch", kOutput, ", 1", "ExtendedFetch"},
    {"AllocStatement", {}, "SQLAllocHandle", kOutput, "", "AllocSt", nullptr, "  handle 0x130",
     kZeros, true},
};
// clang-format on

class EachEntry : public ScriptedTest, public testing::WithParamInterface<HandleCase> {
protected:
    EachEntry()
    {
        Open();
        const std::string_view odbc = entry.odbc;
        const bool is_wide = odbc == "SQLColAttributeW" || odbc == "SQLGetData";
        Current().values = {{.length = 2, .bytes = is_wide ? WideBytes(L"va") : "va", .number = 7}};
        TraceOn();
        Current().Taken();
    }
    Reply CallWith(const std::string& handle)
    {
        std::vector<Argument> inputs{handle};
        inputs.insert(inputs.end(), entry.rest.begin(), entry.rest.end());
        return Call(entry.name, inputs);
    }
    /// The records of a call with the known handle, whose END record holds this.
    std::string Records(const char* end) const
    {
        return fmt::format("{} BEGIN  {}{}\n{} END{}\n", entry.function,
                           entry.on_connection ? kDbc : kStmt, entry.begin, entry.function, end);
    }
    Reply CallKnown() { return CallWith(entry.on_connection ? connection : statement); }

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
    EXPECT_EQ(Traced(),
              fmt::format("{} BEGIN  handle 0x309{}\n{}", entry.function, entry.begin, end));
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(Code("GetLastSQLCode"), 0);
}

TEST_P(EachEntry, ContainsWhatADriverThrows)
{
    Current().throwing = {entry.odbc};
    const Reply reply = CallKnown();
    Current().throwing = {};
    EXPECT_EQ(reply.code, Reply::kUntouched);
    EXPECT_EQ(reply.length, 0U);
    EXPECT_EQ(Traced(), Records(entry.thrown_end));
    EXPECT_EQ(WasError(), -1000);
}

TEST_P(EachEntry, ReportsAFailure)
{
    Current().codes = {{entry.odbc, SQLRETURN{SQL_ERROR}}, {"SQLFreeHandle", SQLRETURN{SQL_ERROR}}};
    const Reply reply = CallKnown();
    Current().codes = {};
    if (entry.answers == Answers::kCode) {
        EXPECT_EQ(reply.code, -1);
    }
    // "AllocStatement" has no code to tell, and tells its output.
    EXPECT_EQ(Traced(), Records(entry.unknown_label != nullptr ? "  -1" : kZeros));
    EXPECT_EQ(WasError(), -1);
}

TEST_P(EachEntry, TracesASuccess)
{
    CallKnown();
    EXPECT_EQ(Traced(), Records(entry.end));
    EXPECT_EQ(WasError(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, EachEntry, testing::ValuesIn(kHandleCases),
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

TEST_F(ScriptedTest, HandleBytesCountForSomeEntries)
{
    Open();
    const std::string stale = statement.substr(0, 2);  // shorter: the rest is zero here
    EXPECT_EQ(Code("Execute", {stale}), 0);
    Current().columns = 0;
    Call("GetOneRow", {stale.substr(0, 1), ""});
    EXPECT_EQ(WasError(), -1) << "one byte does not make the handle";
    Call("GetOneRow", {statement + "more", ""});
    EXPECT_EQ(WasError(), 0) << "what exceeds 8 bytes is cut";
}

}  // namespace
