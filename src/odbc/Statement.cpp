#include "odbc/Statement.h"

#include <sqlext.h>
#include <sqlucode.h>

#include <string>

#include "encoding/conversions.h"
#include "odbc/Parameter.h"
#include "odbc/result.h"

CStatement::CStatement(CConnection* owner, SQLHSTMT handle) : owner_(owner), handle_(handle)
{}

CStatement::~CStatement()
{
    ReleaseAll();
}

void CStatement::ReleaseAll()
{
    parameters_.clear();
    retired_.clear();
}

SQLRETURN CStatement::Prepare(char* text, int length)
{
    if (text == nullptr) {
        return SQL_ERROR;
    }
    if (length <= 0) {
        return SQLPrepare(handle_, AsText(text), length);
    }
    // psqlodbca.so 13.02 reads up to a zero, whatever the length (tests/results_test.cpp,
    // ScriptedTest.PreparesTextOfAnyWidth, whose driver manager does so). Compared to SQLPrepare
    // the cost of a copy is not measurable.
    const std::string terminated(text, static_cast<std::size_t>(length));
    return SQLPrepare(handle_, AsText(terminated.c_str()), length);
}

SQLRETURN CStatement::PrepareW(wchar_t* text)
{
    if (text == nullptr) {
        return SQL_ERROR;
    }
    return SQLPrepareW(handle_, text, ucslen(text));
}

SQLRETURN CStatement::Execute()
{
    ++executions_;
    return SQLExecute(handle_);
}

SQLRETURN CStatement::RowCount(int* count)
{
    SQLLEN rows = 0;
    const SQLRETURN code = SQLRowCount(handle_, &rows);
    *count = static_cast<int>(rows);
    return code;
}

SQLRETURN CStatement::Fetch()
{
    return SQLFetch(handle_);
}

SQLRETURN CStatement::NumColAttribute(SQLUSMALLINT column, SQLUSMALLINT field, SQLLEN* value)
{
    return SQLColAttribute(handle_, column, field, nullptr, 0, nullptr, value);
}

SQLRETURN CStatement::StrColAttribute(SQLUSMALLINT column, SQLUSMALLINT field, char* text,
                                      SQLSMALLINT capacity, SQLSMALLINT* length)
{
    return SQLColAttribute(handle_, column, field, text, capacity, length, nullptr);
}

SQLRETURN CStatement::StrColAttributeW(SQLUSMALLINT column, SQLUSMALLINT field, wchar_t* text,
                                       SQLSMALLINT capacity, SQLSMALLINT* length)
{
    return SQLColAttributeW(handle_, column, field, text, capacity, length, nullptr);
}
