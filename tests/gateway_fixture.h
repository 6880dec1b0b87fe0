// The shared object as a host loads it, and what it traces.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <optional>
#include <string>
#include <vector>

#include "GuardedHost.h"
#include "client/Gateway.h"
#include "client/HostList.h"
#include "client/HostServices.h"
#include "text/list_text.h"
#include "text/terminal_text.h"

/// Loads the library for each test and unloads it after, so each begins with a process's first
/// call.
class GatewayTest : public testing::Test {
protected:
    GatewayTest()
    {
        HostServices::Instance().call_host = &guarded;
        std::setlocale(LC_CTYPE, "C.UTF-8");
        HostServices::Instance().on_record = [this](const TraceRecord& record) {
            trace += RecordText(record) + "\n";
        };
        Load();
    }
    ~GatewayTest() override
    {
        gateway.reset();
        HostServices::Instance().on_record = nullptr;
        EXPECT_EQ(HostServices::Instance().LongStringsOut(), 0);
    }

    void Load()
    {
        gateway.emplace(ORVELGW_LIBRARY);
        GuardedHost::Attach(ORVELGW_LIBRARY, GuardedHost::Table());
    }
    Reply Call(std::string_view name, const std::vector<Argument>& inputs = {}) const
    {
        return gateway->Call(name, inputs);
    }
    Reply CallOn(const std::string& handle, std::string_view name,
                 const std::vector<Argument>& rest) const
    {
        return gateway->CallOn(handle, name, rest);
    }
    int32_t Code(std::string_view name, const std::vector<Argument>& inputs = {}) const
    {
        return Call(name, inputs).code;
    }
    /// The list that an entry returns, as text.
    std::string List(std::string_view name, const std::vector<Argument>& inputs = {}) const
    {
        return ListText(Call(name, inputs).List());
    }
    /// The lists in the list that an entry returns, one per line.
    std::string Rows(std::string_view name, const std::vector<Argument>& inputs) const
    {
        std::string text;
        const Reply reply = Call(name, inputs);
        for (const ListElement& row : DecodeList(reply.List())) {
            text += ListText(row.payload) + "\n";
        }
        return text;
    }
    int32_t WasError() const { return Code("WasError"); }
    /// The code of a call, and that of "WasError" after it.
    using Pair = std::pair<int32_t, int32_t>;
    Pair Codes(std::string_view name, const std::vector<Argument>& inputs = {}) const
    {
        const int32_t code = Code(name, inputs);
        return {code, WasError()};
    }

    /// The records traced since the last time, one per line.
    std::string Traced() { return std::exchange(trace, {}); }

    static inline GuardedHost guarded;
    std::optional<Gateway> gateway;
    std::string trace;
};
