#include "odbc/Connection.h"

#include <sqlext.h>

#include "odbc/Environment.h"
#include "odbc/Statement.h"

CConnection::CConnection(CEnvironment* environment, SQLHDBC handle)
    : handle_(handle), environment_(environment)
{}

CConnection::~CConnection()
{
    ReleaseAll();
}

CStatement* CConnection::AllocateStatement()
{
    SQLHSTMT statement = nullptr;
    const SQLRETURN code = SQLAllocHandle(SQL_HANDLE_STMT, handle_, &statement);
    return code == SQL_SUCCESS ? AddStatement(statement) : nullptr;
}

CStatement* CConnection::AddStatement(SQLHSTMT handle)
{
    auto* statement = new CStatement(this, handle);
    statements_.emplace(handle, statement);
    environment_->AddStPointer(statement);
    return statement;
}

void CConnection::EraseStatement(SQLHSTMT handle)
{
    statements_.erase(handle);
}

void CConnection::ReleaseAll()
{
    for (const auto& [handle, statement] : statements_) {
        delete statement;
        environment_->EraseStatement(handle);
    }
    statements_.clear();
}
