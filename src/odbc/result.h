// What an ODBC call answered, and what the library answers in its place.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include "orvelgw.h"

/// SQL_SUCCESS or SQL_SUCCESS_WITH_INFO. Every negative code is above them as an unsigned number.
inline bool Succeeded(SQLRETURN code)
{
    return static_cast<unsigned short>(code) <= SQL_SUCCESS_WITH_INFO;
}

/// Codes of the library's own, beside those of ODBC. orvelgw.h says when a host meets them.
inline constexpr SQLRETURN kUnknownHandle = ORVEL_UNKNOWN_HANDLE;
inline constexpr SQLRETURN kOutOfRange = ORVEL_ERROR;
inline constexpr SQLRETURN kStatementTooLong = ORVEL_STATEMENT_TOO_LONG;
inline constexpr SQLRETURN kTooMuchData = ORVEL_TOO_MUCH_DATA;

/// An integer attribute as ODBC takes it: in the place of a pointer, sign-extended.
inline SQLPOINTER AsPointer(SQLLEN value)
{
    return reinterpret_cast<SQLPOINTER>(value);
}

/// Text as ODBC takes it: the interface has no const.
inline SQLCHAR* AsText(const char* text)
{
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text));
}
