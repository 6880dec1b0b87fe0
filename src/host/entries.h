// The exported entries, in the order of the subjects they serve. The arguments of each are those of
// its signature (orvelgw.h); czf.cpp checks that they agree.
#pragma once

#include "orvelgw.h"

#pragma GCC visibility push(default)
extern "C" {

// Connections
int Connect(const char* dsn, const char* uid, const char* pwd, zarray* connection);
int ConnectWithTimeout(const char* dsn, const char* uid, const char* pwd, int timeout,
                       zarray* connection);
int DSNConnect(char* connection_string, zarray* connection);
int DSNConnectWithTimeout(char* connection_string, int timeout, zarray* connection);
int Disconnect(const zarray* connection, int* result);
int RemoveConnection(const zarray* connection, int* result);
int SetConnectOption(const zarray* connection, int attribute, int value, int* result);
int SetStrConnectOption(const zarray* connection, int attribute, const char* value, int* result);
int Transact(const zarray* connection, int completion, int* result);

// Diagnostics
int GetSQLErrors(const zarray* connection, const zarray* statement, zarray* output);
int WasError(int* value);
int GetLastSQLCode(int* value);

// Options and version
int SetLogOption(int value, int* result);
int SetUnicodeOption(int value, int* result);
int SetLegacyOption(int value, int* result);
int GetUV(int* value);
int GetGTWVersion(int* value);
int Test(const char* text);

// Statements
int AllocSt(const zarray* connection, zarray* statement);
int DropStatement(const zarray* statement, int* result);
int PrepareHandle(const zarray* statement, ORVEL_EXSTR* text, int* result);
int PrepareHandleW(const zarray* statement, const zustring* text, int* result);
int PreparseSQL(const zustring* text, int option, const zarray* list, zarray* output);
int Execute(const zarray* statement, int* result);
int MoreResults(const zarray* statement, int* result);
int CloseCursor(const zarray* statement, int* result);
int RowCount(const zarray* statement, int* count);
int NumResultCols(const zarray* statement, int* count);
int SetStmtOption(const zarray* statement, int attribute, int value, int* result);

// Results
int DescribeCols(const zarray* statement, zarray* output);
int NumColAttribute(const zarray* statement, int column, int field, zarray* output);
int StrColAttribute(const zarray* statement, int column, int field, zarray* output);
int StrColAttributeW(const zarray* statement, int column, int field, zarray* output);
int Fetch(const zarray* statement, int* result);
int GetOneRow(const zarray* statement, const zarray* columns, zarray* output);
int ExtendedFetch(const zarray* statement, int rows, zarray* output);
int GetData(const zarray* statement, int column, int c_type, zarray* output);
int GetDataW(const zarray* statement, int column, int c_type, zustring* output);
int GetDataEx(const zarray* statement, int column, int c_type, int length, ORVEL_EXSTR* output);

// Parameters
int Bind(const zarray* statement, const zarray* lengths, const zarray* sql_types,
         const zarray* scales, const zarray* io_types, const zarray* column_sizes, int* result);
int BindParameter(const zarray* statement, int number, int io_type, int c_type, int sql_type,
                  int column_size, int decimal_digits, int length, int* result);
int UnbindParams(const zarray* statement, int* result);
int SetParam(const zarray* statement, ORVEL_EXSTR* value, int number, int* result);
int SetParamBinary(const zarray* statement, ORVEL_EXSTR* value, int number, int* result);
int GetParam(const zarray* statement, int number, ORVEL_EXSTR* output);
int ParamData(const zarray* statement, zarray* output);
int PutData(const zarray* statement, const zarray* data, int* result);
int PutDataW(const zarray* statement, const zustring* data, int* result);
int DescribeParams(const zarray* statement, zarray* output);

// Catalogs
int Tables(const zarray* statement, const zarray* catalog, const zarray* schema,
           const zarray* table, const zarray* table_type, int* result);
int TablesW(const zarray* statement, const zustring* catalog, const zustring* schema,
            const zustring* table, const zustring* table_type, int* result);
int Columns(const zarray* statement, const zarray* catalog, const zarray* schema,
            const zarray* table, const zarray* column, int* result);
int ColumnsW(const zarray* statement, const zustring* catalog, const zustring* schema,
             const zustring* table, const zustring* column, int* result);
int ColumnPrivileges(const zarray* statement, const zarray* catalog, const zarray* schema,
                     const zarray* table, const zarray* column, int* result);
int ColumnPrivilegesW(const zarray* statement, const zustring* catalog, const zustring* schema,
                      const zustring* table, const zustring* column, int* result);
int TablePrivileges(const zarray* statement, const zarray* catalog, const zarray* schema,
                    const zarray* table, int* result);
int TablePrivilegesW(const zarray* statement, const zustring* catalog, const zustring* schema,
                     const zustring* table, int* result);
int Procedures(const zarray* statement, const zarray* catalog, const zarray* schema,
               const zarray* procedure, int* result);
int ProceduresW(const zarray* statement, const zustring* catalog, const zustring* schema,
                const zustring* procedure, int* result);
int ProcedureColumns(const zarray* statement, const zarray* catalog, const zarray* schema,
                     const zarray* procedure, const zarray* column, int* result);
int ProcedureColumnsW(const zarray* statement, const zustring* catalog, const zustring* schema,
                      const zustring* procedure, const zustring* column, int* result);
int PrimaryKeys(const zarray* statement, const zarray* catalog, const zarray* schema,
                const zarray* table, int* result);
int PrimaryKeysW(const zarray* statement, const zustring* catalog, const zustring* schema,
                 const zustring* table, int* result);
int SpecialColumns(const zarray* statement, int identifier_type, const zarray* catalog,
                   const zarray* schema, const zarray* table, int scope, int nullable, int* result);
int SpecialColumnsW(const zarray* statement, int identifier_type, const zustring* catalog,
                    const zustring* schema, const zustring* table, int scope, int nullable,
                    int* result);
int Statistics(const zarray* statement, const zarray* catalog, const zarray* schema,
               const zarray* table, int unique, int* result);
int StatisticsW(const zarray* statement, const zustring* catalog, const zustring* schema,
                const zustring* table, int unique, int* result);
int ForeignKeys(const zarray* statement, const zarray* pk_catalog, const zarray* pk_schema,
                const zarray* pk_table, const zarray* fk_catalog, const zarray* fk_schema,
                const zarray* fk_table, int* result);
int ForeignKeysW(const zarray* statement, const zustring* pk_catalog, const zustring* pk_schema,
                 const zustring* pk_table, const zustring* fk_catalog, const zustring* fk_schema,
                 const zustring* fk_table, int* result);

// Information
int GetInfo(const zarray* connection, int type, zarray* output);
int GetTypeInfo(const zarray* statement, int data_type, int* result);
int DataSources(int direction, zarray* output);

}  // extern "C"
#pragma GCC visibility pop
