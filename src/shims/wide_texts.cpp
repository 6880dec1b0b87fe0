// The wide functions of the wide shim, in terms of the driver's narrow ones. ODBC defines for each
// function which lengths count characters and which count bytes: those of arguments that can hold
// something other than text count bytes. ODBC 2 is omitted, as in narrow.cpp.
#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include "shims/text_fields.h"
#include "shims/wide.h"
#include "shims/wide_text.h"

namespace {

using Name = InText<SQLSMALLINT>;
using Sql = InText<SQLINTEGER>;
using OutName = OutText<SQLSMALLINT>;
using OutSql = OutText<SQLINTEGER>;

/// A call whose first argument is the handle that its diagnostics belong to.
template <auto* function, class... Roles>
SQLRETURN CallOn(const char* name, SQLHANDLE handle, Roles... roles)
{
    Handles::Instance().Begin(handle);
    return CallNarrow<function>(name, handle, handle, std::move(roles)...);
}
#define NARROW(f, ...) CallOn<&f>(#f, __VA_ARGS__)

}  // namespace

#pragma GCC visibility push(default)

extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

// Statements

SQLRETURN SQLPrepareW(SQLHSTMT handle, SQLWCHAR* text, SQLINTEGER length)
{
    return NARROW(SQLPrepare, handle, Sql(text, length));
}

SQLRETURN SQLExecDirectW(SQLHSTMT handle, SQLWCHAR* text, SQLINTEGER length)
{
    Handles::Instance().Begin(handle);
    const Sql narrow(text, length);
    if (narrow.Fault() != nullptr) {
        Handles::Instance().Diagnose(handle, *narrow.Fault());
        return SQL_ERROR;
    }
    return Execute(handle, narrow.Text());
}

SQLRETURN SQLNativeSqlW(SQLHDBC handle, SQLWCHAR* in, SQLINTEGER in_length, SQLWCHAR* out,
                        SQLINTEGER capacity, SQLINTEGER* out_length)
{
    return NARROW(SQLNativeSql, handle, Sql(in, in_length), OutSql(out, capacity, out_length));
}

SQLRETURN SQLSetCursorNameW(SQLHSTMT handle, SQLWCHAR* name, SQLSMALLINT length)
{
    return NARROW(SQLSetCursorName, handle, Name(name, length));
}

SQLRETURN SQLGetCursorNameW(SQLHSTMT handle, SQLWCHAR* name, SQLSMALLINT capacity,
                            SQLSMALLINT* length)
{
    return NARROW(SQLGetCursorName, handle, OutName(name, capacity, length));
}

// Columns

SQLRETURN SQLDescribeColW(SQLHSTMT handle, SQLUSMALLINT column, SQLWCHAR* name,
                          SQLSMALLINT capacity, SQLSMALLINT* length, SQLSMALLINT* type,
                          SQLULEN* size, SQLSMALLINT* digits, SQLSMALLINT* nullable)
{
    return NARROW(SQLDescribeCol, handle, column, OutName(name, capacity, length), type, size,
                  digits, nullable);
}

SQLRETURN SQLColAttributeW(SQLHSTMT handle, SQLUSMALLINT column, SQLUSMALLINT field,
                           SQLPOINTER text, SQLSMALLINT capacity, SQLSMALLINT* length,
                           SQLLEN* number)
{
    return NARROW(SQLColAttribute, handle, column, field,
                  OutField<SQLSMALLINT>(IsIn(kTextOfColumns, field), text, capacity, length),
                  number);
}

// Attributes, information and descriptors

SQLRETURN SQLGetInfoW(SQLHDBC handle, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT capacity,
                      SQLSMALLINT* length)
{
    return NARROW(SQLGetInfo, handle, type,
                  OutField<SQLSMALLINT>(IsIn(kTextInformation, type), value, capacity, length));
}

SQLRETURN SQLGetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                             SQLINTEGER capacity, SQLINTEGER* length)
{
    return NARROW(SQLGetConnectAttr, handle, attribute,
                  OutField<SQLINTEGER>(IsIn(kTextAttributes, attribute), value, capacity, length));
}

SQLRETURN SQLSetConnectAttrW(SQLHDBC handle, SQLINTEGER attribute, SQLPOINTER value,
                             SQLINTEGER length)
{
    return NARROW(SQLSetConnectAttr, handle, attribute,
                  InField<SQLINTEGER>(IsIn(kTextAttributes, attribute), value, length));
}

SQLRETURN SQLGetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                          SQLINTEGER capacity, SQLINTEGER* length)
{
    return NARROW(SQLGetStmtAttr, handle, attribute, value, capacity, length);
}

SQLRETURN SQLSetStmtAttrW(SQLHSTMT handle, SQLINTEGER attribute, SQLPOINTER value,
                          SQLINTEGER length)
{
    return SQLSetStmtAttr(handle, attribute, value, length);
}

SQLRETURN SQLGetDescFieldW(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                           SQLINTEGER capacity, SQLINTEGER* length)
{
    return NARROW(SQLGetDescField, handle, record, field,
                  OutField<SQLINTEGER>(IsIn(kTextOfColumns, field), value, capacity, length));
}

SQLRETURN SQLSetDescFieldW(SQLHDESC handle, SQLSMALLINT record, SQLSMALLINT field, SQLPOINTER value,
                           SQLINTEGER length)
{
    return NARROW(SQLSetDescField, handle, record, field,
                  InField<SQLINTEGER>(IsIn(kTextOfColumns, field), value, length));
}

SQLRETURN SQLGetDescRecW(SQLHDESC handle, SQLSMALLINT record, SQLWCHAR* name, SQLSMALLINT capacity,
                         SQLSMALLINT* name_length, SQLSMALLINT* type, SQLSMALLINT* subtype,
                         SQLLEN* length, SQLSMALLINT* precision, SQLSMALLINT* scale,
                         SQLSMALLINT* nullable)
{
    return NARROW(SQLGetDescRec, handle, record, OutName(name, capacity, name_length), type,
                  subtype, length, precision, scale, nullable);
}

// Catalogs: the lengths of names are in characters

#define NAME(name) SQLWCHAR *name, SQLSMALLINT name##_length
#define TEXT(name) Name(name, name##_length)

SQLRETURN SQLGetTypeInfoW(SQLHSTMT handle, SQLSMALLINT type)
{
    return NARROW(SQLGetTypeInfo, handle, type);
}

SQLRETURN SQLTablesW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table), NAME(types))
{
    return NARROW(SQLTables, handle, TEXT(catalog), TEXT(schema), TEXT(table), TEXT(types));
}

SQLRETURN SQLColumnsW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table), NAME(column))
{
    return NARROW(SQLColumns, handle, TEXT(catalog), TEXT(schema), TEXT(table), TEXT(column));
}

SQLRETURN SQLTablePrivilegesW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table))
{
    return NARROW(SQLTablePrivileges, handle, TEXT(catalog), TEXT(schema), TEXT(table));
}

SQLRETURN SQLColumnPrivilegesW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table),
                               NAME(column))
{
    return NARROW(SQLColumnPrivileges, handle, TEXT(catalog), TEXT(schema), TEXT(table),
                  TEXT(column));
}

SQLRETURN SQLPrimaryKeysW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table))
{
    return NARROW(SQLPrimaryKeys, handle, TEXT(catalog), TEXT(schema), TEXT(table));
}

SQLRETURN SQLForeignKeysW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table),
                          NAME(other_catalog), NAME(other_schema), NAME(other_table))
{
    return NARROW(SQLForeignKeys, handle, TEXT(catalog), TEXT(schema), TEXT(table),
                  TEXT(other_catalog), TEXT(other_schema), TEXT(other_table));
}

SQLRETURN SQLSpecialColumnsW(SQLHSTMT handle, SQLUSMALLINT type, NAME(catalog), NAME(schema),
                             NAME(table), SQLUSMALLINT scope, SQLUSMALLINT nullable)
{
    return NARROW(SQLSpecialColumns, handle, type, TEXT(catalog), TEXT(schema), TEXT(table), scope,
                  nullable);
}

SQLRETURN SQLStatisticsW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(table),
                         SQLUSMALLINT unique, SQLUSMALLINT accuracy)
{
    return NARROW(SQLStatistics, handle, TEXT(catalog), TEXT(schema), TEXT(table), unique,
                  accuracy);
}

SQLRETURN SQLProceduresW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(procedure))
{
    return NARROW(SQLProcedures, handle, TEXT(catalog), TEXT(schema), TEXT(procedure));
}

SQLRETURN SQLProcedureColumnsW(SQLHSTMT handle, NAME(catalog), NAME(schema), NAME(procedure),
                               NAME(column))
{
    return NARROW(SQLProcedureColumns, handle, TEXT(catalog), TEXT(schema), TEXT(procedure),
                  TEXT(column));
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
