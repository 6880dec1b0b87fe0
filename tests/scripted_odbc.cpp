#include "scripted_odbc.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sqlucode.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace scripted {

int depth = 0;

namespace {

Script current;
int handles_made = 0;

// Handles are small numbers whose hundreds show their kind: 1xx environments, 2xx connections, 3xx
// statements.
std::string AnyShown(SQLHANDLE handle)
{
    const Inside inside;
    const auto number = reinterpret_cast<std::size_t>(handle);
    constexpr const char* kKinds[] = {"handle", "env", "dbc", "stmt"};
    return number == 0 ? "null" : fmt::format("{}{}", kKinds[number / 100 % 4], number % 100);
}

std::string Shown(SQLHANDLE handle)
{
    const Inside inside;
    if (handle != nullptr && !current.open.contains(handle)) {
        current.misuses.push_back(AnyShown(handle) + " is not open");
    }
    return AnyShown(handle);
}

std::string Shown(const SQLCHAR* text, SQLLEN length)
{
    const Inside inside;
    if (text == nullptr) {
        return "null," + std::to_string(length);
    }
    const auto* bytes = reinterpret_cast<const char*>(text);
    const std::string whole =
        length >= 0 ? std::string(bytes, static_cast<std::size_t>(length)) : std::string(bytes);
    return fmt::format("'{}',{}", whole.size() > 40 ? whole.substr(0, 40) + "..." : whole, length);
}

// A name of a catalog function, of which no more is read than its length says.
std::string Name(const SQLCHAR* text, SQLSMALLINT length)
{
    const Inside inside;
    return text == nullptr || length >= 0 ? Shown(text, length) : fmt::format("?,{}", length);
}

std::string Name(const SQLWCHAR* text, SQLSMALLINT length)
{
    const Inside inside;
    std::string shown;
    for (SQLSMALLINT i = 0; text != nullptr && i < length; ++i) {
        wchar_t unit = 0;
        std::memcpy(&unit, text + i, sizeof unit);  // the host's own characters may be unaligned
        const auto code = static_cast<unsigned>(unit);
        shown += code >= ' ' && code < 0x7F ? std::string(1, static_cast<char>(code))
                                            : fmt::format("<{:x}>", code);
    }
    const auto cut = shown.size() > 40 ? shown.substr(0, 40) + "..." : shown;
    return text != nullptr ? fmt::format("'{}',{}", cut, length) : fmt::format("null,{}", length);
}

template <class... Arguments>
SQLRETURN Answer(const char* function, const Arguments&... arguments)
{
    const Inside inside;
    const std::string shown[] = {fmt::format("{}", arguments)...};
    current.calls.push_back(fmt::format("{}({})", function, fmt::join(shown, ",")));
    if (const auto does = current.doing.find(function); does != current.doing.end()) {
        does->second();
    }
    if (current.throwing.contains(function)) {
        throw std::runtime_error("scripted");
    }
    if (const auto code = current.answer ? current.answer(function) : std::nullopt) {
        return *code;
    }
    const auto code = current.codes.find(function);
    return code != current.codes.end() ? code->second : SQLRETURN{SQL_SUCCESS};
}

bool IsDone(SQLRETURN code)
{
    return code == SQL_SUCCESS || code == SQL_SUCCESS_WITH_INFO;
}

// A handle is freed, or a connection is closed, and with it all that depends on it.
void Close(SQLHANDLE handle, bool and_itself)
{
    const Inside inside;
    std::erase_if(current.bound, [&](const auto& bound) {
        return bound.second.statement == handle && and_itself;
    });
    for (auto at = current.open.begin(); at != current.open.end();) {
        auto* const child = at->first;
        const bool is_lost = at->second.type == SQL_HANDLE_DBC && !at->second.is_given_up;
        if (at->second.parent != handle) {
            ++at;
            continue;
        }
        if (is_lost) {
            current.misuses.push_back("a connection was lost: " + Shown(child));
        }
        Close(child, true);
        at = current.open.begin();
    }
    if (and_itself) {
        current.open.erase(handle);
    }
}

// The driver reads the parameters of a statement, as far as their indicators say.
void UseParameters(SQLHSTMT statement)
{
    const Inside inside;
    for (const auto& [number, bound] : current.bound) {
        if (bound.statement != statement || bound.size <= 0) {
            continue;
        }
        const auto* bytes = static_cast<const volatile char*>(bound.buffer);
        static_cast<void>(bytes[0] + bytes[bound.size - 1] + (*bound.indicator == 0 ? 1 : 0));
        if (current.parameter) {
            current.parameter(bound);
        }
    }
}

Value NextValue()
{
    const Inside inside;
    if (current.value) {
        return current.value();
    }
    if (current.values.empty()) {
        return {};
    }
    Value value = current.values.front();
    if (current.values.size() > 1) {
        current.values.pop_front();
    }
    return value;
}

void Fill(void* buffer, SQLLEN capacity, const std::string& bytes)
{
    if (buffer != nullptr && capacity > 0) {
        std::memcpy(buffer, bytes.data(),
                    std::min(bytes.size(), static_cast<std::size_t>(capacity)));
    }
}

template <class Number, class Source>
void Store(Number* to, Source number)
{
    if (to != nullptr) {
        *to = static_cast<Number>(number);
    }
}

// Returns the next value: its bytes, and the function's other outputs.
template <class Tell>
SQLRETURN Bring(SQLRETURN code, void* buffer, SQLLEN capacity, Tell tell)
{
    const Inside inside;
    const Value value = NextValue();
    Fill(buffer, capacity, value.bytes);
    if (value.has_length) {
        tell(value);
    }
    return code == SQL_SUCCESS ? value.code : code;
}

template <class Number>
SQLRETURN Count(const char* function, SQLHSTMT statement, Number* count, Number number)
{
    const SQLRETURN code = Answer(function, Shown(statement));
    *count = number;
    return code;
}

}  // namespace

std::string WideBytes(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

std::string Script::TakeCalls()
{
    std::string all;
    for (const std::string& call : std::exchange(calls, {})) {
        all += call + "\n";
    }
    return all;
}

void Script::GiveUp(SQLHANDLE handle)
{
    for (auto& [each, open_handle] : open) {
        open_handle.is_given_up |= each == handle || open_handle.parent == handle;
    }
}

void Script::EndHandles()
{
    for (const auto& [handle, open_handle] : open) {
        if (!open_handle.is_given_up) {
            misuses.push_back(Shown(handle) + " was not freed");
        }
    }
}

Script& Current()
{
    return current;
}

void Restart()
{
    current = {};
    handles_made = 0;
}

}  // namespace scripted

using scripted::Answer;
using scripted::current;
using scripted::Name;
using scripted::Shown;

#pragma GCC visibility push(default)

extern "C" {

// A function that returns only its code.
#define RECORDED(function, parameters, ...)    \
    SQLRETURN function parameters              \
    {                                          \
        return Answer(#function, __VA_ARGS__); \
    }

RECORDED(SQLSetEnvAttr, (SQLHENV e, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size),
         Shown(e), attribute, SQLLEN(value), size)
RECORDED(SQLSetStmtAttr, (SQLHSTMT s, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size),
         Shown(s), attribute, SQLLEN(value), size)
RECORDED(SQLConnect,
         (SQLHDBC c, SQLCHAR* dsn, SQLSMALLINT dsn_length, SQLCHAR* uid, SQLSMALLINT uid_length,
          SQLCHAR* pwd, SQLSMALLINT pwd_length),
         Shown(c), Shown(dsn, dsn_length), Shown(uid, uid_length), Shown(pwd, pwd_length))
// Reads a text up to a zero, as some drivers do.
RECORDED(SQLPrepare, (SQLHSTMT s, SQLCHAR* text, SQLINTEGER length), Shown(s),
         Shown(text, length > 0 ? SQLINTEGER(std::strlen(reinterpret_cast<char*>(text))) : length))
RECORDED(SQLPrepareW, (SQLHSTMT s, SQLWCHAR* text, SQLINTEGER length), Shown(s), length,
         length > 0 ? static_cast<int>(text[length - 1]) : 0)
RECORDED(SQLEndTran, (SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion), type,
         Shown(handle), completion)
RECORDED(SQLGetTypeInfo, (SQLHSTMT s, SQLSMALLINT type), Shown(s), type)

// The catalog functions, narrow and wide, whose names are each a pointer and a length.
#define CATALOG(function, parameters, ...)                                       \
    RECORDED(function, (SQLHSTMT s, parameters(SQLCHAR)), Shown(s), __VA_ARGS__) \
    RECORDED(function##W, (SQLHSTMT s, parameters(SQLWCHAR)), Shown(s), __VA_ARGS__)
#define THREE_NAMES(C) C *a, SQLSMALLINT a_n, C *b, SQLSMALLINT b_n, C *c, SQLSMALLINT c_n
#define FOUR_NAMES(C) THREE_NAMES(C), C *d, SQLSMALLINT d_n
#define SIX_NAMES(C) FOUR_NAMES(C), C *e, SQLSMALLINT e_n, C *f, SQLSMALLINT f_n
#define OF_A_ROW(C) SQLUSMALLINT kind, THREE_NAMES(C), SQLUSMALLINT scope, SQLUSMALLINT nullable
#define OF_A_TABLE(C) THREE_NAMES(C), SQLUSMALLINT unique, SQLUSMALLINT accuracy
#define SHOWN_THREE Name(a, a_n), Name(b, b_n), Name(c, c_n)
#define SHOWN_FOUR SHOWN_THREE, Name(d, d_n)

CATALOG(SQLTables, FOUR_NAMES, SHOWN_FOUR)
CATALOG(SQLColumns, FOUR_NAMES, SHOWN_FOUR)
CATALOG(SQLColumnPrivileges, FOUR_NAMES, SHOWN_FOUR)
CATALOG(SQLTablePrivileges, THREE_NAMES, SHOWN_THREE)
CATALOG(SQLProcedures, THREE_NAMES, SHOWN_THREE)
CATALOG(SQLProcedureColumns, FOUR_NAMES, SHOWN_FOUR)
CATALOG(SQLPrimaryKeys, THREE_NAMES, SHOWN_THREE)
CATALOG(SQLForeignKeys, SIX_NAMES, SHOWN_FOUR, Name(e, e_n), Name(f, f_n))
CATALOG(SQLSpecialColumns, OF_A_ROW, kind, SHOWN_THREE, scope, nullable)
CATALOG(SQLStatistics, OF_A_TABLE, SHOWN_THREE, unique, accuracy)

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output)
{
    const scripted::Inside inside;
    for (auto& [each, open_handle] : current.open) {
        // The library replaces an environment without freeing it if the legacy option is set before
        // the first connection.
        open_handle.is_given_up |= type == SQL_HANDLE_ENV && open_handle.type == type;
    }
    const SQLRETURN code = Answer("SQLAllocHandle", type, Shown(input));
    const int number = 100 * type + ++scripted::handles_made;
    *output = nullptr;
    if (scripted::IsDone(code)) {
        *output = reinterpret_cast<SQLHANDLE>(std::size_t(number));
        // A handle allocated with a warning has no owner: the library does not accept it.
        current.open[*output] = {type, input, code == SQL_SUCCESS_WITH_INFO};
    }
    return code;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle)
{
    current.GiveUp(handle);
    const SQLRETURN code = Answer("SQLFreeHandle", type, Shown(handle));
    if (scripted::IsDone(code)) {
        scripted::Close(handle, true);
    }
    return code;
}

SQLRETURN SQLDisconnect(SQLHDBC connection)
{
    current.GiveUp(connection);
    const SQLRETURN code = Answer("SQLDisconnect", Shown(connection));
    if (scripted::IsDone(code)) {
        scripted::Close(connection, false);
    }
    return code;
}

SQLRETURN SQLExecute(SQLHSTMT statement)
{
    const SQLRETURN code = Answer("SQLExecute", Shown(statement));
    scripted::UseParameters(statement);
    return code;
}

SQLRETURN SQLMoreResults(SQLHSTMT statement)
{
    const SQLRETURN code = Answer("SQLMoreResults", Shown(statement));
    scripted::UseParameters(statement);
    return code;
}

SQLRETURN SQLFreeStmt(SQLHSTMT statement, SQLUSMALLINT option)
{
    const SQLRETURN code = Answer("SQLFreeStmt", Shown(statement), option);
    if (option == SQL_RESET_PARAMS && scripted::IsDone(code)) {
        std::erase_if(current.bound,
                      [&](const auto& bound) { return bound.second.statement == statement; });
    }
    return code;
}

SQLRETURN SQLSetConnectAttr(SQLHDBC connection, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER size)
{
    const scripted::Inside inside;
    const auto shown = size == SQL_NTS ? Shown(static_cast<SQLCHAR*>(value), size)
                                       : fmt::format("{},{}", SQLLEN(value), size);
    return Answer("SQLSetConnectAttr", Shown(connection), attribute, shown);
}

SQLRETURN SQLDriverConnect(SQLHDBC connection, SQLHWND, SQLCHAR* in, SQLSMALLINT in_length,
                           SQLCHAR* out, SQLSMALLINT capacity, SQLSMALLINT* out_length,
                           SQLUSMALLINT completion)
{
    const SQLRETURN code =
        Answer("SQLDriverConnect", Shown(connection), Shown(in, in_length), capacity, completion);
    *out_length = 0;
    *out = 0;
    return code;
}

SQLRETURN SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLCHAR* state,
                        SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT capacity,
                        SQLSMALLINT* length)
{
    const scripted::Inside inside;
    const SQLRETURN code =
        Answer("SQLGetDiagRec", type, scripted::AnyShown(handle), number, capacity);
    const auto index = static_cast<std::size_t>(number) - 1;
    if (scripted::IsDone(code) && !current.endless_diagnostics &&
        index >= current.diagnostics.size()) {
        return SQL_NO_DATA;
    }
    if (code != SQL_SUCCESS) {
        return code;
    }
    const auto& record = current.diagnostics[current.endless_diagnostics ? 0 : index];
    std::memcpy(state, record.state.c_str(), std::min<std::size_t>(record.state.size() + 1, 6));
    *native = record.native;
    scripted::Fill(text, capacity, record.message + '\0');  // a long one is not terminated
    *length = static_cast<SQLSMALLINT>(record.message.size());
    return SQL_SUCCESS;
}

SQLRETURN SQLRowCount(SQLHSTMT statement, SQLLEN* count)
{
    return scripted::Count("SQLRowCount", statement, count, current.row_count);
}

SQLRETURN SQLNumResultCols(SQLHSTMT statement, SQLSMALLINT* count)
{
    return scripted::Count("SQLNumResultCols", statement, count, current.columns);
}

SQLRETURN SQLNumParams(SQLHSTMT statement, SQLSMALLINT* count)
{
    return scripted::Count("SQLNumParams", statement, count, current.markers);
}

#define DESCRIBES(function, C)                                                                 \
    SQLRETURN function(SQLHSTMT statement, SQLUSMALLINT column, C* name, SQLSMALLINT capacity, \
                       SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* size, SQLSMALLINT*,    \
                       SQLSMALLINT*)                                                           \
    {                                                                                          \
        const SQLRETURN code = Answer(#function, Shown(statement), column, capacity);          \
        const SQLLEN bytes = SQLLEN{capacity} * SQLLEN{sizeof(C)};                             \
        return scripted::Bring(code, name, bytes, [&](const scripted::Value& value) {          \
            scripted::Store(length, value.length);                                             \
            *type = SQL_VARCHAR;                                                               \
            scripted::Store(size, value.number);                                               \
        });                                                                                    \
    }
DESCRIBES(SQLDescribeCol, SQLCHAR)
DESCRIBES(SQLDescribeColW, SQLWCHAR)

#define HAS_ATTRIBUTES(function)                                                                   \
    SQLRETURN function(SQLHSTMT statement, SQLUSMALLINT column, SQLUSMALLINT field,                \
                       SQLPOINTER text, SQLSMALLINT capacity, SQLSMALLINT* length, SQLLEN* number) \
    {                                                                                              \
        const SQLRETURN code = Answer(#function, Shown(statement), column, field, capacity);       \
        return scripted::Bring(code, text, capacity, [&](const scripted::Value& value) {           \
            scripted::Store(length, value.length);                                                 \
            scripted::Store(number, value.number);                                                 \
        });                                                                                        \
    }
HAS_ATTRIBUTES(SQLColAttribute)
HAS_ATTRIBUTES(SQLColAttributeW)

SQLRETURN SQLFetch(SQLHSTMT statement)
{
    const SQLRETURN code = Answer("SQLFetch", Shown(statement));
    return code == SQL_SUCCESS && current.rows-- <= 0 ? SQLRETURN{SQL_NO_DATA} : code;
}

SQLRETURN SQLGetData(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT c_type, SQLPOINTER buffer,
                     SQLLEN capacity, SQLLEN* indicator)
{
    const SQLRETURN code = Answer("SQLGetData", Shown(statement), column, c_type, capacity);
    return scripted::Bring(code, buffer, capacity,
                           [&](const scripted::Value& value) { *indicator = value.length; });
}

SQLRETURN SQLBindParameter(SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT io_type,
                           SQLSMALLINT c_type, SQLSMALLINT sql_type, SQLULEN size,
                           SQLSMALLINT digits, SQLPOINTER buffer, SQLLEN capacity,
                           SQLLEN* indicator)
{
    const scripted::Inside inside;
    const auto address = reinterpret_cast<std::size_t>(buffer);
    const std::string place = address < 1000 ? std::to_string(address) : "buffer";
    const SQLRETURN code = Answer("SQLBindParameter", Shown(statement), number, io_type, c_type,
                                  sql_type, size, digits, place, capacity, *indicator);
    if (scripted::IsDone(code)) {
        current.bound[number] = {buffer, capacity, indicator, statement};
    }
    return code;
}

SQLRETURN SQLDescribeParam(SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT* type,
                           SQLULEN* size, SQLSMALLINT* digits, SQLSMALLINT* nullable)
{
    const SQLRETURN code = Answer("SQLDescribeParam", Shown(statement), number);
    return scripted::Bring(code, nullptr, 0, [&](const scripted::Value& value) {
        *type = SQL_WCHAR;
        scripted::Store(size, value.number);
        *digits = 2;
        *nullable = 1;
    });
}

SQLRETURN SQLParamData(SQLHSTMT statement, SQLPOINTER* token)
{
    const SQLRETURN code = Answer("SQLParamData", Shown(statement));
    scripted::UseParameters(statement);
    *token = reinterpret_cast<SQLPOINTER>(current.token);
    return code;
}

SQLRETURN SQLPutData(SQLHSTMT statement, SQLPOINTER data, SQLLEN length)
{
    const scripted::Inside inside;
    const auto* bytes = static_cast<const SQLCHAR*>(data);
    return Answer("SQLPutData", Shown(statement),
                  length < 0 ? std::to_string(length) : Shown(bytes, length));
}

SQLRETURN SQLGetInfo(SQLHDBC connection, SQLUSMALLINT type, SQLPOINTER buffer, SQLSMALLINT capacity,
                     SQLSMALLINT* length)
{
    const SQLRETURN code = Answer("SQLGetInfo", Shown(connection), type, capacity, *length);
    scripted::Bring(code, buffer, capacity,
                    [&](const scripted::Value& value) { scripted::Store(length, value.length); });
    return code;
}

SQLRETURN SQLDataSources(SQLHENV environment, SQLUSMALLINT direction, SQLCHAR* name,
                         SQLSMALLINT name_capacity, SQLSMALLINT* name_length, SQLCHAR* description,
                         SQLSMALLINT capacity, SQLSMALLINT* length)
{
    const SQLRETURN code =
        Answer("SQLDataSources", Shown(environment), direction, name_capacity, capacity);
    const auto bring = [](SQLCHAR* text, SQLSMALLINT room, SQLSMALLINT* text_length) {
        const scripted::Inside inside;
        const scripted::Value value = scripted::NextValue();
        scripted::Fill(text, room, value.bytes);
        *text_length = static_cast<SQLSMALLINT>(value.length);
    };
    bring(name, name_capacity, name_length);
    bring(description, capacity, length);
    return code;
}

}  // extern "C"

#pragma GCC visibility pop
