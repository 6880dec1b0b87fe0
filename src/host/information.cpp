// Entries: facts about drivers and data sources.
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

extern "C" int GetInfo(const zarray* connection, int type, zarray* output)
{
    return OnConnection(
        {.name = "GetInfo", .handle = connection, .code = Code::kToRecord},
        Traced(connection, type), [&](CConnection& asked) { return asked.GetInfo(type, output); },
        NothingAtEnd);
}

extern "C" int GetTypeInfo(const zarray* statement, int data_type, int* result)
{
    // Only the ODBC call and the trace record of its failure are guarded.
    const Entry entry{.name = "GetTypeInfo", .result = result, .failure_end_guarded = true};
    err.Reset();
    Trace(Begin(entry.name), LeadingBytes{statement, sizeof(SQLHANDLE)}, data_type);
    const CStatement* asked = env.GetStatementPointer(HandleOf(statement));
    if (asked == nullptr) {
        Report(entry, Outcome::UnknownHandle());
        return 0;
    }
    bool ended = false;
    Guarded([&] {
        ended =
            !Report(entry, SQLGetTypeInfo(asked->Handle(), static_cast<SQLSMALLINT>(data_type)));
    });
    if (!ended) {
        Trace(End(entry.name), *result);
    }
    return 0;
}

namespace {

// Creates the environment in the first call; if that fails, the call ends.
bool HasEnvironment(zarray* output)
{
    if (first_time_thru != 1) {
        return true;
    }
    SQLRETURN code = SQL_ERROR;
    if (!Guarded([&] { code = env.AllocEnv(); })) {
        output->length = 0;
        return false;
    }
    if (code != SQL_SUCCESS) {
        err.error = 1;
        return false;
    }
    first_time_thru = 0;
    return true;
}

// Writes the next source's name and description. Returns false, with nothing written, if there is
// none.
bool TakeDataSource(int direction, zarray* output)
{
    constexpr SQLSMALLINT kCapacity = 256;
    char name[kCapacity + 1] = {};
    char description[kCapacity + 1] = {};
    SQLSMALLINT name_length = 0;
    SQLSMALLINT description_length = 0;
    const SQLRETURN code =
        SQLDataSources(env.Handle(), static_cast<SQLUSMALLINT>(direction),
                       reinterpret_cast<SQLCHAR*>(name), kCapacity, &name_length,
                       reinterpret_cast<SQLCHAR*>(description), kCapacity, &description_length);
    if (!Succeeded(code)) {  // also at the end of the list, which the host sees as the error flag
        err.error = 1;
        return false;
    }
    ZString list;
    const auto append = [&list](const char* text, SQLSMALLINT length) {
        length != 0 ? list.AppendNTString(text) : list.AppendEmptyValue();
    };
    append(name, name_length);
    append(description, description_length);
    list.CopyTo(output);
    return true;
}

}  // namespace

extern "C" int DataSources(int direction, zarray* output)
{
    Trace(Begin("DataSources"), direction);
    err.Reset();  // after the record, unlike elsewhere
    if (!HasEnvironment(output)) {
        return 0;
    }
    bool ended = false;
    Guarded([&] { ended = !TakeDataSource(direction, output); });
    if (!ended) {
        Trace(End("DataSources"), static_cast<const zarray*>(output));
    }
    return 0;
}
