#include "Host.h"

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <stdexcept>
#include <string_view>

void Require(bool succeeded, std::string_view what)
{
    if (!succeeded) {
        throw std::runtime_error(std::string(what));
    }
}

namespace {

template <class Function>
void Find(const ORVEL_ZFE* table, std::string_view name, Function& function)
{
    for (const ORVEL_ZFE* row = table; row->name != nullptr; ++row) {
        if (row->name == name) {
            function = reinterpret_cast<Function>(row->function);
            return;
        }
    }
    Require(false, "no entry " + std::string(name));
}

void Ignore(ORVEL_EXSTR* /*string*/)
{}

// What the library calls during a benchmark: nothing is traced or allocated.
const std::array<orvel_function, ORVEL_HOST_SLOTS>& HostTable()
{
    static const auto table = [] {
        std::array<orvel_function, ORVEL_HOST_SLOTS> slots{};
        slots[ORVEL_SLOT_RELEASE_LONG_STRING] = reinterpret_cast<orvel_function>(&Ignore);
        return slots;
    }();
    return table;
}

void* Load(int number)
{
    const char* file = number == 0 ? ORVELGW_LIBRARY : ORVELGW_LIBRARY_COPY;
    void* library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    Require(library != nullptr, std::string("not loaded: ") + file);
    return library;
}

const ORVEL_ZFE* TableOf(void* library)
{
    auto* get_table = reinterpret_cast<decltype(&GetZFTable)>(dlsym(library, "GetZFTable"));
    Require(get_table != nullptr, "GetZFTable");
    return get_table(nullptr, HostTable().data());
}

}  // namespace

Entries::Entries(const ORVEL_ZFE* table)
{
    Find(table, "DSNConnect", dsn_connect);
    Find(table, "Disconnect", disconnect);
    Find(table, "AllocStatement", alloc_statement);
    Find(table, "DropStatement", drop_statement);
    Find(table, "Prepare", prepare);
    Find(table, "Execute", execute);
    Find(table, "Fetch", fetch);
    Find(table, "FetchRows", fetch_rows);
    Find(table, "GetOneRow", get_one_row);
    Find(table, "GetDataEx", get_data_ex);
    Find(table, "CloseCursor", close_cursor);
    Find(table, "NumResultCols", num_result_cols);
    Find(table, "BindParameter", bind_parameter);
    Find(table, "SetParameter", set_parameter);
    Find(table, "SetConnectOption", set_connect_option);
    Find(table, "Transact", transact);
    Find(table, "SetUnicodeOption", set_unicode_option);
    Find(table, "SetLegacyOption", set_legacy_option);
    Find(table, "WasError", was_error);
    Find(table, "GetLastSQLCode", get_last_sql_code);
}

LongString LongString::Integer(long value)
{
    ZString list;
    list.AppendLong(value);
    return LongString(std::move(list));
}

LongString LongString::Text(std::string_view text)
{
    ZString list;
    list.AppendString(text.data(), text.size());
    return LongString(std::move(list));
}

LongString LongString::Double(double value)
{
    std::string element(2 + sizeof value, '\0');
    element[0] = static_cast<char>(element.size());
    element[1] = 8;
    std::memcpy(&element[2], &value, sizeof value);
    return LongString(std::move(element));
}

Host::Host(const Mode& mode, int number) : library_(Load(number)), call(TableOf(library_.get()))
{
    int32_t result = 0;
    call.set_legacy_option(mode.legacy_option, &result);
    call.set_unicode_option(mode.unicode_option, &result);
}

void Host::Unload::operator()(void* library) const
{
    dlclose(library);
}

Handle Host::Connect(const Source& source) const
{
    std::string writable = source.connection_string;
    Handle connection;
    call.dsn_connect(writable.data(), connection.Out());
    Require(connection.In()->length != 0, source.connection_string);
    return connection;
}

Handle Host::Statement(const Handle& connection) const
{
    Handle statement;
    call.alloc_statement(connection.In(), statement.Out());
    return statement;
}

void Host::SetAutocommit(const Handle& connection, bool on) const
{
    int32_t result = 0;
    call.set_connect_option(connection.In(), SQL_ATTR_AUTOCOMMIT, on ? 1 : 0, &result);
    Require(result == SQL_SUCCESS, "autocommit");
}

void Host::BindParameter(const Handle& statement, int number, int c_type, int sql_type) const
{
    int32_t result = 0;
    call.bind_parameter(statement.In(), number, SQL_PARAM_INPUT, c_type, sql_type, 60, 0, 60,
                        &result);
    Require(result == SQL_SUCCESS, "a parameter's binding");
}

void Host::Prepare(const Handle& statement, const std::string& sql) const
{
    LongString text(sql);
    int32_t result = 0;
    call.prepare(statement.In(), text.In(), &result);
    Require(result == SQL_SUCCESS, sql);
}

void Host::Execute(const Handle& statement) const
{
    int32_t result = 0;
    call.execute(statement.In(), &result);
    Require(result == SQL_SUCCESS, "execute");
}

void Host::CloseCursor(const Handle& statement) const
{
    int32_t result = 0;
    call.close_cursor(statement.In(), &result);
}

const zarray* EmptyArgument()
{
    alignas(2) static constexpr unsigned char kEmpty[2 + 8] = {};
    return reinterpret_cast<const zarray*>(kEmpty);
}

zarray* OutputArea()
{
    alignas(8) static unsigned char area[3'641'144 + 8];
    return reinterpret_cast<zarray*>(area);
}
