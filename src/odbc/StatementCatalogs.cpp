// CStatement: the catalog functions of ODBC.
#include <sqlext.h>
#include <sqlucode.h>

#include "odbc/Statement.h"

SQLRETURN CStatement::Tables(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                             SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length,
                             SQLCHAR* type, SQLSMALLINT type_length)
{
    return SQLTables(handle_, catalog, catalog_length, schema, schema_length, table, table_length,
                     type, type_length);
}

SQLRETURN CStatement::TablesW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                              SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length,
                              SQLWCHAR* type, SQLSMALLINT type_length)
{
    return SQLTablesW(handle_, catalog, catalog_length, schema, schema_length, table, table_length,
                      type, type_length);
}

SQLRETURN CStatement::Columns(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                              SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length,
                              SQLCHAR* column, SQLSMALLINT column_length)
{
    return SQLColumns(handle_, catalog, catalog_length, schema, schema_length, table, table_length,
                      column, column_length);
}

SQLRETURN CStatement::ColumnsW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                               SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length,
                               SQLWCHAR* column, SQLSMALLINT column_length)
{
    return SQLColumnsW(handle_, catalog, catalog_length, schema, schema_length, table, table_length,
                       column, column_length);
}

SQLRETURN CStatement::ColumnPrivileges(SQLCHAR* catalog, SQLSMALLINT catalog_length,
                                       SQLCHAR* schema, SQLSMALLINT schema_length, SQLCHAR* table,
                                       SQLSMALLINT table_length, SQLCHAR* column,
                                       SQLSMALLINT column_length)
{
    return SQLColumnPrivileges(handle_, catalog, catalog_length, schema, schema_length, table,
                               table_length, column, column_length);
}

SQLRETURN CStatement::ColumnPrivilegesW(SQLWCHAR* catalog, SQLSMALLINT catalog_length,
                                        SQLWCHAR* schema, SQLSMALLINT schema_length,
                                        SQLWCHAR* table, SQLSMALLINT table_length, SQLWCHAR* column,
                                        SQLSMALLINT column_length)
{
    return SQLColumnPrivilegesW(handle_, catalog, catalog_length, schema, schema_length, table,
                                table_length, column, column_length);
}

SQLRETURN CStatement::TablePrivileges(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                                      SQLSMALLINT schema_length, SQLCHAR* table,
                                      SQLSMALLINT table_length)
{
    return SQLTablePrivileges(handle_, catalog, catalog_length, schema, schema_length, table,
                              table_length);
}

SQLRETURN CStatement::TablePrivilegesW(SQLWCHAR* catalog, SQLSMALLINT catalog_length,
                                       SQLWCHAR* schema, SQLSMALLINT schema_length, SQLWCHAR* table,
                                       SQLSMALLINT table_length)
{
    return SQLTablePrivilegesW(handle_, catalog, catalog_length, schema, schema_length, table,
                               table_length);
}

SQLRETURN CStatement::Procedures(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                                 SQLSMALLINT schema_length, SQLCHAR* procedure,
                                 SQLSMALLINT procedure_length)
{
    return SQLProcedures(handle_, catalog, catalog_length, schema, schema_length, procedure,
                         procedure_length);
}

SQLRETURN CStatement::ProceduresW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                                  SQLSMALLINT schema_length, SQLWCHAR* procedure,
                                  SQLSMALLINT procedure_length)
{
    return SQLProceduresW(handle_, catalog, catalog_length, schema, schema_length, procedure,
                          procedure_length);
}

SQLRETURN CStatement::ProcedureColumns(SQLCHAR* catalog, SQLSMALLINT catalog_length,
                                       SQLCHAR* schema, SQLSMALLINT schema_length,
                                       SQLCHAR* procedure, SQLSMALLINT procedure_length,
                                       SQLCHAR* column, SQLSMALLINT column_length)
{
    return SQLProcedureColumns(handle_, catalog, catalog_length, schema, schema_length, procedure,
                               procedure_length, column, column_length);
}

SQLRETURN CStatement::ProcedureColumnsW(SQLWCHAR* catalog, SQLSMALLINT catalog_length,
                                        SQLWCHAR* schema, SQLSMALLINT schema_length,
                                        SQLWCHAR* procedure, SQLSMALLINT procedure_length,
                                        SQLWCHAR* column, SQLSMALLINT column_length)
{
    return SQLProcedureColumnsW(handle_, catalog, catalog_length, schema, schema_length, procedure,
                                procedure_length, column, column_length);
}

SQLRETURN CStatement::PrimaryKeys(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                                  SQLSMALLINT schema_length, SQLCHAR* table,
                                  SQLSMALLINT table_length)
{
    return SQLPrimaryKeys(handle_, catalog, catalog_length, schema, schema_length, table,
                          table_length);
}

SQLRETURN CStatement::PrimaryKeysW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                                   SQLSMALLINT schema_length, SQLWCHAR* table,
                                   SQLSMALLINT table_length)
{
    return SQLPrimaryKeysW(handle_, catalog, catalog_length, schema, schema_length, table,
                           table_length);
}

SQLRETURN CStatement::SpecialColumns(SQLUSMALLINT identifier_type, SQLCHAR* catalog,
                                     SQLSMALLINT catalog_length, SQLCHAR* schema,
                                     SQLSMALLINT schema_length, SQLCHAR* table,
                                     SQLSMALLINT table_length, SQLUSMALLINT scope,
                                     SQLUSMALLINT nullable)
{
    return SQLSpecialColumns(handle_, identifier_type, catalog, catalog_length, schema,
                             schema_length, table, table_length, scope, nullable);
}

SQLRETURN CStatement::SpecialColumnsW(SQLUSMALLINT identifier_type, SQLWCHAR* catalog,
                                      SQLSMALLINT catalog_length, SQLWCHAR* schema,
                                      SQLSMALLINT schema_length, SQLWCHAR* table,
                                      SQLSMALLINT table_length, SQLUSMALLINT scope,
                                      SQLUSMALLINT nullable)
{
    return SQLSpecialColumnsW(handle_, identifier_type, catalog, catalog_length, schema,
                              schema_length, table, table_length, scope, nullable);
}

SQLRETURN CStatement::Statistics(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                                 SQLSMALLINT schema_length, SQLCHAR* table,
                                 SQLSMALLINT table_length, SQLUSMALLINT unique)
{
    return SQLStatistics(handle_, catalog, catalog_length, schema, schema_length, table,
                         table_length, unique, SQL_ENSURE);
}

SQLRETURN CStatement::StatisticsW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                                  SQLSMALLINT schema_length, SQLWCHAR* table,
                                  SQLSMALLINT table_length, SQLUSMALLINT unique)
{
    return SQLStatisticsW(handle_, catalog, catalog_length, schema, schema_length, table,
                          table_length, unique, SQL_ENSURE);
}

SQLRETURN CStatement::ForeignKeys(SQLCHAR* pk_catalog, SQLSMALLINT pk_catalog_length,
                                  SQLCHAR* pk_schema, SQLSMALLINT pk_schema_length,
                                  SQLCHAR* pk_table, SQLSMALLINT pk_table_length,
                                  SQLCHAR* fk_catalog, SQLSMALLINT fk_catalog_length,
                                  SQLCHAR* fk_schema, SQLSMALLINT fk_schema_length,
                                  SQLCHAR* fk_table, SQLSMALLINT fk_table_length)
{
    return SQLForeignKeys(handle_, pk_catalog, pk_catalog_length, pk_schema, pk_schema_length,
                          pk_table, pk_table_length, fk_catalog, fk_catalog_length, fk_schema,
                          fk_schema_length, fk_table, fk_table_length);
}

SQLRETURN CStatement::ForeignKeysW(SQLWCHAR* pk_catalog, SQLSMALLINT pk_catalog_length,
                                   SQLWCHAR* pk_schema, SQLSMALLINT pk_schema_length,
                                   SQLWCHAR* pk_table, SQLSMALLINT pk_table_length,
                                   SQLWCHAR* fk_catalog, SQLSMALLINT fk_catalog_length,
                                   SQLWCHAR* fk_schema, SQLSMALLINT fk_schema_length,
                                   SQLWCHAR* fk_table, SQLSMALLINT fk_table_length)
{
    return SQLForeignKeysW(handle_, pk_catalog, pk_catalog_length, pk_schema, pk_schema_length,
                           pk_table, pk_table_length, fk_catalog, fk_catalog_length, fk_schema,
                           fk_schema_length, fk_table, fk_table_length);
}
