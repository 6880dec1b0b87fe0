#include "odbc/Error.h"

#include <cstring>

#include "encoding/ZString.h"
#include "odbc/SQLError.h"

int CError::Condensed() const
{
    if (exception != 0) {
        return ORVEL_WAS_EXCEPTION;
    }
    if (bad_type != 0) {
        return ORVEL_WAS_BAD_TYPE;
    }
    if (no_data != 0) {
        return ORVEL_WAS_NO_DATA;
    }
    return error != 0 || connect_error != 0 ? ORVEL_WAS_ERROR : ORVEL_WAS_SUCCESS;
}

void CError::SetConnectError(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement)
{
    connect_error = 1;
    std::memset(message, 0, sizeof message);
    CSQLError().GetOneError(environment, connection, statement, message);
}

int CError::GetError(zarray* output) const
{
    ZString list;
    list.AppendNTString(message);
    list.CopyTo(output);
    return 0;
}
