// Codes that ODBC returns, and those that the library returns instead.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include "orvelgw.h"

/// SQL_SUCCESS or SQL_SUCCESS_WITH_INFO. As an unsigned number every negative code is above them.
inline bool Succeeded(SQLRETURN code)
{
    return static_cast<unsigned short>(code) <= SQL_SUCCESS_WITH_INFO;
}

/// The library's own codes, in addition to ODBC's. orvelgw.h says when a host receives them.
inline constexpr SQLRETURN kUnknownHandle = ORVEL_UNKNOWN_HANDLE;
inline constexpr SQLRETURN kOutOfRange = ORVEL_ERROR;
inline constexpr SQLRETURN kStatementTooLong = ORVEL_STATEMENT_TOO_LONG;
inline constexpr SQLRETURN kTooMuchData = ORVEL_TOO_MUCH_DATA;

/// An integer attribute as ODBC takes it: sign-extended, as a pointer.
inline SQLPOINTER AsPointer(SQLLEN value)
{
    return reinterpret_cast<SQLPOINTER>(value);
}

/// Text as ODBC takes it: its interface has no const.
inline SQLCHAR* AsText(const char* text)
{
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text));
}
