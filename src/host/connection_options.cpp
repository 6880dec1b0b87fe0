// Entries: attributes and transactions of an open connection.
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

extern "C" int SetConnectOption(const zarray* connection, int attribute, int value, int* result)
{
    const Entry entry{.name = "SetConnectOption",
                      .handle = connection,
                      .result = result,
                      .handle_bytes = HandleBytes::kCounted,
                      .failure_end_guarded = true};
    return OnConnection(
        entry, Traced(connection, attribute, value),
        [&](CConnection& changed) {
            return SQLSetConnectAttr(changed.Handle(), attribute, AsPointer(value), 0);
        },
        UsualEnd(entry));
}

extern "C" int SetStrConnectOption(const zarray* connection, int attribute, const char* value,
                                   int* result)
{
    const Entry entry{.name = "SetStrConnectOption",
                      .handle = connection,
                      .result = result,
                      .failure_end_guarded = true};
    return OnConnection(
        entry, Traced(connection, attribute, value),
        [&](CConnection& changed) {
            // Only the low 16 bits of the attribute; the entry above passes all of it.
            return SQLSetConnectAttr(changed.Handle(), static_cast<SQLUSMALLINT>(attribute),
                                     const_cast<char*>(value), SQL_NTS);
        },
        UsualEnd(entry));
}

extern "C" int Transact(const zarray* connection, int completion, int* result)
{
    const Entry entry{
        .name = "Transact", .handle = connection, .result = result, .failure_end_guarded = true};
    const auto end = [completion](SQLSMALLINT type, SQLHANDLE handle) {
        return SQLEndTran(type, handle, static_cast<SQLSMALLINT>(completion));
    };
    if (connection->length == 0) {  // the transactions of every connection at once
        return RunEntry(
            entry, Traced(connection, completion),
            [&] { return end(SQL_HANDLE_ENV, env.Handle()); }, UsualEnd(entry));
    }
    return OnConnection(
        entry, Traced(connection, completion),
        [&](CConnection& ended) { return end(SQL_HANDLE_DBC, ended.Handle()); }, UsualEnd(entry));
}
