// Which of the numbered attributes and fields of ODBC's functions are text.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <iterator>

inline constexpr int kTextInformation[] = {SQL_ACCESSIBLE_PROCEDURES,
                                           SQL_ACCESSIBLE_TABLES,
                                           SQL_CATALOG_NAME,
                                           SQL_CATALOG_NAME_SEPARATOR,
                                           SQL_CATALOG_TERM,
                                           SQL_COLLATION_SEQ,
                                           SQL_COLUMN_ALIAS,
                                           SQL_DATA_SOURCE_NAME,
                                           SQL_DATA_SOURCE_READ_ONLY,
                                           SQL_DATABASE_NAME,
                                           SQL_DBMS_NAME,
                                           SQL_DBMS_VER,
                                           SQL_DESCRIBE_PARAMETER,
                                           SQL_DM_VER,
                                           SQL_DRIVER_NAME,
                                           SQL_DRIVER_ODBC_VER,
                                           SQL_DRIVER_VER,
                                           SQL_EXPRESSIONS_IN_ORDERBY,
                                           SQL_IDENTIFIER_QUOTE_CHAR,
                                           SQL_INTEGRITY,
                                           SQL_KEYWORDS,
                                           SQL_LIKE_ESCAPE_CLAUSE,
                                           SQL_MAX_ROW_SIZE_INCLUDES_LONG,
                                           SQL_MULT_RESULT_SETS,
                                           SQL_MULTIPLE_ACTIVE_TXN,
                                           SQL_NEED_LONG_DATA_LEN,
                                           SQL_ODBC_VER,
                                           SQL_ORDER_BY_COLUMNS_IN_SELECT,
                                           SQL_OUTER_JOINS,
                                           SQL_PROCEDURE_TERM,
                                           SQL_PROCEDURES,
                                           SQL_ROW_UPDATES,
                                           SQL_SCHEMA_TERM,
                                           SQL_SEARCH_PATTERN_ESCAPE,
                                           SQL_SERVER_NAME,
                                           SQL_SPECIAL_CHARACTERS,
                                           SQL_TABLE_TERM,
                                           SQL_USER_NAME,
                                           SQL_XOPEN_CLI_YEAR};

inline constexpr int kTextOfColumns[] = {
    SQL_COLUMN_NAME, SQL_DESC_BASE_COLUMN_NAME, SQL_DESC_BASE_TABLE_NAME, SQL_DESC_CATALOG_NAME,
    SQL_DESC_LABEL,  SQL_DESC_LITERAL_PREFIX,   SQL_DESC_LITERAL_SUFFIX,  SQL_DESC_LOCAL_TYPE_NAME,
    SQL_DESC_NAME,   SQL_DESC_SCHEMA_NAME,      SQL_DESC_TABLE_NAME,      SQL_DESC_TYPE_NAME};

inline constexpr int kTextAttributes[] = {SQL_ATTR_CURRENT_CATALOG, SQL_ATTR_TRACEFILE,
                                          SQL_ATTR_TRANSLATE_LIB};

inline constexpr int kTextOfDiagnostics[] = {SQL_DIAG_CLASS_ORIGIN,     SQL_DIAG_CONNECTION_NAME,
                                             SQL_DIAG_DYNAMIC_FUNCTION, SQL_DIAG_MESSAGE_TEXT,
                                             SQL_DIAG_SERVER_NAME,      SQL_DIAG_SQLSTATE,
                                             SQL_DIAG_SUBCLASS_ORIGIN};

template <class Table>
bool IsIn(const Table& table, int number)
{
    return std::ranges::find(table, number) != std::end(table);
}
