// The narrow shim: the narrow functions of an ODBC 3 driver, and SQLExtendedFetch, which ODBC 2
// programs also need. All of them are forwarded unchanged.
//
// Omitted are functions that iODBC 3.52.9 prefers to others if a driver exports them, but that not
// every driver has: the rest of ODBC 2 (psqlodbcw.so 13.02 has none of it), SQLBindParam and
// SQLSetParam (libmaodbc.so 3.1.15 lacks the first). Shown by
// NarrowShim.ExportsWhatEveryDriverHasAndTheWideShimMore.
#include "shims/forward.h"

std::string_view ShimName()
{
    return "Narrow shim";
}

std::span<const std::string_view> Prefixes()
{
    static constexpr std::string_view kPrefixes[] = {"narrow-"};
    return kPrefixes;
}

void BeginCall(SQLHANDLE /*handle*/)
{}

#pragma GCC visibility push(default)

extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
// clang-format off
F3(SQLAllocHandle) F6(SQLBindCol) F10(SQLBindParameter)
F2(SQLBulkOperations) F1(SQLCancel) F1(SQLCloseCursor) F1(SQLDisconnect)
F3(SQLExecDirect) F1(SQLExecute) F5(SQLExtendedFetch) F1(SQLFetch)
F3(SQLFetchScroll) F2(SQLFreeHandle) F2(SQLFreeStmt) F6(SQLGetData) F7(SQLGetDiagField)
F8(SQLGetDiagRec) F1(SQLMoreResults) F2(SQLParamData) F3(SQLPutData) F4(SQLSetPos)
F4(SQLSetStmtAttr)
// clang-format on
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
