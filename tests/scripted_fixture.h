// The library over the scripted driver manager.
#pragma once

#include <fmt/format.h>

#include <string>

#include "gateway_fixture.h"
#include "scripted_odbc.h"

class ScriptedTest : public GatewayTest {
protected:
    ScriptedTest()
    {
        scripted::Restart();
        guarded.counts = [] {
            const auto& script = scripted::Current();
            const auto records = script.endless_diagnostics ? 65'535 : script.diagnostics.size();
            return GuardedHost::Counts{script.columns, script.markers, static_cast<long>(records)};
        };
    }
    ~ScriptedTest() override
    {
        gateway.reset();
        EXPECT_EQ(scripted::Current().misuses, std::vector<std::string>());
    }

    /// Connects and allocates a statement: connection dbc2, statement stmt3 of environment env1.
    void Open()
    {
        connection = Call("DSNConnect", {"x"}).Bytes();
        statement = Call("AllocStatement", {connection}).Bytes();
        scripted::Current().TakeCalls();
        Traced();
    }
    void TraceOn()
    {
        Call("SetLogOption", {1});
        Traced();
    }

    /// Everything that a call does: its trace, its ODBC calls, its output in hexadecimal, the code
    /// of "WasError".
    std::string Done(std::string_view name, const std::vector<Argument>& inputs)
    {
        Traced();
        scripted::Current().TakeCalls();
        const Reply reply = Call(name, inputs);
        const std::string records = Traced();
        const std::string output = HexText(reply.Bytes());
        return fmt::format("{}{}{}{}error {}", records, scripted::Current().TakeCalls(), output,
                           output.empty() ? "" : "\n", WasError());
    }

    std::string connection;
    std::string statement;
    const std::string unknown = std::string("\x09\x03\0\0\0\0\0\0", 8);
};

inline constexpr char kDbc[] = "handle 0xca";
inline constexpr char kStmt[] = "handle 0x12f";
