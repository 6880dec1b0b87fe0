// The collector of ODBC diagnostic records.
#pragma once

#include <sql.h>

#include <string>

#include "odbc/Error.h"
#include "orvelgw.h"

/// Reads the diagnostic records of a handle and formats each as a line:
/// "  SQLState: (HY000) NativeError: [1] Message: no such table: x\r\n". Of the three handles that
/// both operations take (null: not given), the most specific is used.
class CSQLError {
public:
    CSQLError() = default;
    virtual ~CSQLError() = default;
    CSQLError(const CSQLError&) = delete;
    CSQLError& operator=(const CSQLError&) = delete;

    /// Writes the line of the first record, truncated to the destination; empty fields if there is
    /// no record. Returns SQLGetDiagRec's code, or 0 if no handle is given.
    SQLRETURN GetOneError(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement,
                          char (&line)[CError::kMessageSize]);

    /// Writes every record's line as a list of strings, one empty string if there is none.
    /// Returns 0.
    int GetErrors(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement, zarray* output);

private:
    bool HandlesGiven() const;
    void Take(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement);
    SQLRETURN ReadRecord(int number);
    std::string Line();

    SQLHENV environment_ = nullptr;
    SQLRETURN last_return_ = 0;
    char text_[512] = {};
    SQLSMALLINT text_length_ = 0;
    char state_[6] = {};
    SQLINTEGER native_error_ = 0;
    SQLHSTMT statement_ = nullptr;
    SQLHDBC connection_ = nullptr;
};
