// A driver of narrow functions that does as a test says, and tells what it was asked. It connects
// only if a call of one of its own exported functions reaches it, and not the function of that name
// that the driver manager has.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <map>
#include <string>
#include <vector>

struct NarrowDriver {
    /// Every text that goes out: names, values, messages. No value: a NULL.
    std::string text;
    bool is_null = false;
    /// What it says of a text's length; 0: the truth.
    SQLLEN lie = 0;
    /// Every byte of a buffer is written, with no terminator.
    bool fills = false;
    /// It can't tell a length before it has given the last piece.
    bool knows_no_total = false;
    SQLSMALLINT markers = 9;
    SQLULEN parameter_rows = 1;
    SQLULEN rows = 1;  // that a fetch brings
    SQLULEN parameter_row_bytes = 0;
    const SQLLEN* parameter_offset = nullptr;
    SQLULEN row_bytes = 0;

    /// Texts that came in, with the function's name in front; of a parameter its rows.
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
    std::size_t given = 0;  // bytes of the value that SQLGetData gave
    bool is_done = false;
};

/// The one driver of the process, by the name TestDriver.
extern "C" NarrowDriver* TestDriver();
