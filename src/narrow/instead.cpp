#include "narrow/instead.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "narrow/RealDriver.h"

namespace {

template <class Function>
void* Address(Function* function)
{
    return reinterpret_cast<void*>(function);
}

void* Found(const std::map<std::string_view, void*>& functions, const char* name)
{
    const auto found = functions.find(name);
    return found != functions.end() ? found->second : nullptr;
}

SQLPOINTER AsPointer(SQLULEN value)
{
    return reinterpret_cast<SQLPOINTER>(value);
}

SQLRETURN AllocEnv(SQLHENV* environment)
{
    const SQLRETURN code = SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, environment);
    SQLSetEnvAttr(*environment, SQL_ATTR_ODBC_VERSION, AsPointer(SQL_OV_ODBC2), 0);
    return code;
}

SQLRETURN AllocConnect(SQLHENV environment, SQLHDBC* connection)
{
    return SQLAllocHandle(SQL_HANDLE_DBC, environment, connection);
}

SQLRETURN AllocStmt(SQLHDBC connection, SQLHSTMT* statement)
{
    return SQLAllocHandle(SQL_HANDLE_STMT, connection, statement);
}

SQLRETURN FreeEnv(SQLHENV environment)
{
    return SQLFreeHandle(SQL_HANDLE_ENV, environment);
}

SQLRETURN FreeConnect(SQLHDBC connection)
{
    return SQLFreeHandle(SQL_HANDLE_DBC, connection);
}

SQLRETURN Transact(SQLHENV environment, SQLHDBC connection, SQLUSMALLINT completion)
{
    const auto type =
        static_cast<SQLSMALLINT>(connection != nullptr ? SQL_HANDLE_DBC : SQL_HANDLE_ENV);
    return SQLEndTran(type, connection != nullptr ? connection : environment,
                      static_cast<SQLSMALLINT>(completion));
}

SQLRETURN SetConnectOption(SQLHDBC connection, SQLUSMALLINT option, SQLULEN value)
{
    return SQLSetConnectAttr(connection, option, AsPointer(value), SQL_NTS);
}

SQLRETURN GetConnectOption(SQLHDBC connection, SQLUSMALLINT option, SQLPOINTER value)
{
    return SQLGetConnectAttr(connection, option, value, SQL_MAX_OPTION_STRING_LENGTH, nullptr);
}

SQLRETURN SetStmtOption(SQLHSTMT statement, SQLUSMALLINT option, SQLULEN value)
{
    return SQLSetStmtAttr(statement, option, AsPointer(value), SQL_NTS);
}

SQLRETURN GetStmtOption(SQLHSTMT statement, SQLUSMALLINT option, SQLPOINTER value)
{
    return SQLGetStmtAttr(statement, option, value, SQL_MAX_OPTION_STRING_LENGTH, nullptr);
}

// Each record once: a driver of ODBC 3 keeps them, and the first is dropped by no function.
SQLRETURN Error(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement, SQLCHAR* state,
                SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT capacity, SQLSMALLINT* length)
{
    static SQLHANDLE last = nullptr;
    static SQLSMALLINT told = 0;
    const bool is_statement = statement != nullptr;
    const bool is_connection = !is_statement && connection != nullptr;
    const auto type = static_cast<SQLSMALLINT>(is_statement    ? SQL_HANDLE_STMT
                                               : is_connection ? SQL_HANDLE_DBC
                                                               : SQL_HANDLE_ENV);
    SQLHANDLE handle = is_statement ? statement : is_connection ? connection : environment;
    told = handle == last ? told : SQLSMALLINT{0};
    last = handle;
    const SQLRETURN code =
        SQLGetDiagRec(type, handle, ++told, state, native, text, capacity, length);
    if (code == SQL_NO_DATA) {
        told = 0;
    }
    return code;
}

// Any address that is none of a driver's; nothing is read or written there.
char stand_in = 0;

SQLRETURN MakeHandle(SQLSMALLINT /*type*/, SQLHANDLE /*input*/, SQLHANDLE* output)
{
    *output = &stand_in;
    return SQL_SUCCESS;
}

SQLRETURN MakeEnvironment(SQLHENV* environment)
{
    return MakeHandle(SQL_HANDLE_ENV, nullptr, environment);
}

SQLRETURN MakeConnection(SQLHENV environment, SQLHDBC* connection)
{
    return MakeHandle(SQL_HANDLE_DBC, environment, connection);
}

SQLRETURN FreeNothing(SQLHANDLE /*handle*/)
{
    return SQL_SUCCESS;
}

SQLRETURN FreeNothingOf(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/)
{
    return SQL_SUCCESS;
}

SQLRETURN TakeAttribute(SQLHANDLE /*handle*/, SQLINTEGER /*attribute*/, SQLPOINTER /*value*/,
                        SQLINTEGER /*size*/)
{
    return SQL_SUCCESS;
}

SQLRETURN TakeOption(SQLHDBC /*connection*/, SQLUSMALLINT /*option*/, SQLULEN /*value*/)
{
    return SQL_SUCCESS;
}

SQLRETURN TellFailure(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/, SQLSMALLINT number,
                      SQLCHAR* state, SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT capacity,
                      SQLSMALLINT* length)
{
    if (number != 1) {
        return SQL_NO_DATA;
    }
    const std::string message = "[Orvel][Narrow shim]" + RealDriver::Instance().Failure();
    const bool fits = static_cast<std::size_t>(std::max<SQLSMALLINT>(capacity, 0)) > message.size();
    if (state != nullptr) {
        std::memcpy(state, "IM003", 6);  // the specified driver could not be loaded
    }
    if (native != nullptr) {
        *native = 0;
    }
    if (text != nullptr && capacity > 0) {
        const auto cut = message.substr(0, static_cast<std::size_t>(capacity) - 1);
        std::memcpy(text, cut.c_str(), cut.size() + 1);
    }
    if (length != nullptr) {
        *length = static_cast<SQLSMALLINT>(message.size());
    }
    return fits ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}

}  // namespace

void* ByOdbc3(const char* function)
{
    static const std::map<std::string_view, void*> functions = {
        {"SQLAllocEnv", Address(&AllocEnv)},
        {"SQLAllocConnect", Address(&AllocConnect)},
        {"SQLAllocStmt", Address(&AllocStmt)},
        {"SQLFreeEnv", Address(&FreeEnv)},
        {"SQLFreeConnect", Address(&FreeConnect)},
        {"SQLTransact", Address(&Transact)},
        {"SQLSetConnectOption", Address(&SetConnectOption)},
        {"SQLGetConnectOption", Address(&GetConnectOption)},
        {"SQLSetStmtOption", Address(&SetStmtOption)},
        {"SQLGetStmtOption", Address(&GetStmtOption)},
        {"SQLError", Address(&Error)},
    };
    return Found(functions, function);
}

void* WithoutDriver(const char* function)
{
    static const std::map<std::string_view, void*> functions = {
        {"SQLAllocHandle", Address(&MakeHandle)},
        {"SQLAllocEnv", Address(&MakeEnvironment)},
        {"SQLAllocConnect", Address(&MakeConnection)},
        {"SQLFreeHandle", Address(&FreeNothingOf)},
        {"SQLFreeEnv", Address(&FreeNothing)},
        {"SQLFreeConnect", Address(&FreeNothing)},
        {"SQLSetEnvAttr", Address(&TakeAttribute)},
        {"SQLSetConnectAttr", Address(&TakeAttribute)},
        {"SQLSetConnectOption", Address(&TakeOption)},
        {"SQLGetDiagRec", Address(&TellFailure)},
        {"SQLError", Address(&Error)},
    };
    return Found(functions, function);
}
