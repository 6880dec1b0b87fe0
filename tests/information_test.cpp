// Driver information, data sources and transactions over the scripted driver manager.
#include <fmt/format.h>

#include "scripted_fixture.h"

using scripted::Current;

namespace {

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
    EXPECT_EQ(Call("DataSources", {2}).length, 0U);
    EXPECT_EQ(Traced(), "DataSources BEGIN  2\n");
    EXPECT_EQ(WasError(), -1);
    Current().codes = {};
    Current().Taken();
    Traced();
    Current().values = {{.length = 4, .bytes = "name"}, {.length = 0, .bytes = "stale"}};
    EXPECT_EQ(List("DataSources", {65'538}), "\"name\", \"\\x00\"");
    EXPECT_EQ(Current().Taken(),
              "SQLAllocHandle(1,null)\nSQLSetEnvAttr(env2,200,3,0)\n"
              "SQLDataSources(env2,2,256,256)\n");
    EXPECT_EQ(Traced(),
              "DataSources BEGIN  65538\nDataSources END  \"\\x06\\x01name\\x03\\x01\\x00\"\n");
    Current().values = {{.length = 500, .bytes = std::string(300, 'n')},
                        {.length = -1, .bytes = std::string(300, 'd')}};
    EXPECT_EQ(List("DataSources", {1}),
              fmt::format("\"{}\", \"{}\"", std::string(256, 'n'), std::string(256, 'd')));
    Call("DSNConnect", {"x"});
    EXPECT_EQ(Current().Taken(),
              "SQLDataSources(env2,1,256,256)\nSQLAllocHandle(2,env2)\n"
              "SQLDriverConnect(dbc3,'DSN=x',5,254,0)\n")
        << "the connection takes the environment that is there";
    Current().codes["SQLDataSources"] = SQL_NO_DATA;
    Traced();
    EXPECT_EQ(Call("DataSources", {1}).length, 0U);
    EXPECT_EQ(Traced(), "DataSources BEGIN  1\n");
    EXPECT_EQ(WasError(), -1);
    Current().throwing = {"SQLDataSources"};
    Traced();
    Call("DataSources", {1});
    EXPECT_EQ(Traced(), "DataSources BEGIN  1\nDataSources END  \"\"\n");
    EXPECT_EQ(WasError(), -1000);
}

TEST_F(ScriptedTest, TransactionsOfOneConnectionOrAll)
{
    EXPECT_EQ(Code("Transact", {"", 1}), 0);
    EXPECT_EQ(Current().Taken(), "SQLEndTran(1,null,1)\n") << "there is no environment yet";
    Open();
    EXPECT_EQ(Code("Transact", {connection, 1}), 0);
    EXPECT_EQ(Code("Transact", {"", 65'536}), 0);
    EXPECT_EQ(Current().Taken(), "SQLEndTran(2,dbc2,1)\nSQLEndTran(1,env1,0)\n");
}

TEST_F(ScriptedTest, CatalogNamesReachOdbcWhole)
{
    Open();
    const std::u16string longest(513, u'n');
    EXPECT_EQ(Code("TablesW", {statement, longest, u"", u"", u""}), 0);
    EXPECT_EQ(Current().Taken(), fmt::format("SQLTablesW(stmt3,'{}...',513,null,0,null,0,null,0)\n",
                                             std::string(40, 'n')));
    TraceOn();
    EXPECT_EQ(Codes("ForeignKeysW", {statement, u"", u"", u"", u"", u"", longest + u"n"}),
              Pair(-1, -1));
    EXPECT_NE(Traced().find("ForeignKeysW END  -1\n"), std::string::npos);
    EXPECT_EQ(Codes("Tables", {statement, std::string(65'533, 'n'), "", "", ""}), Pair(-1, -1))
        << "the length would say SQL_NTS";
    EXPECT_EQ(Code("StatisticsW", {statement, std::u16string(65'533, u'n'), u"", u"", 0}), -1);
    EXPECT_EQ(Current().Taken(), "");
    Code("Tables", {statement, std::string(40'000, 'n'), "", "", ""});
    EXPECT_EQ(Current().Taken(), "SQLTables(stmt3,?,-25536,null,0,null,0,null,0)\n");
}

}  // namespace
