#include "scripted_odbc.h"

#include <fmt/format.h>

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

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output)
{
    const SQLRETURN code = Answer("SQLAllocHandle", type, Shown(input));
    const int number = 100 * type + ++scripted::handles_made;
    *output = code != SQL_ERROR ? reinterpret_cast<SQLHANDLE>(std::size_t(number)) : nullptr;
    return code;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle)
{
    return Answer("SQLFreeHandle", type, Shown(handle));
}

SQLRETURN SQLSetEnvAttr(SQLHENV environment, SQLINTEGER attribute, SQLPOINTER value,
                        SQLINTEGER size)
{
    return Answer("SQLSetEnvAttr", Shown(environment), attribute, SQLLEN(value), size);
}

SQLRETURN SQLSetConnectAttr(SQLHDBC connection, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER size)
{
    const auto shown = size == SQL_NTS ? Shown(static_cast<SQLCHAR*>(value), size)
                                       : fmt::format("{},{}", SQLLEN(value), size);
    return Answer("SQLSetConnectAttr", Shown(connection), attribute, shown);
}

SQLRETURN SQLSetStmtAttr(SQLHSTMT statement, SQLINTEGER attribute, SQLPOINTER value,
                         SQLINTEGER size)
{
    return Answer("SQLSetStmtAttr", Shown(statement), attribute, SQLLEN(value), size);
}

SQLRETURN SQLConnect(SQLHDBC connection, SQLCHAR* dsn, SQLSMALLINT dsn_length, SQLCHAR* uid,
                     SQLSMALLINT uid_length, SQLCHAR* pwd, SQLSMALLINT pwd_length)
{
    return Answer("SQLConnect", Shown(connection), Shown(dsn, dsn_length), Shown(uid, uid_length),
                  Shown(pwd, pwd_length));
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

SQLRETURN SQLDisconnect(SQLHDBC connection)
{
    return Answer("SQLDisconnect", Shown(connection));
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

SQLRETURN SQLPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)
{
    return Answer("SQLPrepare", Shown(statement), Shown(text, length));
}

SQLRETURN SQLPrepareW(SQLHSTMT statement, SQLWCHAR* text, SQLINTEGER length)
{
    return Answer("SQLPrepareW", Shown(statement), length,
                  length > 0 ? static_cast<int>(text[length - 1]) : 0);
}

SQLRETURN SQLExecute(SQLHSTMT statement)
{
    return Answer("SQLExecute", Shown(statement));
}

SQLRETURN SQLMoreResults(SQLHSTMT statement)
{
    return Answer("SQLMoreResults", Shown(statement));
}

SQLRETURN SQLFreeStmt(SQLHSTMT statement, SQLUSMALLINT option)
{
    return Answer("SQLFreeStmt", Shown(statement), option);
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

SQLRETURN SQLEndTran(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT completion)
{
    return Answer("SQLEndTran", type, Shown(handle), completion);
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

SQLRETURN SQLGetTypeInfo(SQLHSTMT statement, SQLSMALLINT type)
{
    return Answer("SQLGetTypeInfo", Shown(statement), type);
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

// The catalog functions, whose names are each a pointer and a length.
#define THREE_NAMES(C) C *a, SQLSMALLINT a_n, C *b, SQLSMALLINT b_n, C *c, SQLSMALLINT c_n
#define FOUR_NAMES(C) THREE_NAMES(C), C *d, SQLSMALLINT d_n
#define SHOWN_THREE Name(a, a_n), Name(b, b_n), Name(c, c_n)
#define SHOWN_FOUR SHOWN_THREE, Name(d, d_n)

SQLRETURN SQLTables(SQLHSTMT statement, FOUR_NAMES(SQLCHAR))
{
    return Answer("SQLTables", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLTablesW(SQLHSTMT statement, FOUR_NAMES(SQLWCHAR))
{
    return Answer("SQLTablesW", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLColumns(SQLHSTMT statement, FOUR_NAMES(SQLCHAR))
{
    return Answer("SQLColumns", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLColumnsW(SQLHSTMT statement, FOUR_NAMES(SQLWCHAR))
{
    return Answer("SQLColumnsW", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLColumnPrivileges(SQLHSTMT statement, FOUR_NAMES(SQLCHAR))
{
    return Answer("SQLColumnPrivileges", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLColumnPrivilegesW(SQLHSTMT statement, FOUR_NAMES(SQLWCHAR))
{
    return Answer("SQLColumnPrivilegesW", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLTablePrivileges(SQLHSTMT statement, THREE_NAMES(SQLCHAR))
{
    return Answer("SQLTablePrivileges", Shown(statement), SHOWN_THREE);
}
SQLRETURN SQLTablePrivilegesW(SQLHSTMT statement, THREE_NAMES(SQLWCHAR))
{
    return Answer("SQLTablePrivilegesW", Shown(statement), SHOWN_THREE);
}
SQLRETURN SQLProcedures(SQLHSTMT statement, THREE_NAMES(SQLCHAR))
{
    return Answer("SQLProcedures", Shown(statement), SHOWN_THREE);
}
SQLRETURN SQLProceduresW(SQLHSTMT statement, THREE_NAMES(SQLWCHAR))
{
    return Answer("SQLProceduresW", Shown(statement), SHOWN_THREE);
}
SQLRETURN SQLProcedureColumns(SQLHSTMT statement, FOUR_NAMES(SQLCHAR))
{
    return Answer("SQLProcedureColumns", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLProcedureColumnsW(SQLHSTMT statement, FOUR_NAMES(SQLWCHAR))
{
    return Answer("SQLProcedureColumnsW", Shown(statement), SHOWN_FOUR);
}
SQLRETURN SQLPrimaryKeys(SQLHSTMT statement, THREE_NAMES(SQLCHAR))
{
    return Answer("SQLPrimaryKeys", Shown(statement), SHOWN_THREE);
}
SQLRETURN SQLPrimaryKeysW(SQLHSTMT statement, THREE_NAMES(SQLWCHAR))
{
    return Answer("SQLPrimaryKeysW", Shown(statement), SHOWN_THREE);
}
SQLRETURN SQLSpecialColumns(SQLHSTMT statement, SQLUSMALLINT identifier, THREE_NAMES(SQLCHAR),
                            SQLUSMALLINT scope, SQLUSMALLINT nullable)
{
    return Answer("SQLSpecialColumns", Shown(statement), identifier, SHOWN_THREE, scope, nullable);
}
SQLRETURN SQLSpecialColumnsW(SQLHSTMT statement, SQLUSMALLINT identifier, THREE_NAMES(SQLWCHAR),
                             SQLUSMALLINT scope, SQLUSMALLINT nullable)
{
    return Answer("SQLSpecialColumnsW", Shown(statement), identifier, SHOWN_THREE, scope, nullable);
}
SQLRETURN SQLStatistics(SQLHSTMT statement, THREE_NAMES(SQLCHAR), SQLUSMALLINT unique,
                        SQLUSMALLINT accuracy)
{
    return Answer("SQLStatistics", Shown(statement), SHOWN_THREE, unique, accuracy);
}
SQLRETURN SQLStatisticsW(SQLHSTMT statement, THREE_NAMES(SQLWCHAR), SQLUSMALLINT unique,
                         SQLUSMALLINT accuracy)
{
    return Answer("SQLStatisticsW", Shown(statement), SHOWN_THREE, unique, accuracy);
}
SQLRETURN SQLForeignKeys(SQLHSTMT statement, THREE_NAMES(SQLCHAR), SQLCHAR* d, SQLSMALLINT d_n,
                         SQLCHAR* e, SQLSMALLINT e_n, SQLCHAR* f, SQLSMALLINT f_n)
{
    return Answer("SQLForeignKeys", Shown(statement), SHOWN_THREE, Name(d, d_n), Name(e, e_n),
                  Name(f, f_n));
}
SQLRETURN SQLForeignKeysW(SQLHSTMT statement, THREE_NAMES(SQLWCHAR), SQLWCHAR* d, SQLSMALLINT d_n,
                          SQLWCHAR* e, SQLSMALLINT e_n, SQLWCHAR* f, SQLSMALLINT f_n)
{
    return Answer("SQLForeignKeysW", Shown(statement), SHOWN_THREE, Name(d, d_n), Name(e, e_n),
                  Name(f, f_n));
}

}  // extern "C"

#pragma GCC visibility pop
