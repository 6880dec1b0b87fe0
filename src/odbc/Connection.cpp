#include "odbc/Connection.h"

#include <sqlext.h>

#include <algorithm>

#include "encoding/ZString.h"
#include "odbc/Environment.h"
#include "odbc/OwnedHandle.h"
#include "odbc/Statement.h"
#include "odbc/result.h"

CConnection::CConnection(CEnvironment* environment, SQLHDBC handle)
    : handle_(handle), environment_(environment)
{}

CConnection::~CConnection()
{
    ReleaseAll();
}

CStatement* CConnection::AllocateStatement()
{
    SQLHSTMT allocated = nullptr;
    if (SQLAllocHandle(SQL_HANDLE_STMT, handle_, &allocated) != SQL_SUCCESS) {
        return nullptr;
    }
    StatementHandle handle(allocated);
    CStatement* statement = AddStatement(handle.Get());
    handle.Release();
    return statement;
}

CStatement* CConnection::AddStatement(SQLHSTMT handle)
{
    const auto [place, is_new] =
        statements_.try_emplace(handle, std::make_unique<CStatement>(this, handle));
    try {
        environment_->AddStPointer(place->second.get());
    } catch (...) {
        if (is_new) {
            statements_.erase(place);
        }
        throw;
    }
    return place->second.get();
}

void CConnection::EraseStatement(SQLHSTMT handle)
{
    statements_.erase(handle);
}

void CConnection::ReleaseAll()
{
    for (const auto& [handle, statement] : statements_) {
        environment_->EraseStatement(handle);
    }
    statements_.clear();
}

SQLRETURN CConnection::GetInfo(std::int64_t type, zarray* output)
{
    constexpr SQLSMALLINT kCapacity = 2047;
    char value[kCapacity + 1] = {};
    SQLSMALLINT length = 0;
    const SQLRETURN code =
        SQLGetInfo(handle_, static_cast<SQLUSMALLINT>(type), value, kCapacity, &length);
    ZString list;
    if (!Succeeded(code)) {
        list.AppendNTString("<ERROR>");
    } else if (length <= 0) {
        list.AppendEmptyValue();
    } else {
        // The length of a truncated value is that of the whole.
        list.AppendString(value, static_cast<unsigned long>(std::min(length, kCapacity)));
    }
    list.CopyTo(output);
    return code;
}
