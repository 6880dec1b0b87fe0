// A connection to each of the sources in turn.
#pragma once

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "gateway_fixture.h"
#include "sources/Source.h"

class SourceTest : public GatewayTest, public testing::WithParamInterface<Source> {
public:
    static std::string NameOf(const testing::TestParamInfo<Source>& source)
    {
        return source.param.name;
    }

protected:
    /// The environment's locale differs from the one that the host has set. psqlodbca.so 13.02
    /// reads the names of SQLPrimaryKeys up to a zero.
    SourceTest()
    {
        ::setenv("LC_ALL", "C", 1);
        guarded.behind_names = 1;
    }

    /// Whether the source lacks a behaviour; says so, and why.
    static bool Lacks(const std::string& behaviour)
    {
        const auto lack = GetParam().lacks.find(behaviour);
        if (lack == GetParam().lacks.end()) {
            return false;
        }
        std::cout << "left out: " << GetParam().name << ", " << behaviour << ": " << lack->second
                  << "\n";
        return true;
    }

    /// The expected result of a named case: the usual one, or that of this source.
    std::string Expected(const std::string& name, const std::string& usual)
    {
        constexpr int kDbmsVersion = 18;
        if (version.empty() && !GetParam().differs_from.empty()) {
            const std::string asking = Connected();
            version = DecodeList(Call("GetInfo", {asking, kDbmsVersion}).List()).at(0).Text();
            EXPECT_EQ(Code("Disconnect", {asking}), 0);
        }
        return GetParam().Expected(name, usual, version);
    }

    std::string Connected() const
    {
        std::string handle(Call("DSNConnect", {GetParam().ConnectionString()}).Bytes());
        EXPECT_EQ(handle.size(), 8U) << List("GetSQLErrors", {"", ""});
        return handle;
    }

    std::string version;  // the source's, once it has been read
};

/// The same with a connection and a statement.
class ConnectedTest : public SourceTest {
protected:
    explicit ConnectedTest(bool legacy = false)
    {
        Code("SetLegacyOption", {legacy ? 1 : 0});
        connection = Connected();
        statement = Call("AllocStatement", {connection}).Bytes();
    }
    ~ConnectedTest() override
    {
        EXPECT_EQ(Code("DropStatement", {statement}), 0);
        EXPECT_EQ(Code("Disconnect", {connection}), 0);
    }

    std::string Errors() const { return List("GetSQLErrors", {connection, statement}); }

    void Run(const std::string& sql) const
    {
        ASSERT_EQ(Code("Prepare", {statement, sql}), 0) << sql << Errors();
        const int code = Code("Execute", {statement});
        ASSERT_TRUE(code == 0 || code == 100) << sql << code << Errors();
    }

    void Drop(const std::string& table) const
    {
        if (Code("Prepare", {statement, "DROP TABLE " + table}) == 0) {
            Code("Execute", {statement});
        }
    }
    /// Creates a table again.
    void Make(const std::string& table, const std::string& columns) const
    {
        Drop(table);
        Run("CREATE TABLE " + table + "(" + columns + ")");
    }

    /// The rows of the open cursor, one per line; closes it.
    std::string Rows() const
    {
        std::string text = GatewayTest::Rows("FetchRows", {statement, 1000});
        EXPECT_EQ(WasError(), 0) << Errors();
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
        return text;
    }
    std::string Rows(const std::string& sql) const
    {
        Run(sql);
        return Rows();
    }

    /// Whether the driver accepts data at execution only if it knows the length in advance.
    bool WantsLengths() const
    {
        constexpr int kNeedLongDataLength = 111;
        return List("GetInfo", {connection, kNeedLongDataLength}) == "\"Y\"";
    }

    std::string connection;
    std::string statement;
};
