// Connections, information about them, and diagnostics over the scripted driver manager.
#include <fmt/format.h>

#include "scripted_fixture.h"

using scripted::Current;

namespace {

TEST_F(ScriptedTest, ConnectsByName)
{
    TraceOn();
    EXPECT_EQ(Done("Connect", {"dsn", "user", {}}),
              "Connect BEGIN  \"dsn\", \"user\"\n"
              "ConnectWithTimeout BEGIN  \"dsn\", \"user\", 0\n"
              "ConnectWithTimeout END\nConnect END\n"
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env1,200,3,0)\nSQLAllocHandle(2,env1)\n"
              "SQLConnect(dbc2,'dsn',3,'user',4,null,0)\nCA 00 00 00 00 00 00 00\nerror 0");
    for (const int timeout : {5, -5}) {
        Call("ConnectWithTimeout", {"dsn", "u", "secret", timeout});
        const std::string calls = Current().TakeCalls();
        EXPECT_NE(calls.find(fmt::format(",103,{},0)\nSQLConnect(", timeout)), std::string::npos)
            << calls;
    }
    EXPECT_EQ(Traced().find("secret"), std::string::npos);
    Code("SetLogOption", {0});
    EXPECT_EQ(Done("Connect", {{}, "u", "p"}), "error -1") << "a null name connects to nothing";
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
        {"DRIVERS=a", "'DRIVERS=a',9"},  // six characters of the keyword are compared
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

TEST_F(ScriptedTest, TruncatesTheHostsOwnString)
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
    // 511 characters and a terminator, though neither text nor state is terminated.
    Current().diagnostics = {{"0800199", 1, std::string(600, 'm')}};
    Call("Connect", {"d", "u", "p"});
    const Reply line = Call("GetSQLErrors", {"", ""});
    const std::string begins = "  SQLState: (08001) NativeError: [1] Message: ";
    EXPECT_EQ(DecodeList(line.List())[0].payload, begins + std::string(511 - begins.size(), 'm'));
}

TEST_F(ScriptedTest, AnEmptyHandleMeansThatThereIsNoEnvironment)
{
    TraceOn();
    for (const bool throws : {false, true}) {
        Current().codes["SQLAllocHandle"] = SQL_ERROR;
        Current().throwing =
            throws ? std::set<std::string>{"SQLAllocHandle"} : std::set<std::string>{};
        EXPECT_EQ(Call("DSNConnect", {"x"}).length, 0U);
        EXPECT_EQ(WasError(), 0);
    }
    EXPECT_EQ(Traced().find("WithTimeout BEGIN"), std::string::npos);
}

TEST_F(ScriptedTest, LegacyOptionRecreatesTheEnvironment)
{
    Open();
    EXPECT_EQ(Code("SetLegacyOption", {5}), 5);
    Call("DSNConnect", {"y"});
    EXPECT_EQ(Current().TakeCalls(),
              "SQLDisconnect(dbc2)\nSQLFreeHandle(2,dbc2)\nSQLFreeHandle(1,env1)\n"
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env4,200,2,0)\nSQLAllocHandle(2,env4)\n"
              "SQLDriverConnect(dbc5,'DSN=y',5,254,0)\n");
    EXPECT_EQ(Code("Execute", {statement}), -2) << "its connection is gone";
    for (const int legacy : {1, 0}) {  // another with ODBC 2, and one after switching off
        Code("SetLegacyOption", {legacy});
        Call("ConnectWithTimeout", {"z", "u", "p", 0});
        EXPECT_EQ(Current().TakeCalls(), fmt::format("SQLAllocHandle(2,env4)\n"
                                                     "SQLConnect(dbc{},'z',1,'u',1,'p',1)\n",
                                                     7 - legacy));
    }
}

TEST_F(ScriptedTest, LegacyOptionBeforeTheFirstConnectionCreatesTwoEnvironments)
{
    Code("SetLegacyOption", {1});
    Call("DSNConnect", {"y"});
    EXPECT_EQ(Current().TakeCalls(),
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env1,200,2,0)\nSQLAllocHandle(1,null)\n"
              "SQLSetEnvAttr(env2,200,2,0)\nSQLAllocHandle(2,env2)\n"
              "SQLDriverConnect(dbc3,'DSN=y',5,254,0)\n");
}

TEST_F(ScriptedTest, ConnectionsThatEndTakeTheirStatements)
{
    for (const std::string entry : {"Disconnect", "RemoveConnection"}) {
        gateway.reset();
        scripted::Restart();
        Load();
        Open();
        Current().codes["SQLDisconnect"] = SQL_ERROR;
        TraceOn();
        EXPECT_EQ(Code(entry, {connection}), 0) << "what matters is that the handle is freed";
        EXPECT_EQ(Traced(), fmt::format("{} BEGIN  {}\nDisconnect END  0\n", entry, kDbc));
        const bool is_removal = entry == "RemoveConnection";
        EXPECT_EQ(Current().TakeCalls(),
                  is_removal ? "" : "SQLDisconnect(dbc2)\nSQLFreeHandle(2,dbc2)\n");
        EXPECT_EQ(Code("DropStatement", {statement}), -2);
        EXPECT_EQ(Code(entry, {connection}), is_removal ? 0 : -2);
    }
}

TEST_F(ScriptedTest, StatementsThatCannotBeAllocatedOrFreed)
{
    Open();
    Current().codes = {{"SQLAllocHandle", SQLRETURN{SQL_SUCCESS_WITH_INFO}},
                       {"SQLFreeHandle", SQLRETURN{SQL_ERROR}}};
    EXPECT_EQ(Call("AllocStatement", {connection}).Bytes(), std::string(8, '\0'));
    EXPECT_EQ(Code("DropStatement", {statement}), -1);
    Current().codes = {};
    EXPECT_EQ(Code("DropStatement", {statement}), 0) << "it was kept";
    EXPECT_EQ(Code("DropStatement", {statement}), -2);
}

TEST_F(ScriptedTest, CollectsEveryRecordOfTheMostSpecificHandle)
{
    EXPECT_EQ(List("GetSQLErrors", {"", ""}), "\"\"") << "there is no handle at all yet";
    EXPECT_EQ(Current().TakeCalls(), "");
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
    Current().TakeCalls();
    Call("GetSQLErrors", {unknown, ""});
    EXPECT_EQ(Current().calls[0], "SQLGetDiagRec(2,stmt77,1,511)") << "not looked up";
    EXPECT_EQ(Done("GetSQLErrors", {connection, unknown}),
              fmt::format("GetSQLErrors BEGIN  {}, handle 0x309\n"
                          "GetSQLErrors END  \"Incorrect HSTMT\"\nerror -1",
                          kDbc));
}

TEST_F(ScriptedTest, EndsAnEndlessDriver)
{
    Open();
    Current().diagnostics = {{"42000", 1, "a"}};
    Current().endless_diagnostics = true;
    const Reply reply = Call("GetSQLErrors", {connection, statement});
    EXPECT_EQ(DecodeList(reply.List()).size(), 65'535U);
}

TEST_F(ScriptedTest, InformationIsBytes)
{
    Open();
    struct Case {
        SQLRETURN code;
        scripted::Value value;
        std::string list;
    };
    const Case cases[] = {
        {0, {.length = 6, .bytes = "SQLite"}, "\"SQLite\""},
        {1, {.length = 2, .bytes = std::string("\x03\0", 2)}, "\"\\x03\\x00\""},
        {0, {.length = 0, .bytes = "stale"}, "\"\\x00\""},
        {0, {.length = -3, .bytes = "stale"}, "\"\\x00\""},
        {0,
         {.length = 3000, .bytes = std::string(3000, 'v')},
         "\"" + std::string(2047, 'v') + "\""},
        {SQL_ERROR, {.length = 4, .bytes = "lost"}, "\"<ERROR>\""},
        {SQL_NO_DATA, {}, "\"<ERROR>\""},
    };
    for (const Case& c : cases) {
        Current().codes["SQLGetInfo"] = c.code;
        Current().values = {c.value};
        EXPECT_EQ(List("GetInfo", {connection, 17}), c.list);
        EXPECT_EQ(Code("GetLastSQLCode"), c.code);
        EXPECT_EQ(WasError(), c.code > 1 || c.code < 0 ? -1 : 0);
    }
}

TEST_F(ScriptedTest, DataSourcesBeforeAnyConnection)
{
    TraceOn();
    Current().codes["SQLAllocHandle"] = SQL_ERROR;
    EXPECT_EQ(Done("DataSources", {2}),
              "DataSources BEGIN  2\n"
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(null,200,3,0)\nerror -1");
    Current().codes = {};
    Current().values = {{.length = 4, .bytes = "name"}, {.length = 0, .bytes = "stale"}};
    EXPECT_EQ(Done("DataSources", {65'538}),
              "DataSources BEGIN  65538\nDataSources END  \"\\x06\\x01name\\x03\\x01\\x00\"\n"
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env2,200,3,0)\n"
              "SQLDataSources(env2,2,256,256)\n06 01 6E 61 6D 65 03 01 00\nerror 0");
    Current().values = {{.length = 500, .bytes = std::string(300, 'n')},
                        {.length = -1, .bytes = std::string(300, 'd')}};
    EXPECT_EQ(List("DataSources", {1}),
              fmt::format("\"{}\", \"{}\"", std::string(256, 'n'), std::string(256, 'd')));
    Current().codes["SQLDataSources"] = SQL_NO_DATA;
    EXPECT_EQ(Done("DataSources", {1}),
              "DataSources BEGIN  1\nSQLDataSources(env2,1,256,256)\nerror -1");
    Current().throwing = {"SQLDataSources"};
    EXPECT_EQ(Done("DataSources", {1}),
              "DataSources BEGIN  1\nDataSources END  \"\"\n"
              "SQLDataSources(env2,1,256,256)\nerror -1000");
    Current().TakeCalls();
    Call("DSNConnect", {"x"});
    EXPECT_TRUE(Current().TakeCalls().starts_with("SQLAllocHandle(2,env2)\n"));
}

TEST_F(ScriptedTest, TransactionsOfOneConnectionOrAll)
{
    EXPECT_EQ(Code("Transact", {"", 1}), 0);
    EXPECT_EQ(Current().TakeCalls(), "SQLEndTran(1,null,1)\n") << "there is no environment yet";
    Open();
    EXPECT_EQ(Code("Transact", {connection, 1}), 0);
    EXPECT_EQ(Code("Transact", {"", 65'536}), 0);
    EXPECT_EQ(Current().TakeCalls(), "SQLEndTran(2,dbc2,1)\nSQLEndTran(1,env1,0)\n");
}

TEST_F(ScriptedTest, CatalogNamesReachOdbcWhole)
{
    Open();
    const std::u16string longest(513, u'n');
    EXPECT_EQ(Code("TablesW", {statement, longest, u"", u"", u""}), 0);
    EXPECT_EQ(
        Current().TakeCalls(),
        fmt::format("SQLTablesW(stmt3,'{}...',513,null,0,null,0,null,0)\n", std::string(40, 'n')));
    TraceOn();
    EXPECT_EQ(Codes("ForeignKeysW", {statement, u"", u"", u"", u"", u"", longest + u"n"}),
              Pair(-1, -1));
    EXPECT_NE(Traced().find("ForeignKeysW END  -1\n"), std::string::npos);
    EXPECT_EQ(Codes("Tables", {statement, std::string(65'533, 'n'), "", "", ""}), Pair(-1, -1))
        << "the length would say SQL_NTS";
    EXPECT_EQ(Code("StatisticsW", {statement, std::u16string(65'533, u'n'), u"", u"", 0}), -1);
    EXPECT_EQ(Current().TakeCalls(), "");
    Code("Tables", {statement, std::string(40'000, 'n'), "", "", ""});
    EXPECT_EQ(Current().TakeCalls(), "SQLTables(stmt3,?,-25536,null,0,null,0,null,0)\n");
}

}  // namespace
