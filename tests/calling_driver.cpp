// A driver that connects only if a call of one of its own exported functions reaches it, and not
// the function of that name that the driver manager has.
#include <sql.h>
#include <sqlext.h>

#pragma GCC visibility push(default)
extern "C" {

SQLRETURN SQLAllocHandle(SQLSMALLINT /*type*/, SQLHANDLE /*input*/, SQLHANDLE* output)
{
    static int handle;
    *output = &handle;
    return SQL_SUCCESS;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/)
{
    return SQL_SUCCESS;
}

SQLRETURN SQLConnect(SQLHDBC /*connection*/, SQLCHAR* /*source*/, SQLSMALLINT /*source_length*/,
                     SQLCHAR* /*user*/, SQLSMALLINT /*user_length*/, SQLCHAR* /*password*/,
                     SQLSMALLINT /*password_length*/)
{
    return SQL_ERROR;
}

SQLRETURN SQLGetFunctions(SQLHDBC /*connection*/, SQLUSMALLINT /*function*/,
                          SQLUSMALLINT* supported)
{
    *supported = 4711;
    return SQL_SUCCESS;
}

SQLRETURN SQLDriverConnect(SQLHDBC connection, SQLHWND /*window*/, SQLCHAR* /*in*/,
                           SQLSMALLINT /*in_length*/, SQLCHAR* /*out*/, SQLSMALLINT /*capacity*/,
                           SQLSMALLINT* /*out_length*/, SQLUSMALLINT /*completion*/)
{
    SQLUSMALLINT supported = 0;
    SQLGetFunctions(connection, SQL_API_SQLCONNECT, &supported);
    return supported == 4711 ? SQL_SUCCESS : SQL_ERROR;
}

SQLRETURN SQLDisconnect(SQLHDBC /*connection*/)
{
    return SQL_SUCCESS;
}

}  // extern "C"
#pragma GCC visibility pop
