// The functions of the wide shim that transfer values, run statements and allocate handles.
#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <string>

#include "shims/Handles.h"
#include "shims/forward.h"
#include "shims/wide.h"

namespace {

/// A statement at the beginning of a call; null if it wasn't allocated through the shim.
Statement* Begin(SQLHSTMT handle)
{
    Statement* statement = Handles::Instance().Find(handle);
    if (statement != nullptr && statement->diagnosis.HasState()) {
        statement->diagnosis = {};
    }
    return statement;
}

/// Whether a value is wide text; for a parameter, its SQL type decides if its C type doesn't.
bool IsWide(SQLSMALLINT c_type, SQLSMALLINT sql_type = 0)
{
    const bool is_wide_type =
        sql_type == SQL_WCHAR || sql_type == SQL_WVARCHAR || sql_type == SQL_WLONGVARCHAR;
    return c_type == SQL_C_WCHAR || (c_type == SQL_C_DEFAULT && is_wide_type);
}

SQLRETURN Fetch(SQLHSTMT handle, const Statement::Run& fetch)
{
    Statement* statement = Begin(handle);
    return statement != nullptr ? statement->Fetch(fetch) : fetch(handle);
}

SQLRETURN RefuseBoundText(Statement& statement)
{
    return statement.Fail(
        {"HYC00", "columns of wide text are bound; bind SQL_C_CHAR to change rows in place"});
}

}  // namespace

SQLRETURN Execute(SQLHSTMT handle, const std::string& text)
{
    Statement* statement = Handles::Instance().Find(handle);
    const Statement::Run run = [text](SQLHSTMT real) {
        return DRIVERS(SQLExecDirect)(real,
                                      reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str())),
                                      static_cast<SQLINTEGER>(text.size()));
    };
    // Quoted text may contain the character, too; counting too many markers does no harm.
    const auto markers = static_cast<std::size_t>(std::ranges::count(text, '?'));
    return statement != nullptr ? statement->Execute(markers, run) : run(handle);
}

#pragma GCC visibility push(default)

extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output)
{
    Handles::Instance().Begin(input);
    const SQLRETURN code = DRIVERS(SQLAllocHandle)(type, input, output);
    if (SQL_SUCCEEDED(code) && type == SQL_HANDLE_STMT) {
        Handles::Instance().Add(*output, input, OwnForm());
    }
    return code;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle)
{
    Handles::Instance().Begin(handle);
    const SQLRETURN code = DRIVERS(SQLFreeHandle)(type, handle);
    if (SQL_SUCCEEDED(code)) {
        Handles::Instance().Remove(handle);
    }
    return code;
}

SQLRETURN SQLFreeStmt(SQLHSTMT handle, SQLUSMALLINT option)
{
    Statement* statement = Begin(handle);
    const SQLRETURN code = DRIVERS(SQLFreeStmt)(handle, option);
    if (statement != nullptr && SQL_SUCCEEDED(code)) {
        statement->Free(option);
    }
    if (SQL_SUCCEEDED(code) && option == SQL_DROP) {
        Handles::Instance().Remove(handle);
    }
    return code;
}

SQLRETURN SQLDisconnect(SQLHDBC connection)
{
    Handles::Instance().Begin(connection);
    const SQLRETURN code = DRIVERS(SQLDisconnect)(connection);
    if (SQL_SUCCEEDED(code)) {
        Handles::Instance().RemoveOf(connection);
    }
    return code;
}

SQLRETURN SQLSetStmtAttr(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER size)
{
    Statement* statement = Begin(handle);
    const SQLRETURN code = DRIVERS(SQLSetStmtAttr)(handle, attribute, value, size);
    if (statement != nullptr && SQL_SUCCEEDED(code)) {
        statement->NoteAttribute(attribute, value);
    }
    return code;
}

SQLRETURN SQLBindParameter(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT io_type,
                           SQLSMALLINT c_type, SQLSMALLINT sql_type, SQLULEN size,
                           SQLSMALLINT digits, SQLPOINTER text, SQLLEN room, SQLLEN* indicator)
{
    Statement* statement = Begin(handle);
    if (statement != nullptr && IsWide(c_type, sql_type)) {
        return statement->BindParameter(number, {io_type, sql_type, size, digits},
                                        {text, room, indicator});
    }
    const SQLRETURN code = DRIVERS(SQLBindParameter)(handle, number, io_type, c_type, sql_type,
                                                     size, digits, text, room, indicator);
    if (statement != nullptr && SQL_SUCCEEDED(code)) {
        statement->ForgetParameter(number);
    }
    return code;
}

SQLRETURN SQLBindCol(SQLHSTMT handle, SQLUSMALLINT number, SQLSMALLINT c_type, SQLPOINTER text,
                     SQLLEN room, SQLLEN* indicator)
{
    Statement* statement = Begin(handle);
    if (statement != nullptr && c_type == SQL_C_WCHAR && text != nullptr) {
        return statement->BindColumn(number, {text, room, indicator});
    }
    const SQLRETURN code = DRIVERS(SQLBindCol)(handle, number, c_type, text, room, indicator);
    if (statement != nullptr && SQL_SUCCEEDED(code)) {
        statement->ForgetColumn(number);
    }
    return code;
}

SQLRETURN SQLGetData(SQLHSTMT handle, SQLUSMALLINT column, SQLSMALLINT c_type, SQLPOINTER to,
                     SQLLEN size, SQLLEN* indicator)
{
    Statement* statement = Begin(handle);
    if (statement != nullptr && c_type == SQL_C_WCHAR) {
        return statement->Read(column, to, size, indicator);
    }
    if (statement != nullptr) {
        statement->ForgetRead();
    }
    return DRIVERS(SQLGetData)(handle, column, c_type, to, size, indicator);
}

SQLRETURN SQLExecute(SQLHSTMT handle)
{
    Statement* statement = Begin(handle);
    return statement != nullptr ? statement->ExecutePrepared() : DRIVERS(SQLExecute)(handle);
}

SQLRETURN SQLExecDirect(SQLHSTMT handle, SQLCHAR* text, SQLINTEGER length)
{
    Begin(handle);
    const auto* characters = reinterpret_cast<const char*>(text);
    return text == nullptr || (length < 0 && length != SQL_NTS)
               ? DRIVERS(SQLExecDirect)(handle, text, length)
               : Execute(handle, length == SQL_NTS
                                     ? std::string(characters)
                                     : std::string(characters, static_cast<std::size_t>(length)));
}

SQLRETURN SQLParamData(SQLHSTMT handle, SQLPOINTER* token)
{
    Statement* statement = Begin(handle);
    if (statement == nullptr) {
        return DRIVERS(SQLParamData)(handle, token);
    }
    return statement->IsCollecting()
               ? statement->NextAwaited(token)
               : statement->DeliverParameters(DRIVERS(SQLParamData)(handle, token));
}

SQLRETURN SQLPutData(SQLHSTMT handle, SQLPOINTER data, SQLLEN size)
{
    Statement* statement = Begin(handle);
    return statement != nullptr && statement->IsCollecting()
               ? statement->TakePiece(data, size)
               : DRIVERS(SQLPutData)(handle, data, size);
}

SQLRETURN SQLCancel(SQLHSTMT handle)
{
    Statement* statement = Begin(handle);
    if (statement != nullptr && statement->IsCollecting()) {
        statement->StopCollecting();
        return SQL_SUCCESS;
    }
    return DRIVERS(SQLCancel)(handle);
}

SQLRETURN SQLFetch(SQLHSTMT handle)
{
    return Fetch(handle, DRIVERS(SQLFetch));
}

SQLRETURN SQLFetchScroll(SQLHSTMT handle, SQLSMALLINT orientation, SQLLEN offset)
{
    return Fetch(handle,
                 [=](SQLHSTMT real) { return DRIVERS(SQLFetchScroll)(real, orientation, offset); });
}

SQLRETURN SQLExtendedFetch(SQLHSTMT handle, SQLUSMALLINT orientation, SQLLEN offset,
                           SQLULEN* fetched, SQLUSMALLINT* states)
{
    Statement* statement = Begin(handle);
    const auto fetch = [=](SQLHSTMT real) {
        return DRIVERS(SQLExtendedFetch)(real, orientation, offset, fetched, states);
    };
    return statement != nullptr ? statement->ExtendedFetch(fetch) : fetch(handle);
}

SQLRETURN SQLSetPos(SQLHSTMT handle, SQLSETPOSIROW row, SQLUSMALLINT operation, SQLUSMALLINT lock)
{
    Statement* statement = Begin(handle);
    if (statement == nullptr) {
        return DRIVERS(SQLSetPos)(handle, row, operation, lock);
    }
    const bool reads_buffers = operation == SQL_UPDATE || operation == SQL_ADD;
    if (statement->HasColumns() && reads_buffers) {
        return RefuseBoundText(*statement);
    }
    return statement->Fetch(
        [=](SQLHSTMT real) { return DRIVERS(SQLSetPos)(real, row, operation, lock); });
}

SQLRETURN SQLBulkOperations(SQLHSTMT handle, SQLSMALLINT operation)
{
    Statement* statement = Begin(handle);
    if (statement == nullptr) {
        return DRIVERS(SQLBulkOperations)(handle, operation);
    }
    const bool reads_buffers = operation == SQL_ADD || operation == SQL_UPDATE_BY_BOOKMARK;
    if (statement->HasColumns() && reads_buffers) {
        return RefuseBoundText(*statement);
    }
    return statement->Fetch(
        [=](SQLHSTMT real) { return DRIVERS(SQLBulkOperations)(real, operation); });
}

SQLRETURN SQLMoreResults(SQLHSTMT handle)
{
    Statement* statement = Begin(handle);
    if (statement == nullptr) {
        return DRIVERS(SQLMoreResults)(handle);
    }
    statement->ForgetRead();
    return statement->DeliverParameters(DRIVERS(SQLMoreResults)(handle));
}

SQLRETURN SQLCloseCursor(SQLHSTMT handle)
{
    if (Statement* statement = Begin(handle); statement != nullptr) {
        statement->ForgetRead();
    }
    return DRIVERS(SQLCloseCursor)(handle);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
