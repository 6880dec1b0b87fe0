// The functions of the shim: the narrow functions of an ODBC 3 driver, and SQLExtendedFetch, which
// ODBC 2 programs need besides. Each hands its arguments, handles among them, to the real driver's
// function untouched.
//
// Left out is what iODBC 3.52.9 prefers to another function wherever a driver exports it, and not
// every driver has: the rest of ODBC 2 (psqlodbcw.so 13.02 has none of it), SQLBindParam and
// SQLSetParam (libmaodbc.so 3.1.15 lacks the first). Shown by NarrowShim.ExportsWhatEveryDriverHas.
#include <sql.h>
#include <sqlext.h>

#include <tuple>
#include <type_traits>

#include "narrow/RealDriver.h"
#include "narrow/instead.h"

namespace {

/// The types of a function's arguments, which its prototype in ODBC's headers tells.
template <class Function>
struct Arguments;

template <class... Types>
struct Arguments<SQLRETURN(Types...)> {
    template <std::size_t index>
    using At = std::tuple_element_t<index, std::tuple<Types...>>;
};

/// The function that does the work: the driver's, or what stands in for it.
template <class Function>
Function* Real(const char* name)
{
    const RealDriver& driver = RealDriver::Instance();
    void* found = driver.Find(name);
    if (!driver.IsLoaded()) {
        found = WithoutDriver(name);
    }
    return found != nullptr ? reinterpret_cast<Function*>(found) : &Missing<Function>::Answer;
}

template <auto* function, class... Types>
SQLRETURN Forward(const char* name, Types... arguments)
{
    static auto* const real = Real<std::remove_pointer_t<decltype(function)>>(name);
    return real(arguments...);
}

}  // namespace

// clang-format off
// A function of the table, by the number of its arguments. The compiler holds each against its
// prototype.
#define AT(f, i) Arguments<decltype(f)>::At<i>
#define REAL(f, ...) { return Forward<&f>(#f, __VA_ARGS__); }
#define F1(f) SQLRETURN f(AT(f, 0) a) REAL(f, a)
#define F2(f) SQLRETURN f(AT(f, 0) a, AT(f, 1) b) REAL(f, a, b)
#define F3(f) SQLRETURN f(AT(f, 0) a, AT(f, 1) b, AT(f, 2) c) REAL(f, a, b, c)
#define FOUR(f) AT(f, 0) a, AT(f, 1) b, AT(f, 2) c, AT(f, 3) d
#define F4(f) SQLRETURN f(FOUR(f)) REAL(f, a, b, c, d)
#define F5(f) SQLRETURN f(FOUR(f), AT(f, 4) e) REAL(f, a, b, c, d, e)
#define F6(f) SQLRETURN f(FOUR(f), AT(f, 4) e, AT(f, 5) g) REAL(f, a, b, c, d, e, g)
#define F7(f) SQLRETURN f(FOUR(f), AT(f, 4) e, AT(f, 5) g, AT(f, 6) h) REAL(f, a, b, c, d, e, g, h)
#define EIGHT(f) FOUR(f), AT(f, 4) e, AT(f, 5) g, AT(f, 6) h, AT(f, 7) i
#define F8(f) SQLRETURN f(EIGHT(f)) REAL(f, a, b, c, d, e, g, h, i)
#define F9(f) SQLRETURN f(EIGHT(f), AT(f, 8) j) REAL(f, a, b, c, d, e, g, h, i, j)
#define F10(f) SQLRETURN f(EIGHT(f), AT(f, 8) j, AT(f, 9) k) REAL(f, a, b, c, d, e, g, h, i, j, k)
#define F11(f)                                                 \
    SQLRETURN f(EIGHT(f), AT(f, 8) j, AT(f, 9) k, AT(f, 10) l) \
        REAL(f, a, b, c, d, e, g, h, i, j, k, l)
#define F13(f)                                                                           \
    SQLRETURN f(EIGHT(f), AT(f, 8) j, AT(f, 9) k, AT(f, 10) l, AT(f, 11) m, AT(f, 12) n) \
        REAL(f, a, b, c, d, e, g, h, i, j, k, l, m, n)
// clang-format on

#pragma GCC visibility push(default)

extern "C" {

// Arguments have no names here that would tell more than their places.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
// clang-format off
// ODBC 3
F3(SQLAllocHandle) F6(SQLBindCol) F10(SQLBindParameter) F6(SQLBrowseConnect)
F2(SQLBulkOperations) F1(SQLCancel) F1(SQLCloseCursor) F7(SQLColAttribute)
F9(SQLColumnPrivileges) F9(SQLColumns) F7(SQLConnect) F2(SQLCopyDesc) F9(SQLDescribeCol)
F6(SQLDescribeParam) F1(SQLDisconnect) F8(SQLDriverConnect) F3(SQLEndTran) F3(SQLExecDirect)
F1(SQLExecute) F1(SQLFetch) F3(SQLFetchScroll) F13(SQLForeignKeys) F2(SQLFreeHandle)
F2(SQLFreeStmt) F5(SQLGetConnectAttr) F4(SQLGetCursorName) F6(SQLGetData) F6(SQLGetDescField)
F11(SQLGetDescRec) F7(SQLGetDiagField) F8(SQLGetDiagRec) F5(SQLGetEnvAttr) F3(SQLGetFunctions)
F5(SQLGetInfo) F5(SQLGetStmtAttr) F2(SQLGetTypeInfo) F1(SQLMoreResults) F6(SQLNativeSql)
F2(SQLNumParams) F2(SQLNumResultCols) F2(SQLParamData) F3(SQLPrepare) F7(SQLPrimaryKeys)
F9(SQLProcedureColumns) F7(SQLProcedures) F3(SQLPutData) F2(SQLRowCount) F4(SQLSetConnectAttr)
F3(SQLSetCursorName) F5(SQLSetDescField) F10(SQLSetDescRec) F4(SQLSetEnvAttr) F4(SQLSetPos)
F4(SQLSetStmtAttr) F10(SQLSpecialColumns) F9(SQLStatistics) F7(SQLTablePrivileges)
F9(SQLTables)

// ODBC 2
F5(SQLExtendedFetch)
// clang-format on
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
