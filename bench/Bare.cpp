#include "Bare.h"

#include <sqlucode.h>

#include <cstdint>
#include <stdexcept>

SQLCHAR* AsText(const std::string& text)
{
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

namespace {

void Require(SQLRETURN code, SQLSMALLINT type, SQLHANDLE handle, const std::string& what)
{
    if (SQL_SUCCEEDED(code)) {
        return;
    }
    SQLCHAR state[6] = {};
    SQLCHAR message[512] = {};
    SQLGetDiagRec(type, handle, 1, state, nullptr, message, sizeof message, nullptr);
    throw std::runtime_error(what + ": " + reinterpret_cast<const char*>(message));
}

}  // namespace

BareConnection::BareConnection(const Source& source, const Mode& mode)
{
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_);
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION,
                  reinterpret_cast<SQLPOINTER>(std::intptr_t{mode.odbc_version}), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_);
    SQLCHAR completed[256] = {};
    SQLSMALLINT length = 0;
    Require(SQLDriverConnect(connection_, nullptr, AsText(source.connection_string), SQL_NTS,
                             completed, sizeof completed, &length, SQL_DRIVER_NOPROMPT),
            SQL_HANDLE_DBC, connection_, source.connection_string);
}

BareConnection::~BareConnection()
{
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
}

void BareConnection::SetAutocommit(bool on) const
{
    const std::intptr_t value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
    Require(
        SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(value), 0),
        SQL_HANDLE_DBC, connection_, "autocommit");
}

void BareConnection::Commit() const
{
    Require(SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_COMMIT), SQL_HANDLE_DBC, connection_,
            "commit");
}

void BareConnection::Rollback() const
{
    Require(SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK), SQL_HANDLE_DBC, connection_,
            "rollback");
}

std::string BareConnection::Information(SQLUSMALLINT type) const
{
    char text[128] = {};
    SQLGetInfo(connection_, type, text, sizeof text - 1, nullptr);
    return text;
}

BareStatement::BareStatement(const BareConnection& connection)
{
    Require(SQLAllocHandle(SQL_HANDLE_STMT, connection.Handle(), &handle_), SQL_HANDLE_DBC,
            connection.Handle(), "a statement");
}

BareStatement::~BareStatement()
{
    SQLFreeHandle(SQL_HANDLE_STMT, handle_);
}

void BareStatement::Prepare(const std::string& sql) const
{
    Require(SQLPrepare(handle_, AsText(sql), SQL_NTS), SQL_HANDLE_STMT, handle_, sql);
}

void BareStatement::Execute() const
{
    Require(SQLExecute(handle_), SQL_HANDLE_STMT, handle_, "execute");
}

void BareStatement::Run(const std::string& sql) const
{
    Require(SQLExecDirect(handle_, AsText(sql), SQL_NTS), SQL_HANDLE_STMT, handle_, sql);
}

void BareStatement::BindInteger(SQLUSMALLINT number, long& value) const
{
    Require(SQLBindParameter(handle_, number, SQL_PARAM_INPUT, SQL_C_SLONG, SQL_INTEGER, 0, 0,
                             &value, sizeof value, nullptr),
            SQL_HANDLE_STMT, handle_, "bind");
}

void BareStatement::BindDouble(SQLUSMALLINT number, double& value) const
{
    Require(SQLBindParameter(handle_, number, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 0, 0,
                             &value, sizeof value, nullptr),
            SQL_HANDLE_STMT, handle_, "bind");
}

void BareStatement::BindText(SQLUSMALLINT number, char* text, std::size_t size,
                             SQLLEN& indicator) const
{
    Require(SQLBindParameter(handle_, number, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, size, 0,
                             text, static_cast<SQLLEN>(size), &indicator),
            SQL_HANDLE_STMT, handle_, "bind");
}

long BareStatement::FetchNumber() const
{
    SQLINTEGER value = 0;
    Require(SQLFetch(handle_), SQL_HANDLE_STMT, handle_, "fetch");
    Require(SQLGetData(handle_, 1, SQL_C_SLONG, &value, sizeof value, nullptr), SQL_HANDLE_STMT,
            handle_, "a number");
    return value;
}

void BareStatement::CloseCursor() const
{
    SQLFreeStmt(handle_, SQL_CLOSE);
}

void ReadColumns(SQLHSTMT statement, const Mode& mode, SQLLEN buffer_bytes)
{
    static wchar_t buffer[1024];  // more than any mode asks for
    for (SQLUSMALLINT column = 1; column <= kColumnCount; ++column) {
        buffer[0] = 0;  // iODBC widens what it finds here where a driver writes nothing
        SQLLEN indicator = 0;
        SQLGetData(statement, column, mode.c_type, buffer, buffer_bytes, &indicator);
    }
}
