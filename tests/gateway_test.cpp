// The library over a scripted driver manager: what reaches ODBC, what comes back, what is traced.
#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "encoding/ZString.h"
#include "gateway_fixture.h"
#include "scripted_odbc.h"

using scripted::Current;
using scripted::Value;
using scripted::WideBytes;

// A host's own functions of the names of entries: the library must not end up in them.
#pragma GCC visibility push(default)
extern "C" int ConnectWithTimeout(const char*, const char*, const char*, int, zarray*)
{
    ADD_FAILURE() << "the host's ConnectWithTimeout was called";
    return 0;
}
extern "C" int Test(const char*)
{
    return -5;
}
#pragma GCC visibility pop

namespace {

class ScriptedTest : public GatewayTest {
protected:
    ScriptedTest() { scripted::Restart(); }

    /// Connects and allocates a statement: connection dbc2, statement stmt3 of environment env1.
    void Open()
    {
        connection = Call("DSNConnect", {"x"}).Bytes();
        statement = Call("AllocStatement", {connection}).Bytes();
        Current().Taken();
        Traced();
    }
    void TraceOn()
    {
        Call("SetLogOption", {1});
        Traced();
    }

    std::string connection;
    std::string statement;
    const std::string unknown = std::string("\x09\x03\0\0\0\0\0\0", 8);
};

constexpr char kDbc[] = "handle 0xca";
constexpr char kStmt[] = "handle 0x12f";

// ---- the table

TEST_F(ScriptedTest, TableIsTheLibrarysOwn)
{
    const std::string library = std::filesystem::canonical(ORVELGW_LIBRARY);
    int rows = 0;
    for (const ORVEL_ZFE* row = gateway->Table(); row->name != nullptr; ++row, ++rows) {
        Dl_info info{};
        ASSERT_NE(dladdr(reinterpret_cast<void*>(row->function), &info), 0) << row->name;
        EXPECT_EQ(std::filesystem::canonical(info.dli_fname), library) << row->name;
    }
    EXPECT_EQ(rows, ORVEL_TABLE_ROWS);
    EXPECT_EQ(gateway->Find("GetDataEx")->function, gateway->Find("GetDataExW")->function);
    EXPECT_EQ(Code("Connect", {"d", "u", "p"}), Reply::kUntouched);
    EXPECT_EQ(Current().calls.size(), 4U) << "the inner entry is the library's";
}

TEST_F(ScriptedTest, FreshAfterUnloading)
{
    Open();
    EXPECT_EQ(Code("SetLegacyOption", {5}), 5);
    EXPECT_EQ(Code("GetUV"), 1);
    EXPECT_EQ(Code("GetGTWVersion"), 10);
    gateway.reset();
    EXPECT_EQ(Current().Taken(),
              "SQLDisconnect(dbc2)\nSQLFreeHandle(2,dbc2)\nSQLFreeHandle(1,env1)\n");
    EXPECT_EQ(dlopen(ORVELGW_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still loaded";
    gateway.emplace(ORVELGW_LIBRARY);
    EXPECT_EQ(Code("DropStatement", {statement}), -2);
    Call("DSNConnect", {"x"});
    EXPECT_EQ(Current().calls[1], "SQLSetEnvAttr(env4,200,3,0)") << "no option survives";
}

// ---- every entry with a handle: unknown, failing, throwing, succeeding

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
};

constexpr auto kCount = Answers::kCount;
constexpr auto kOutput = Answers::kOutput;
constexpr char kVa[] = "  \"\\x04\\x01va\"";
constexpr char kZeros[] = "  \"\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\"";

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
    {.name = "NumColAttribute",
     .rest = {1, 6},
     .odbc = "SQLColAttribute",
     .answers = kOutput,
     .begin = ", 1, 6",
     .end = "  7",
     .thrown_end = "  0"},
    {.name = "StrColAttribute",
     .rest = {1, 6},
     .odbc = "SQLColAttribute",
     .answers = kOutput,
     .begin = ", 1, 6",
     .end = kVa},
    {.name = "StrColAttributeW",
     .rest = {1, 6},
     .odbc = "SQLColAttributeW",
     .answers = kOutput,
     .begin = ", 1, 6",
     .function = "StrColAttribute",
     .end = kVa},
    {"GetOneRow", {""}, "SQLGetData", kOutput, ", \"\""},
    {"FetchRows", {1}, "SQLFetch", kOutput, ", 1", "ExtendedFetch"},
    {.name = "AllocStatement",
     .odbc = "SQLAllocHandle",
     .answers = kOutput,
     .function = "AllocSt",
     .unknown_label = nullptr,
     .end = "  handle 0x130",
     .thrown_end = kZeros,
     .on_connection = true},
};

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

// ---- connections

TEST_F(ScriptedTest, ConnectsByName)
{
    TraceOn();
    const Reply reply = Call("Connect", {"dsn", "user", {}});
    EXPECT_EQ(reply.Bytes(), std::string("\xCA\0\0\0\0\0\0\0", 8));
    EXPECT_EQ(Current().Taken(),
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env1,200,3,0)\nSQLAllocHandle(2,env1)\n"
              "SQLConnect(dbc2,'dsn',3,'user',4,null,0)\n");
    EXPECT_EQ(Traced(),
              "Connect BEGIN  \"dsn\", \"user\"\n"
              "ConnectWithTimeout BEGIN  \"dsn\", \"user\", 0\n"
              "ConnectWithTimeout END\nConnect END\n");
    Call("ConnectWithTimeout", {"dsn", "u", "secret", -5});
    EXPECT_EQ(Current().Taken(),
              "SQLAllocHandle(2,env1)\nSQLSetConnectAttr(dbc3,103,-5,0)\n"
              "SQLConnect(dbc3,'dsn',3,'u',1,'secret',6)\n");
    EXPECT_EQ(Traced().find("secret"), std::string::npos);
    EXPECT_EQ(Call("Connect", {{}, "u", "p"}).length, 0U);
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(Current().Taken(), "") << "a null name connects to nothing";
}

TEST_F(ScriptedTest, ConnectsByString)
{
    const std::string filler(300, 'f');
    struct Case {
        std::string in;
        std::string out;  // as ODBC gets it
    };
    const Case cases[] = {
        {"mydsn", "'DSN=mydsn',9"},
        {"dsn=x;uid=y", "'dsn=x;uid=y',11"},
        {"Driver={d};pwd=z", "'Driver={d};pwd=z',16"},
        {"DSN x", "'DSN x',5"},
        {"DSNX=a", "'DSN=DSNX=a',10"},
        {"DRIVERS=a", "'DRIVERS=a',9"},  // six characters of the keyword are looked at
        {"", "'DSN=',4"},
        {"DRIVER=" + filler, "'DRIVER=" + filler.substr(0, 33) + "...',254"},
        {filler, "'DSN=" + filler.substr(0, 36) + "...',304"},
    };
    for (const Case& c : cases) {
        Call("DSNConnect", {c.in});
        const std::string& call = Current().calls.back();
        EXPECT_EQ(call.substr(call.find(',') + 1), c.out + ",254,0)");
    }
    EXPECT_EQ(Call("DSNConnect", {Argument{}}).length, 0U);
    EXPECT_EQ(WasError(), -1);
}

TEST_F(ScriptedTest, CutsTheHostsOwnString)
{
    auto* connect =
        reinterpret_cast<int (*)(char*, zarray*)>(gateway->Find("DSNConnect")->function);
    std::string output(16, '\0');
    auto* handle = reinterpret_cast<zarray*>(output.data());
    std::string kept = "DSN=" + std::string(250, 'x');
    connect(kept.data(), handle);
    EXPECT_EQ(kept, "DSN=" + std::string(250, 'x'));
    std::string cut = kept + "yz";
    connect(cut.data(), handle);
    EXPECT_EQ(cut, kept + '\0' + "z");
}

TEST_F(ScriptedTest, KeepsTheDiagnosticOfAFailedConnection)
{
    Current().codes["SQLConnect"] = SQL_ERROR;
    Current().diagnostics = {{"08001", -7, "no \xC3\xA9 server"}, {"01000", 0, "second"}};
    const Reply reply = Call("Connect", {"d", "u", "p"});
    EXPECT_EQ(reply.length, 0U);
    EXPECT_EQ(std::string(reply.Area().substr(0, 8)), std::string(8, '\0'));
    EXPECT_EQ(Current().calls.back(), "SQLFreeHandle(2,dbc2)");
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(List("GetSQLErrors", {"", unknown}),
              "\"  SQLState: (08001) NativeError: [-7] Message: no \xC3\xA9 server\\r\\n\"");
    EXPECT_EQ(WasError(), 0);
    Current().diagnostics = {};
    EXPECT_EQ(List("GetSQLErrors", {"", ""}), "\"\"") << "now the environment's records";
    EXPECT_EQ(Current().calls.back(), "SQLGetDiagRec(1,env1,1,511)");
    // 511 characters and a terminator, though neither text nor state ends.
    Current().diagnostics = {{"0800199", 1, std::string(600, 'm')}};
    Call("Connect", {"d", "u", "p"});
    const Reply line = Call("GetSQLErrors", {"", ""});
    const std::string begins = "  SQLState: (08001) NativeError: [1] Message: ";
    EXPECT_EQ(DecodeList(line.List())[0].payload, begins + std::string(511 - begins.size(), 'm'));
}

TEST_F(ScriptedTest, TriesTheEnvironmentAgain)
{
    TraceOn();
    for (const char* entry : {"DSNConnect", "DSNConnectWithTimeout"}) {
        std::vector<Argument> inputs{"x"};
        if (std::string_view(entry) != "DSNConnect") {
            inputs.emplace_back(3);
        }
        Current().codes["SQLAllocHandle"] = SQL_ERROR;
        EXPECT_EQ(Call(entry, inputs).length, 0U);
        EXPECT_EQ(WasError(), 0) << "an empty handle is the whole answer";
        Current().codes = {};
        Current().throwing = {"SQLAllocHandle"};
        EXPECT_EQ(Call(entry, inputs).length, 0U);
        EXPECT_EQ(WasError(), 0);
        Current().throwing = {};
    }
    EXPECT_EQ(Traced().find("WithTimeout BEGIN"), std::string::npos);
    EXPECT_EQ(Call("DSNConnect", {"x"}).length, 8U);
}

TEST_F(ScriptedTest, LegacyOptionRecreatesTheEnvironment)
{
    Open();
    EXPECT_EQ(Code("SetLegacyOption", {5}), 5);
    Call("DSNConnect", {"y"});
    EXPECT_EQ(Current().Taken(),
              "SQLDisconnect(dbc2)\nSQLFreeHandle(2,dbc2)\nSQLFreeHandle(1,env1)\n"
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env4,200,2,0)\nSQLAllocHandle(2,env4)\n"
              "SQLDriverConnect(dbc5,'DSN=y',5,254,0)\n");
    EXPECT_EQ(Code("Execute", {statement}), -2) << "its connection is gone";
    Code("SetLegacyOption", {0});
    Call("ConnectWithTimeout", {"z", "u", "p", 0});
    EXPECT_EQ(Current().Taken(), "SQLAllocHandle(2,env4)\nSQLConnect(dbc6,'z',1,'u',1,'p',1)\n");
}

TEST_F(ScriptedTest, LegacyOptionBeforeTheFirstConnectionMakesTwoEnvironments)
{
    Code("SetLegacyOption", {1});
    Call("DSNConnect", {"y"});
    EXPECT_EQ(Current().Taken(),
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env1,200,2,0)\nSQLAllocHandle(1,null)\n"
              "SQLSetEnvAttr(env2,200,2,0)\nSQLAllocHandle(2,env2)\n"
              "SQLDriverConnect(dbc3,'DSN=y',5,254,0)\n");
}

TEST_F(ScriptedTest, DisconnectingForgetsStatements)
{
    Open();
    Current().codes["SQLDisconnect"] = SQL_ERROR;
    EXPECT_EQ(Code("Disconnect", {connection}), 0) << "what matters is that the handle is freed";
    EXPECT_EQ(Current().Taken(), "SQLDisconnect(dbc2)\nSQLFreeHandle(2,dbc2)\n");
    EXPECT_EQ(Code("DropStatement", {statement}), -2);
    EXPECT_EQ(Code("Disconnect", {connection}), -2);
}

TEST_F(ScriptedTest, RemovingAConnectionMakesNoCall)
{
    Open();
    TraceOn();
    EXPECT_EQ(Code("RemoveConnection", {unknown}), 0);
    EXPECT_EQ(Code("RemoveConnection", {connection}), 0);
    EXPECT_EQ(Traced(), fmt::format("RemoveConnection BEGIN  handle 0x309\nDisconnect END  0\n"
                                    "RemoveConnection BEGIN  {}\nDisconnect END  0\n",
                                    kDbc));
    EXPECT_EQ(Code("DropStatement", {statement}), -2);
    EXPECT_EQ(Current().Taken(), "");
}

TEST_F(ScriptedTest, StatementsThatCannotBeMadeOrFreed)
{
    Open();
    Current().codes["SQLAllocHandle"] = SQL_SUCCESS_WITH_INFO;
    const Reply none = Call("AllocStatement", {connection});
    EXPECT_EQ(none.Bytes(), std::string(8, '\0'));
    EXPECT_EQ(WasError(), -1);
    Current().codes = {{"SQLFreeHandle", SQLRETURN{SQL_ERROR}}};
    EXPECT_EQ(Code("DropStatement", {statement}), -1);
    Current().codes = {};
    EXPECT_EQ(Code("DropStatement", {statement}), 0) << "it was kept";
    EXPECT_EQ(Code("DropStatement", {statement}), -2);
}

// ---- diagnostics

TEST_F(ScriptedTest, CollectsEveryRecordOfTheMostSpecificHandle)
{
    EXPECT_EQ(List("GetSQLErrors", {"", ""}), "\"\"") << "there is no handle at all yet";
    EXPECT_EQ(Current().Taken(), "");
    Open();
    Current().diagnostics = {
        {"42000", 1, "a"}, {"42S02", 2, std::string(600, 'b')}, {"01000", 3, ""}};
    TraceOn();
    const Reply reply = Call("GetSQLErrors", {connection, statement});
    const auto lines = DecodeList(reply.List());
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].payload, "  SQLState: (42000) NativeError: [1] Message: a\r\n");
    EXPECT_EQ(lines[1].payload,
              "  SQLState: (42S02) NativeError: [2] Message: " + std::string(511, 'b') + "\r\n");
    EXPECT_EQ(Current().calls[0], "SQLGetDiagRec(3,stmt3,1,511)");
    EXPECT_EQ(Traced(), fmt::format("GetSQLErrors BEGIN  {}, {}\nGetSQLErrors END\n", kDbc, kStmt));
    Current().Taken();
    Call("GetSQLErrors", {unknown, ""});
    EXPECT_EQ(Current().calls[0], "SQLGetDiagRec(2,stmt77,1,511)") << "not looked up";
    Traced();
    EXPECT_EQ(Call("GetSQLErrors", {connection, unknown}).length, 0U);
    EXPECT_EQ(Traced(), fmt::format("GetSQLErrors BEGIN  {}, handle 0x309\n"
                                    "GetSQLErrors END  \"Incorrect HSTMT\"\n",
                                    kDbc));
    EXPECT_EQ(WasError(), -1);
}

TEST_F(ScriptedTest, EndsAnEndlessDriver)
{
    Open();
    Current().diagnostics = {{"42000", 1, "a"}};
    Current().endless_diagnostics = true;
    const Reply reply = Call("GetSQLErrors", {connection, statement});
    EXPECT_EQ(DecodeList(reply.List()).size(), 65'535U);
}

// ---- the trace

TEST_F(ScriptedTest, TracesItsOwnSwitches)
{
    std::vector<TraceRecord> records;
    HostServices::Instance().on_record = [&](const TraceRecord& r) { records.push_back(r); };
    EXPECT_EQ(Code("SetLogOption", {0}), 0);
    Call("Test", {"hello"});
    Call("SetUnicodeOption", {3});
    ASSERT_EQ(records.size(), 2U) << "the switch is off";
    EXPECT_EQ(records[0].level + records[0].source + records[0].name + ListText(records[0].data),
              "2GatewaySetLogOption0");
    EXPECT_EQ(records[1].level + records[1].source + records[1].name + records[1].data,
              "1GatewayTesthello");
    records.clear();
    EXPECT_EQ(Code("SetLogOption", {5}), 5);
    Call("SetUnicodeOption", {3});
    Call("SetLegacyOption", {0});
    Call("GetUV");
    Call("GetLastSQLCode");
    std::string names;
    for (const TraceRecord& record : records) {
        names += record.name + " " + ListText(record.data) + "\n";
    }
    EXPECT_EQ(names,
              "SetLogOption 5\nSetUnicodeOption 3\nSetLegacyOption 0\nGetUV 1\n"
              "GetLastSQLCode BEGIN \nGetLastSQLCode END 0\n");
}

// The guard holds what a host's logging routine throws, but for the last END record.
TEST_F(ScriptedTest, ContainsWhatTheHostsLogThrows)
{
    Open();
    TraceOn();
    std::string poison;
    HostServices::Instance().on_record = [&](const TraceRecord& record) {
        trace += record.name + "\n";
        if (record.name == poison) {
            throw std::runtime_error("log");
        }
    };
    poison = "Execute BEGIN";
    EXPECT_EQ(Code("Execute", {statement}), Reply::kUntouched);
    EXPECT_EQ(Current().Taken(), "");
    EXPECT_EQ(WasError(), -1000);
    poison = "Execute END";
    EXPECT_THROW(Code("Execute", {statement}), std::runtime_error);
    poison = "PrepareHandle END";
    EXPECT_THROW(Code("Prepare", {statement, "s"}), std::runtime_error);
    EXPECT_EQ(HostServices::Instance().LongStringsOut(), 0) << "released all the same";
    poison = "RemoveConnection BEGIN";
    Traced();
    EXPECT_EQ(Code("RemoveConnection", {connection}), -1);
    EXPECT_EQ(WasError(), -1000);
    EXPECT_EQ(Traced(),
              "RemoveConnection BEGIN\nRemoveConnection END\nWasError BEGIN\nWasError END\n");
}

// ---- statements

TEST_F(ScriptedTest, PreparesTextOfAnyWidth)
{
    Open();
    EXPECT_EQ(Code("Prepare", {statement, ""}), 0);
    EXPECT_EQ(Current().Taken(), "SQLPrepare(stmt3,'',0)\n");
    EXPECT_EQ(Code("PrepareW", {statement, u""}), 0);
    EXPECT_EQ(Code("PrepareW", {statement, u"a\u20AC"}), 0);
    EXPECT_EQ(Code("PrepareW", {statement, std::u16string(32'767, u'x')}), 0);
    EXPECT_EQ(Current().Taken(),
              "SQLPrepareW(stmt3,0,0)\nSQLPrepareW(stmt3,2,8364)\n"
              "SQLPrepareW(stmt3,32767,120)\n");
    TraceOn();
    EXPECT_EQ(Code("PrepareW", {statement, std::u16string(32'768, u'x')}), -25);
    EXPECT_TRUE(Traced().ends_with("PrepareHandleW END  \"Statement too long\"\n"));
    EXPECT_EQ(WasError(), -1);
}

TEST_F(ScriptedTest, CountsAreWrittenWhateverTheCode)
{
    Open();
    Current().row_count = 0x1'0000'0005;
    Current().columns = -1;
    Current().codes = {{"SQLRowCount", SQLRETURN{-1}}, {"SQLNumResultCols", SQLRETURN{1}}};
    EXPECT_EQ(Code("RowCount", {statement}), 5);
    EXPECT_EQ(Code("GetLastSQLCode"), -1);
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(Code("NumResultCols", {statement}), -1);
    EXPECT_EQ(Code("GetLastSQLCode"), 1);
    EXPECT_EQ(WasError(), 0);
    Call("PreparseSQL", {u"x", 1, ""});
    EXPECT_EQ(Code("GetLastSQLCode"), 1) << "it resets nothing";
    Code("SetStmtOption", {statement, 65'536 + 7, -2});
    EXPECT_EQ(Current().calls.back(), "SQLSetStmtAttr(stmt3,7,-2,0)");
}

// ---- columns

TEST_F(ScriptedTest, DescribesColumnsUntilOneFails)
{
    Open();
    const char* header =
        "\"SqlType\", \"Precision\", \"Scale\", \"Nullable\", \"Datatype\", \"DisplaySize\", "
        "\"IsMoney?\"";
    Current().columns = 0;
    const auto describe = [&] {
        std::string text;
        const Reply reply = Call("DescribeColumns", {statement});
        for (const auto& row : DecodeList(reply.List())) {
            text += ListText(row.payload) + "\n";
        }
        return text;
    };
    EXPECT_EQ(describe(), std::string("0, ") + header + "\n");
    Current().columns = 2;
    Current().values = {{.length = 300, .bytes = std::string(300, 'n'), .number = 1L << 32},
                        {.bytes = std::string(40, 't')},
                        {.number = 9},
                        {.number = 1},
                        {.code = SQL_ERROR}};
    Current().Taken();
    EXPECT_EQ(describe(), fmt::format("2, {}\n\"{}\", 12, 0, 0, 0, \"{}\", 9, 1\n", header,
                                      std::string(128, 'n'), std::string(32, 't')));
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(
        Current().Taken(),
        "SQLNumResultCols(stmt3)\nSQLDescribeCol(stmt3,1,128)\nSQLColAttribute(stmt3,1,14,32)\n"
        "SQLColAttribute(stmt3,1,6,8)\nSQLColAttribute(stmt3,1,9,8)\n"
        "SQLDescribeCol(stmt3,2,128)\n");
    Code("SetUnicodeOption", {1});
    Current().columns = 1;
    Current().values = {{.length = 4, .bytes = WideBytes(L"\u00E9b")}, {.bytes = "t"}};
    EXPECT_EQ(describe(), fmt::format("1, {}\nu\"\u00E9b\", 12, 0, 0, 0, \"t\", 0, 0\n", header));
    Current().codes["SQLNumResultCols"] = SQL_ERROR;
    EXPECT_EQ(describe(), "");
}

TEST_F(ScriptedTest, TakesTextAttributesByTheirLength)
{
    Open();
    struct Case {
        const char* entry;
        SQLLEN length;
        std::string bytes;
        std::string list;
    };
    const std::wstring wide(1024, L'w');
    const Case cases[] = {
        {"StrColAttribute", 2, "abc", "\"ab\""},
        {"StrColAttribute", SQL_NTS, "abc", "\"abc\""},
        {"StrColAttribute", 0, "abc", "\"\\x00\""},
        {"StrColAttribute", -4, "abc", ""},
        {"StrColAttribute", 30'000, std::string(600, 'a'), "\"" + std::string(512, 'a') + "\""},
        {"StrColAttribute", SQL_NTS, std::string(600, 'a'), "\"" + std::string(512, 'a') + "\""},
        {"StrColAttributeW", 8, WideBytes(L"ab"), "u\"ab\\x00\\x00\""},
        {"StrColAttributeW", SQL_NTS, WideBytes(L"ab"), ""},
        {"StrColAttributeW", 0, "", "\"\\x00\""},
        {"StrColAttributeW", 32'767, WideBytes(wide), "u\"" + std::string(1024, 'w') + "\""},
    };
    Code("SetUnicodeOption", {1});
    for (const Case& c : cases) {
        Current().values = {{.length = c.length, .bytes = c.bytes}};
        EXPECT_EQ(List(c.entry, {statement, 65'537, 65'540}), c.list) << c.entry << c.length;
        EXPECT_NE(Current().calls.back().find("(stmt3,1,4,"), std::string::npos);
    }
}

// ---- rows

class RowTest : public ScriptedTest {
protected:
    RowTest()
    {
        Open();
        Code("SetUnicodeOption", {1});
        list_of_one.AppendLong(1);
    }

    /// The items of the one row that an entry brings when the driver has these values.
    std::string Items(std::string_view entry, const Argument& argument, std::vector<Value> values)
    {
        Current().values.assign(values.begin(), values.end());
        Current().rows = 1;
        Current().columns = static_cast<SQLSMALLINT>(values.size());
        const Reply reply = Call(entry, {statement, argument});
        return ListText(entry == "FetchRows" ? DecodeList(reply.List()).at(0).payload
                                             : reply.List());
    }

    ZString list_of_one;
};

std::string Narrow(std::size_t n)
{
    return "\"" + std::string(n, 'x') + "\"";
}

std::string Wide(std::size_t n)
{
    return "u" + Narrow(n);
}

struct ItemCase {
    SQLRETURN code;
    SQLLEN indicator;
    std::string narrow_row;    // the item of "GetOneRow" with the legacy option
    std::string narrow_fetch;  // of "FetchRows" with it
    std::string wide_all;      // of "GetOneRow", all columns, without it
    std::string wide_listed;   // of "GetOneRow", listed columns
    std::string wide_fetch;    // of "FetchRows"
};

TEST_F(RowTest, ItemsFollowCodeAndIndicator)
{
    const std::string null = "\"\"";
    const std::string empty = "\"\\x00\"";
    const std::string error = "\"<ERROR>\"";
    const ItemCase cases[] = {
        {0, SQL_NULL_DATA, null, null, null, null, null},
        {0, 0, empty, empty, empty, empty, empty},
        {SQL_NO_DATA, 8, empty, empty, empty, empty, empty},
        {SQL_ERROR, SQL_NULL_DATA, error, error, error, error, error},
        {0, 40, Narrow(40), Narrow(1000), Wide(10), Wide(10), Wide(10)},
        {1, 999, Narrow(999), Narrow(1000), Wide(249), Wide(249), Wide(249)},
        {1, 1001, Narrow(1000), Narrow(1000), Wide(250), Wide(250), Wide(250)},
        {1, 3999, Narrow(1000), Narrow(1000), Wide(999), Wide(250), Wide(999)},
        {1, 4001, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
        {1, 70'000, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
        {1, SQL_NO_TOTAL, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
        {0, INT64_MIN, Narrow(1000), Narrow(1000), Wide(1000), Wide(250), Wide(1000)},
    };
    const std::string wide = WideBytes(std::wstring(2000, L'x'));
    for (const ItemCase& c : cases) {
        SCOPED_TRACE(fmt::format("code {} indicator {}", c.code, c.indicator));
        const Value narrow_value{
            .code = c.code, .length = c.indicator, .bytes = std::string(2000, 'x')};
        const Value wide_value{.code = c.code, .length = c.indicator, .bytes = wide};
        Code("SetLegacyOption", {1});
        EXPECT_EQ(Items("GetOneRow", "", {narrow_value}), c.narrow_row);
        EXPECT_EQ(Items("FetchRows", 1, {narrow_value}), c.narrow_fetch);
        EXPECT_EQ(Code("GetLastSQLCode"), c.code == SQL_NO_DATA ? 0 : c.code);
        Code("SetLegacyOption", {0});
        EXPECT_EQ(Items("GetOneRow", "", {wide_value}), c.wide_all);
        EXPECT_EQ(Items("GetOneRow", list_of_one, {wide_value}), c.wide_listed);
        EXPECT_EQ(Items("FetchRows", 1, {wide_value}), c.wide_fetch);
    }
    Current().Taken();
    Items("GetOneRow", "", {{}});
    Items("GetOneRow", list_of_one, {{}});
    Items("FetchRows", 1, {{}});
    Code("SetLegacyOption", {1});
    Items("GetOneRow", "", {{}});
    Items("FetchRows", 1, {{}});
    std::string reads;
    for (const std::string& call : Current().calls) {
        reads += call.starts_with("SQLGetData") ? call + "\n" : "";
    }
    EXPECT_EQ(
        reads,
        "SQLGetData(stmt3,1,-8,4000)\nSQLGetData(stmt3,1,-8,2000)\nSQLGetData(stmt3,1,-8,4004)\n"
        "SQLGetData(stmt3,1,1,1000)\nSQLGetData(stmt3,1,1,1001)\n");
}

// What a driver manager does to wide text of a narrow driver.
TEST_F(RowTest, MendsWidenedValues)
{
    const auto bytes = [](const std::wstring& text) { return WideBytes(text); };
    EXPECT_EQ(Items("FetchRows", 1, {{.length = -4}}), "\"\"") << "a NULL, times four";
    EXPECT_EQ(
        Items("FetchRows", 1, {{.length = -4, .bytes = bytes(L"x")}}), "u\"x" +
                                                                           [] {
                                                                               std::string zeros;
                                                                               for (int i = 1;
                                                                                    i < 1000; ++i) {
                                                                                   zeros += "\\x00";
                                                                               }
                                                                               return zeros;
                                                                           }() +
                                                                           "\"")
        << "a value of unknown length";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 12, .bytes = bytes(L"\u00E9x")}}), "u\"\u00E9x\"")
        << "three bytes were two characters";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 8}}), "\"\\x00\"") << "characters nobody wrote";
    // Nothing of one value shows in the next.
    EXPECT_EQ(Items("FetchRows", 1,
                    {{.length = 16, .bytes = bytes(L"abcd")},
                     {.code = 1, .length = 16, .bytes = bytes(L"e")},
                     {.length = 4, .bytes = bytes(L"f")},
                     {.length = -1},
                     {.code = 1, .length = 8}}),
              "u\"abcd\", u\"e\\x00\\x00\\x00\", u\"f\", \"\", u\"\\x00\\x00\"");
}

TEST_F(RowTest, WithoutTheOptionTextEndsAtItsTerminator)
{
    Code("SetUnicodeOption", {0});
    const Value cut{.code = 1, .length = 70'000, .bytes = WideBytes(std::wstring(2000, L'x'))};
    EXPECT_EQ(Items("GetOneRow", list_of_one, {cut}), Narrow(500)) << "the whole buffer";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 12, .bytes = WideBytes(L"\u00E9x")}}),
              "\"\u00E9x\"");
    std::setlocale(LC_CTYPE, "C");
    Current().rows = 1;
    EXPECT_EQ(Call("FetchRows", {statement, 1}).length, 0U);
    EXPECT_EQ(WasError(), -1000) << "a character that the locale does not have";
}

TEST_F(RowTest, ReadsListedColumns)
{
    Current().columns = 3;
    Current().values = {{.length = 4, .bytes = WideBytes(L"c")},
                        {.length = 4, .bytes = WideBytes(L"a")}};
    ZString numbers;
    numbers.AppendLong(3);
    numbers.AppendLong(1);
    Current().Taken();
    EXPECT_EQ(List("GetOneRow", {statement, numbers}), "u\"c\", u\"a\"");
    EXPECT_EQ(Current().Taken(),
              "SQLNumResultCols(stmt3)\nSQLGetData(stmt3,3,-8,2000)\n"
              "SQLGetData(stmt3,1,-8,2000)\n");
    for (const int number : {0, -1, 4}) {
        ZString more = numbers;
        more.AppendLong(number);
        EXPECT_EQ(Call("GetOneRow", {statement, more}).length, 0U);
        EXPECT_EQ(Code("GetLastSQLCode"), -1);
        EXPECT_EQ(WasError(), -1);
    }
    Current().codes["SQLNumResultCols"] = SQL_SUCCESS_WITH_INFO;
    for (const auto& [entry, argument] :
         {std::pair<const char*, Argument>{"GetOneRow", ""}, {"FetchRows", 1}}) {
        EXPECT_EQ(Call(entry, {statement, argument}).length, 0U) << entry;
        EXPECT_EQ(Code("GetLastSQLCode"), 1) << entry;
    }
}

TEST_F(RowTest, FetchesRowsUntilTheyRunOut)
{
    Current().values = {{.length = 4, .bytes = WideBytes(L"v")}};
    struct Case {
        int has, wanted, delivered, code, fetches;
    };
    for (const auto& [has, wanted, delivered, code, fetches] :
         {Case{3, 5, 3, 0, 4}, Case{3, 3, 3, 0, 3}, Case{0, 5, 0, 0, 1}, Case{3, 0, 0, 0, 1}}) {
        Current().rows = has;
        Current().Taken();
        EXPECT_EQ(DecodeList(Call("FetchRows", {statement, wanted}).List()).size(),
                  static_cast<std::size_t>(delivered));
        EXPECT_EQ(Code("GetLastSQLCode"), code);
        EXPECT_EQ(std::ranges::count(Current().calls, "SQLFetch(stmt3)"), fetches);
    }
    Current().columns = 2;
    Current().values.push_back({.code = SQL_ERROR});
    EXPECT_EQ(Items("FetchRows", 1, {{.code = SQL_ERROR}, {.length = 4, .bytes = WideBytes(L"v")}}),
              "\"<ERROR>\", u\"v\"");
    EXPECT_EQ(WasError(), 0) << "a later column read well";
    EXPECT_EQ(Items("FetchRows", 1, {{.length = 4, .bytes = WideBytes(L"v")}, {.code = SQL_ERROR}}),
              "u\"v\", \"<ERROR>\"");
    EXPECT_EQ(Code("GetLastSQLCode"), -1);
    Current().columns = 0;
    EXPECT_EQ(Call("FetchRows", {statement, 1}).length, 0U);
    EXPECT_EQ(WasError(), 0);
}

TEST_F(RowTest, DeliversListsBeyondTheLengthWord)
{
    Code("SetLegacyOption", {1});
    Current().values = {{.length = 1000, .bytes = std::string(1000, 'x')}};
    constexpr int kRow = 1008;  // 1,000 bytes in an item in a row
    constexpr int kMost = 3'641'144 / kRow;
    Current().rows = 10 * kMost;
    const Reply most = Call("FetchRows", {statement, kMost});
    EXPECT_EQ(most.length, kMost * kRow % 65'536);
    EXPECT_EQ(DecodeList(most.List()).size(), static_cast<std::size_t>(kMost));
    EXPECT_EQ(WasError(), 0);
    EXPECT_EQ(List("FetchRows", {statement, kMost + 1}), "\"<ERROR:Too much data was requested>\"");
    EXPECT_EQ(Code("GetLastSQLCode"), -28);
    EXPECT_EQ(WasError(), -1);
}

}  // namespace
