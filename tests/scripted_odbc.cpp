#include "scripted_odbc.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sqlucode.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace scripted {

namespace {

Script current;
int handles_made = 0;

// Handles are small numbers whose hundreds tell their kind: 1xx environments, 2xx connections, 3xx
// statements.
std::string Shown(SQLHANDLE handle)
{
    const auto number = reinterpret_cast<std::size_t>(handle);
    constexpr const char* kKinds[] = {"handle", "env", "dbc", "stmt"};
    return number == 0 ? "null" : fmt::format("{}{}", kKinds[number / 100 % 4], number % 100);
}

std::string Shown(const SQLCHAR* text, SQLLEN length)
{
    if (text == nullptr) {
        return "null," + std::to_string(length);
    }
    const auto* bytes = reinterpret_cast<const char*>(text);
    const std::string whole =
        length >= 0 ? std::string(bytes, static_cast<std::size_t>(length)) : std::string(bytes);
    return fmt::format("'{}',{}", whole.size() > 40 ? whole.substr(0, 40) + "..." : whole, length);
}

// A name of a catalog function, of which only as much is looked at as its length says.
std::string Name(const SQLCHAR* text, SQLSMALLINT length)
{
    return text == nullptr || length >= 0 ? Shown(text, length) : fmt::format("?,{}", length);
}

std::string Name(const SQLWCHAR* text, SQLSMALLINT length)
{
    std::string shown;
    for (SQLSMALLINT i = 0; text != nullptr && i < length; ++i) {
        wchar_t unit = 0;
        std::memcpy(&unit, text + i, sizeof unit);  // the host's own characters lie anywhere
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
    const std::string shown[] = {fmt::format("{}", arguments)...};
    current.calls.push_back(fmt::format("{}({})", function, fmt::join(shown, ",")));
    if (const auto does = current.doing.find(function); does != current.doing.end()) {
        does->second();
    }
    if (current.throwing.contains(function)) {
        throw std::runtime_error("scripted");
    }
    const auto code = current.codes.find(function);
    return code != current.codes.end() ? code->second : SQLRETURN{SQL_SUCCESS};
}

Value NextValue()
{
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

SQLRETURN Describe(const char* function, SQLHSTMT statement, SQLUSMALLINT column, void* name,
                   SQLSMALLINT capacity, SQLLEN capacity_bytes, SQLSMALLINT* length,
                   SQLSMALLINT* type, SQLULEN* size)
{
    const SQLRETURN code = Answer(function, Shown(statement), column, capacity);
    const Value value = NextValue();
    Fill(name, capacity_bytes, value.bytes);
    *length = static_cast<SQLSMALLINT>(value.length);
    *type = SQL_VARCHAR;
    *size = static_cast<SQLULEN>(value.number);
    return code == SQL_SUCCESS ? value.code : code;
}

SQLRETURN Attribute(const char* function, SQLHSTMT statement, SQLUSMALLINT column,
                    SQLUSMALLINT field, SQLPOINTER text, SQLSMALLINT capacity, SQLSMALLINT* length,
                    SQLLEN* number)
{
    const SQLRETURN code = Answer(function, Shown(statement), column, field, capacity);
    const Value value = NextValue();
    Fill(text, capacity, value.bytes);
    if (length != nullptr) {
        *length = static_cast<SQLSMALLINT>(value.length);
    }
    if (number != nullptr) {
        *number = value.number;
    }
    return code == SQL_SUCCESS ? value.code : code;
}

}  // namespace

std::string WideBytes(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

std::string Script::Taken()
{
    std::string all;
    for (const std::string& call : std::exchange(calls, {})) {
        all += call + "\n";
    }
    return all;
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

// A function that brings nothing but its code.
#define RECORDED(function, parameters, ...)    \
    SQLRETURN function parameters              \
    {                                          \
        return Answer(#function, __VA_ARGS__); \
    }

RECORDED(SQLFreeHandle, (SQLSMALLINT type, SQLHANDLE handle), type, Shown(handle))
RECORDED(SQLSetEnvAttr, (SQLHENV e, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size),
         Shown(e), attribute, SQLLEN(value), size)
RECORDED(SQLSetStmtAttr, (SQLHSTMT s, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size),
         Shown(s), attribute, SQLLEN(value), size)
RECORDED(SQLConnect,
         (SQLHDBC c, SQLCHAR* dsn, SQLSMALLINT dsn_length, SQLCHAR* uid, SQLSMALLINT uid_length,
          SQLCHAR* pwd, SQLSMALLINT pwd_length),
         Shown(c), Shown(dsn, dsn_length), Shown(uid, uid_length), Shown(pwd, pwd_length))
RECORDED(SQLDisconnect, (SQLHDBC c), Shown(c))
// Reads a text up to a zero, as some drivers do.
RECORDED(SQLPrepare, (SQLHSTMT s, SQLCHAR* text, SQLINTEGER length), Shown(s),
         Shown(text, length > 0 ? SQLINTEGER(std::strlen(reinterpret_cast<char*>(text))) : length))
RECORDED(SQLPrepareW, (SQLHSTMT s, SQLWCHAR* text, SQLINTEGER length), Shown(s), length,
         length > 0 ? static_cast<int>(text[length - 1]) : 0)
RECORDED(SQLExecute, (SQLHSTMT s), Shown(s))
RECORDED(SQLMoreResults, (SQLHSTMT s), Shown(s))
RECORDED(SQLFreeStmt, (SQLHSTMT s, SQLUSMALLINT option), Shown(s), option)
RECORDED(SQLEndTran, (SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion), type,
         Shown(handle), completion)
RECORDED(SQLGetTypeInfo, (SQLHSTMT s, SQLSMALLINT type), Shown(s), type)

// The catalog functions, whose names are each a pointer and a length.
#define THREE_NAMES(C) C *a, SQLSMALLINT a_n, C *b, SQLSMALLINT b_n, C *c, SQLSMALLINT c_n
#define FOUR_NAMES(C) THREE_NAMES(C), C *d, SQLSMALLINT d_n
#define SHOWN_THREE Name(a, a_n), Name(b, b_n), Name(c, c_n)
#define SHOWN_FOUR SHOWN_THREE, Name(d, d_n)

RECORDED(SQLTables, (SQLHSTMT s, FOUR_NAMES(SQLCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLTablesW, (SQLHSTMT s, FOUR_NAMES(SQLWCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLColumns, (SQLHSTMT s, FOUR_NAMES(SQLCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLColumnsW, (SQLHSTMT s, FOUR_NAMES(SQLWCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLColumnPrivileges, (SQLHSTMT s, FOUR_NAMES(SQLCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLColumnPrivilegesW, (SQLHSTMT s, FOUR_NAMES(SQLWCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLTablePrivileges, (SQLHSTMT s, THREE_NAMES(SQLCHAR)), Shown(s), SHOWN_THREE)
RECORDED(SQLTablePrivilegesW, (SQLHSTMT s, THREE_NAMES(SQLWCHAR)), Shown(s), SHOWN_THREE)
RECORDED(SQLProcedures, (SQLHSTMT s, THREE_NAMES(SQLCHAR)), Shown(s), SHOWN_THREE)
RECORDED(SQLProceduresW, (SQLHSTMT s, THREE_NAMES(SQLWCHAR)), Shown(s), SHOWN_THREE)
RECORDED(SQLProcedureColumns, (SQLHSTMT s, FOUR_NAMES(SQLCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLProcedureColumnsW, (SQLHSTMT s, FOUR_NAMES(SQLWCHAR)), Shown(s), SHOWN_FOUR)
RECORDED(SQLPrimaryKeys, (SQLHSTMT s, THREE_NAMES(SQLCHAR)), Shown(s), SHOWN_THREE)
RECORDED(SQLPrimaryKeysW, (SQLHSTMT s, THREE_NAMES(SQLWCHAR)), Shown(s), SHOWN_THREE)
RECORDED(SQLSpecialColumns,
         (SQLHSTMT s, SQLUSMALLINT identifier, THREE_NAMES(SQLCHAR), SQLUSMALLINT scope,
          SQLUSMALLINT nullable),
         Shown(s), identifier, SHOWN_THREE, scope, nullable)
RECORDED(SQLSpecialColumnsW,
         (SQLHSTMT s, SQLUSMALLINT identifier, THREE_NAMES(SQLWCHAR), SQLUSMALLINT scope,
          SQLUSMALLINT nullable),
         Shown(s), identifier, SHOWN_THREE, scope, nullable)
RECORDED(SQLStatistics,
         (SQLHSTMT s, THREE_NAMES(SQLCHAR), SQLUSMALLINT unique, SQLUSMALLINT accuracy), Shown(s),
         SHOWN_THREE, unique, accuracy)
RECORDED(SQLStatisticsW,
         (SQLHSTMT s, THREE_NAMES(SQLWCHAR), SQLUSMALLINT unique, SQLUSMALLINT accuracy), Shown(s),
         SHOWN_THREE, unique, accuracy)
RECORDED(SQLForeignKeys,
         (SQLHSTMT s, THREE_NAMES(SQLCHAR), SQLCHAR* d, SQLSMALLINT d_n, SQLCHAR* e,
          SQLSMALLINT e_n, SQLCHAR* f, SQLSMALLINT f_n),
         Shown(s), SHOWN_THREE, Name(d, d_n), Name(e, e_n), Name(f, f_n))
RECORDED(SQLForeignKeysW,
         (SQLHSTMT s, THREE_NAMES(SQLWCHAR), SQLWCHAR* d, SQLSMALLINT d_n, SQLWCHAR* e,
          SQLSMALLINT e_n, SQLWCHAR* f, SQLSMALLINT f_n),
         Shown(s), SHOWN_THREE, Name(d, d_n), Name(e, e_n), Name(f, f_n))

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output)
{
    const SQLRETURN code = Answer("SQLAllocHandle", type, Shown(input));
    const int number = 100 * type + ++scripted::handles_made;
    *output = code != SQL_ERROR ? reinterpret_cast<SQLHANDLE>(std::size_t(number)) : nullptr;
    return code;
}

SQLRETURN SQLSetConnectAttr(SQLHDBC connection, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER size)
{
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
    const SQLRETURN code = Answer("SQLGetDiagRec", type, Shown(handle), number, capacity);
    const auto index = static_cast<std::size_t>(number) - 1;
    if (code != SQL_SUCCESS ||
        (!current.endless_diagnostics && index >= current.diagnostics.size())) {
        return code != SQL_SUCCESS ? code : SQLRETURN{SQL_NO_DATA};
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
    const SQLRETURN code = Answer("SQLRowCount", Shown(statement));
    *count = current.row_count;
    return code;
}

SQLRETURN SQLNumResultCols(SQLHSTMT statement, SQLSMALLINT* count)
{
    const SQLRETURN code = Answer("SQLNumResultCols", Shown(statement));
    *count = current.columns;
    return code;
}

SQLRETURN SQLDescribeCol(SQLHSTMT statement, SQLUSMALLINT column, SQLCHAR* name,
                         SQLSMALLINT capacity, SQLSMALLINT* length, SQLSMALLINT* type,
                         SQLULEN* size, SQLSMALLINT*, SQLSMALLINT*)
{
    return scripted::Describe("SQLDescribeCol", statement, column, name, capacity, capacity, length,
                              type, size);
}

SQLRETURN SQLDescribeColW(SQLHSTMT statement, SQLUSMALLINT column, SQLWCHAR* name,
                          SQLSMALLINT capacity, SQLSMALLINT* length, SQLSMALLINT* type,
                          SQLULEN* size, SQLSMALLINT*, SQLSMALLINT*)
{
    return scripted::Describe("SQLDescribeColW", statement, column, name, capacity,
                              SQLLEN{capacity} * SQLLEN{sizeof(SQLWCHAR)}, length, type, size);
}

SQLRETURN SQLColAttribute(SQLHSTMT statement, SQLUSMALLINT column, SQLUSMALLINT field,
                          SQLPOINTER text, SQLSMALLINT capacity, SQLSMALLINT* length,
                          SQLLEN* number)
{
    return scripted::Attribute("SQLColAttribute", statement, column, field, text, capacity, length,
                               number);
}

SQLRETURN SQLColAttributeW(SQLHSTMT statement, SQLUSMALLINT column, SQLUSMALLINT field,
                           SQLPOINTER text, SQLSMALLINT capacity, SQLSMALLINT* length,
                           SQLLEN* number)
{
    return scripted::Attribute("SQLColAttributeW", statement, column, field, text, capacity, length,
                               number);
}

SQLRETURN SQLFetch(SQLHSTMT statement)
{
    const SQLRETURN code = Answer("SQLFetch", Shown(statement));
    return code == SQL_SUCCESS && current.rows-- <= 0 ? SQLRETURN{SQL_NO_DATA} : code;
}

SQLRETURN SQLGetData(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT c_type, SQLPOINTER buffer,
                     SQLLEN capacity, SQLLEN* indicator)
{
    const SQLRETURN code = Answer("SQLGetData", Shown(statement), column, c_type, capacity);
    const scripted::Value value = scripted::NextValue();
    scripted::Fill(buffer, capacity, value.bytes);
    *indicator = value.length;
    return code == SQL_SUCCESS ? value.code : code;
}

SQLRETURN SQLBindParameter(SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT io_type,
                           SQLSMALLINT c_type, SQLSMALLINT sql_type, SQLULEN size,
                           SQLSMALLINT digits, SQLPOINTER buffer, SQLLEN capacity,
                           SQLLEN* indicator)
{
    current.bound[number] = {buffer, capacity, indicator};
    const auto address = reinterpret_cast<std::size_t>(buffer);
    const std::string place = address < 1000 ? std::to_string(address) : "buffer";
    return Answer("SQLBindParameter", Shown(statement), number, io_type, c_type, sql_type, size,
                  digits, place, capacity, *indicator);
}

SQLRETURN SQLNumParams(SQLHSTMT statement, SQLSMALLINT* count)
{
    const SQLRETURN code = Answer("SQLNumParams", Shown(statement));
    *count = current.markers;
    return code;
}

SQLRETURN SQLDescribeParam(SQLHSTMT statement, SQLUSMALLINT number, SQLSMALLINT* type,
                           SQLULEN* size, SQLSMALLINT* digits, SQLSMALLINT* nullable)
{
    const SQLRETURN code = Answer("SQLDescribeParam", Shown(statement), number);
    const scripted::Value value = scripted::NextValue();
    *type = SQL_WCHAR;
    *size = static_cast<SQLULEN>(value.number);
    *digits = 2;
    *nullable = 1;
    return code == SQL_SUCCESS ? value.code : code;
}

SQLRETURN SQLParamData(SQLHSTMT statement, SQLPOINTER* token)
{
    const SQLRETURN code = Answer("SQLParamData", Shown(statement));
    *token = reinterpret_cast<SQLPOINTER>(current.token);
    return code;
}

SQLRETURN SQLPutData(SQLHSTMT statement, SQLPOINTER data, SQLLEN length)
{
    const auto* bytes = static_cast<const SQLCHAR*>(data);
    return Answer("SQLPutData", Shown(statement),
                  length < 0 ? std::to_string(length) : Shown(bytes, length));
}

SQLRETURN SQLGetInfo(SQLHDBC connection, SQLUSMALLINT type, SQLPOINTER buffer, SQLSMALLINT capacity,
                     SQLSMALLINT* length)
{
    const SQLRETURN code = Answer("SQLGetInfo", Shown(connection), type, capacity, *length);
    const scripted::Value value = scripted::NextValue();
    scripted::Fill(buffer, capacity, value.bytes);
    *length = static_cast<SQLSMALLINT>(value.length);
    return code;
}

SQLRETURN SQLDataSources(SQLHENV environment, SQLUSMALLINT direction, SQLCHAR* name,
                         SQLSMALLINT name_capacity, SQLSMALLINT* name_length, SQLCHAR* description,
                         SQLSMALLINT capacity, SQLSMALLINT* length)
{
    const SQLRETURN code =
        Answer("SQLDataSources", Shown(environment), direction, name_capacity, capacity);
    const scripted::Value named = scripted::NextValue();
    scripted::Fill(name, name_capacity, named.bytes);
    *name_length = static_cast<SQLSMALLINT>(named.length);
    const scripted::Value described = scripted::NextValue();
    scripted::Fill(description, capacity, described.bytes);
    *length = static_cast<SQLSMALLINT>(described.length);
    return code;
}

}  // extern "C"

#pragma GCC visibility pop
