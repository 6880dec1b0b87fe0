// A driver with narrow functions that follows a test's script and records its calls. It connects
// only if a call of one of its own exported functions reaches it, and not the driver manager's
// function of that name.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <map>
#include <string>
#include <vector>

struct NarrowDriver {
    /// Every text that it returns: names, values, messages. No value: a NULL.
    std::string text;
    bool is_null = false;
    /// The length that it reports for a text; 0: the correct one.
    SQLLEN lie = 0;
    /// It writes every byte of a buffer, without a terminator.
    bool fills = false;
    /// It doesn't know a length before it has delivered the last piece.
    bool knows_no_total = false;
    SQLSMALLINT markers = 9;
    SQLULEN parameter_rows = 1;
    SQLULEN rows = 1;  // per fetch
    SQLULEN parameter_row_bytes = 0;
    const SQLLEN* parameter_offset = nullptr;
    SQLULEN row_bytes = 0;

    /// Texts that it received, after the function's name; for a parameter, its rows.
    std::vector<std::string> calls;

    struct Bound {
        SQLSMALLINT io_type;
        SQLSMALLINT c_type;
        SQLSMALLINT sql_type;
        char* text;
        SQLLEN size;
        SQLLEN* indicator;
    };
    std::map<int, Bound> parameters;
    std::map<int, Bound> columns;
    std::size_t given = 0;  // bytes of the value that SQLGetData has delivered
    bool is_done = false;
};

/// The one driver of the process, by the name TestDriver.
extern "C" NarrowDriver* TestDriver();
