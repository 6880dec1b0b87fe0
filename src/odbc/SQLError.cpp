#include "odbc/SQLError.h"

#include <sqlext.h>

#include <cstdio>
#include <string>

#include "encoding/ZString.h"
#include "odbc/result.h"

namespace {

// The part of the text that a driver is offered, always with room for a terminator after it.
constexpr SQLSMALLINT kTextCapacity = 511;

// The limit for a driver that never runs out of records.
constexpr int kMaxRecords = 65'535;

}  // namespace

bool CSQLError::HandlesGiven() const
{
    return environment_ != nullptr || connection_ != nullptr || statement_ != nullptr;
}

void CSQLError::Take(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement)
{
    environment_ = environment;
    connection_ = connection;
    statement_ = statement;
}

SQLRETURN CSQLError::ReadRecord(int number)
{
    SQLSMALLINT type = SQL_HANDLE_ENV;
    SQLHANDLE handle = environment_;
    if (statement_ != nullptr) {
        type = SQL_HANDLE_STMT;
        handle = statement_;
    } else if (connection_ != nullptr) {
        type = SQL_HANDLE_DBC;
        handle = connection_;
    }
    last_return_ = SQLGetDiagRec(type, handle, static_cast<SQLSMALLINT>(number),
                                 reinterpret_cast<SQLCHAR*>(state_), &native_error_,
                                 reinterpret_cast<SQLCHAR*>(text_), kTextCapacity, &text_length_);
    return last_return_;
}

std::string CSQLError::Line()
{
    state_[sizeof state_ - 1] = '\0';
    text_[sizeof text_ - 1] = '\0';
    char line[1024];
    std::snprintf(line, sizeof line, "  SQLState: (%s) NativeError: [%ld] Message: %s\r\n", state_,
                  static_cast<long>(native_error_), text_);
    return line;
}

SQLRETURN CSQLError::GetOneError(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement,
                                 char (&line)[CError::kMessageSize])
{
    Take(environment, connection, statement);
    const SQLRETURN code = HandlesGiven() ? ReadRecord(1) : SQLRETURN{SQL_SUCCESS};
    line[Line().copy(line, CError::kMessageSize - 1)] = '\0';
    return code;
}

int CSQLError::GetErrors(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement,
                         zarray* output)
{
    Take(environment, connection, statement);
    ZString list;
    if (HandlesGiven()) {
        for (int number = 1; number <= kMaxRecords && Succeeded(ReadRecord(number)); ++number) {
            list.AppendNTString(Line().c_str());
        }
    }
    if (list.empty()) {
        list.AppendNTString("");
    }
    list.CopyTo(output);
    return 0;
}
