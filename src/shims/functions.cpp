// The narrow functions of an ODBC 3 driver that both shims forward unchanged. Each passes its
// arguments, including handles, to the real driver's function.
#include "shims/forward.h"

#pragma GCC visibility push(default)

extern "C" {

// Names of arguments would say no more here than their positions.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
// clang-format off
F6(SQLBrowseConnect) F9(SQLColumnPrivileges) F9(SQLColumns) F7(SQLColAttribute) F7(SQLConnect)
F2(SQLCopyDesc) F8(SQLDriverConnect)
F9(SQLDescribeCol) F6(SQLDescribeParam) F3(SQLEndTran) F13(SQLForeignKeys)
F5(SQLGetConnectAttr) F4(SQLGetCursorName) F6(SQLGetDescField) F11(SQLGetDescRec)
F5(SQLGetEnvAttr) F3(SQLGetFunctions) F5(SQLGetInfo) F5(SQLGetStmtAttr) F2(SQLGetTypeInfo)
F6(SQLNativeSql) F2(SQLNumParams) F2(SQLNumResultCols) F3(SQLPrepare) F7(SQLPrimaryKeys)
F9(SQLProcedureColumns) F7(SQLProcedures) F2(SQLRowCount) F4(SQLSetConnectAttr)
F3(SQLSetCursorName) F5(SQLSetDescField) F10(SQLSetDescRec) F4(SQLSetEnvAttr)
F10(SQLSpecialColumns) F9(SQLStatistics) F7(SQLTablePrivileges) F9(SQLTables)
// clang-format on
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
