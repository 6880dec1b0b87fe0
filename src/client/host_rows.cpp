#include "client/host_rows.h"

#include "client/HostList.h"
#include "client/odbc_numbers.h"

namespace {

std::optional<std::string> HostValue(const ListElement& item)
{
    if (item.payload.empty()) {
        return std::nullopt;
    }
    std::string text = item.Text();
    // Zeros fill what the driver manager counted and nobody wrote; an empty value is one.
    text.erase(text.find_last_not_of('\0') + 1);
    return text;
}

}  // namespace

std::vector<HostRow> FetchHostRows(const Statement& statement, std::int32_t most)
{
    const std::string handle = statement.Handle().Bytes();
    const Gateway& gateway = statement.Owner().Library();
    const Reply reply = gateway.CallOn(handle, "FetchRows", {most});
    const std::int32_t code = gateway.Call("GetLastSQLCode").code;
    if (Failed(code) && code != ORVEL_NO_DATA) {
        statement.Owner().Fail("FetchRows failed", handle);
    }
    std::vector<HostRow> rows;
    for (const ListElement& list : DecodeList(reply.List())) {
        HostRow& row = rows.emplace_back();
        for (const ListElement& item : DecodeList(list.payload)) {
            row.push_back(HostValue(item));
        }
        if (row.size() != rows.front().size()) {
            throw ListError("a row of another number of cells");
        }
    }
    return rows;
}
