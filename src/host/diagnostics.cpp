// Entries: the outcome of the previous call.
#include "host/entries.h"
#include "host/frame.h"
#include "odbc/SQLError.h"

using namespace frame;

namespace {

// A handle argument of length 0 means no handle.
SQLHANDLE GivenHandle(const zarray* argument)
{
    return argument->length != 0 ? HandleOf(argument) : nullptr;
}

// Fills the output. Returns true if the empty END record still has to be written.
bool CollectErrors(SQLHDBC connection, SQLHSTMT statement, zarray* output)
{
    if (statement != nullptr && env.GetStatementPointer(statement) == nullptr) {
        Trace(End("GetSQLErrors"), "Incorrect HSTMT");
        err.error = 1;
        return false;
    }
    // The connection is not looked up: records of one that was removed can still be read.
    const int code = CSQLError().GetErrors(env.Handle(), connection, statement, output);
    if (!Succeeded(static_cast<SQLRETURN>(code))) {
        constexpr const char* kFailure = "Error in GetErrors";
        err.error = 1;
        ZString list;
        list.AppendNTString(kFailure);
        list.CopyTo(output);
        Trace(End("GetSQLErrors"), code, kFailure);
        return false;
    }
    return true;
}

}  // namespace

extern "C" int GetSQLErrors(const zarray* connection, const zarray* statement, zarray* output)
{
    bool end_is_due = true;
    Guarded([&] {
        Trace(Begin("GetSQLErrors"), connection, statement);
        if (err.connect_error !=
            0) {  // whatever the handles: those of the failed attempt are freed
            Trace(End("GetSQLErrors"));
            err.GetError(output);
            err.Reset();
            end_is_due = false;
            return;
        }
        err.Reset();
        end_is_due = CollectErrors(GivenHandle(connection), GivenHandle(statement), output);
    });
    if (end_is_due) {
        Trace(End("GetSQLErrors"));
    }
    return 0;
}

// Both only read the error record, so neither resets it.

extern "C" int WasError(int* value)
{
    Guarded(
        [&] {
            Trace(Begin("WasError"));
            *value = err.Condensed();
        },
        Waits::kNever);
    Trace(End("WasError"), *value);
    return 0;
}

extern "C" int GetLastSQLCode(int* value)
{
    Guarded(
        [&] {
            Trace(Begin("GetLastSQLCode"));
            *value = err.last_sql_code;
        },
        Waits::kNever);
    Trace(End("GetLastSQLCode"), *value);
    return 0;
}
