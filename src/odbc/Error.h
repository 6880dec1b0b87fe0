// The error record: the outcome of the last entry called.
#pragma once

#include <sql.h>

#include <cstddef>

#include "orvelgw.h"

/// The outcome of the last entry, as "WasError", "GetLastSQLCode" and "GetSQLErrors" report it. The
/// process has one.
class CError {
public:
    static constexpr std::size_t kMessageSize = 512;

    CError() = default;
    virtual ~CError() = default;
    CError(const CError&) = delete;
    CError& operator=(const CError&) = delete;

    /// Clears the code and the flags. The message stays, and is reported only while connect_error
    /// is set.
    void Reset()
    {
        last_sql_code = 0;
        exception = 0;
        no_data = 0;
        bad_type = 0;
        error = 0;
        connect_error = 0;
    }

    /// The flags as the number that "WasError" returns.
    int Condensed() const;

    /// Sets connect_error and keeps the first diagnostic record of the most specific handle given
    /// (null: not given) as the message. Called before the handle is freed.
    void SetConnectError(SQLHENV environment, SQLHDBC connection, SQLHSTMT statement);

    /// Writes the message as a list of one string. Returns 0.
    int GetError(zarray* output) const;

    SQLSMALLINT last_sql_code = 0;
    char exception = 0;
    char no_data = 0;
    char bad_type = 0;
    char error = 0;
    char connect_error = 0;
    char message[kMessageSize] = {};
};
