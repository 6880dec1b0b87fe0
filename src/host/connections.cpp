// Entries: connections.
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

namespace {

// Re-creates an environment of ODBC 3 for ODBC 2, which closes every open connection. If that
// fails, the next call tries again, whatever the option is by then.
void RecreateForLegacy()
{
    const bool is_lost = first_time_thru == 0 && env.Handle() == nullptr;
    if (is_lost || (env.legacy_option != 0 && env.OdbcVersion() != SQL_OV_ODBC2)) {
        env.Free();
        env.AllocEnv();
    }
}

// Creates the environment of the first connection. After a failure the next call tries again.
bool FirstEnvironment()
{
    if (first_time_thru == 0) {
        return true;
    }
    try {
        if (env.AllocEnv() != SQL_SUCCESS) {
            return false;
        }
    } catch (...) {
        return false;
    }
    first_time_thru = 0;
    return true;
}

// Shared by the two connecting entries. prepare() resets the error record and re-creates the
// environment, in the entry's own order; connect() returns a handle or null.
template <class Prepare, class Arguments, class Connecting>
int OpenConnection(const char* name, Prepare prepare, const Arguments& arguments,
                   zarray* connection, Connecting connect)
{
    bool has_environment = true;
    Guarded([&] {
        prepare();
        has_environment = FirstEnvironment();
        if (!has_environment) {
            connection->length = 0;  // the only sign of the failure: no record, no flag
            return;
        }
        Trace(Begin(name), arguments);
        SQLHDBC handle = connect();
        StoreHandle(connection, handle);
        if (handle == nullptr) {
            connection->length = 0;
            err.error = 1;
        }
    });
    if (has_environment) {
        Trace(End(name));  // without the handle
    }
    return 0;
}

}  // namespace

extern "C" int ConnectWithTimeout(const char* dsn, const char* uid, const char* pwd, int timeout,
                                  zarray* connection)
{
    const auto prepare = [] {
        err.Reset();
        RecreateForLegacy();
    };
    // The password is never traced.
    return OpenConnection(
        "ConnectWithTimeout", prepare, Traced(dsn, uid, timeout), connection,
        [&] { return env.Connect(dsn, uid, pwd, HandleOf(connection), err, timeout); });
}

extern "C" int DSNConnectWithTimeout(char* connection_string, int timeout, zarray* connection)
{
    const auto prepare = [] {
        RecreateForLegacy();
        err.Reset();  // last here, first in the entry above
    };
    return OpenConnection(
        "DSNConnectWithTimeout", prepare, Traced(connection_string, timeout), connection,
        [&] { return env.DSNConnect(connection_string, HandleOf(connection), err, timeout); });
}

// The entries without a timeout trace around those with one, which write their own records.

extern "C" int Connect(const char* dsn, const char* uid, const char* pwd, zarray* connection)
{
    Guarded([&] {
        Trace(Begin("Connect"), dsn, uid);
        ConnectWithTimeout(dsn, uid, pwd, 0, connection);
    });
    Trace(End("Connect"));
    return 0;
}

extern "C" int DSNConnect(char* connection_string, zarray* connection)
{
    Guarded([&] {
        Trace(Begin("DSNConnect"), connection_string);
        DSNConnectWithTimeout(connection_string, 0, connection);
    });
    Trace(End("DSNConnect"));
    return 0;
}

extern "C" int Disconnect(const zarray* connection, int* result)
{
    const Entry entry{.name = "Disconnect", .handle = connection, .result = result};
    return RunEntry(
        entry, Traced(connection), [&] { return env.Disconnect(HandleOf(connection)); },
        UsualEnd(entry));
}

extern "C" int RemoveConnection(const zarray* connection, int* result)
{
    *result = 0;
    err.Reset();
    const bool done = Guarded([&] {
        Trace(Begin("RemoveConnection"), connection);
        env.RemoveConnection(HandleOf(connection));
    });
    if (!done) {
        *result = ORVEL_ERROR;
    }
    // The END record has the name that it has for a closed connection.
    Trace(End(done ? "Disconnect" : "RemoveConnection"), *result);
    return 0;
}
