// What is measured: data sources, the ways to read text from them, and the table in them.
#pragma once

#include <sqlext.h>
#include <sqlucode.h>

#include <string>

/// A way to read text, selected by the gateway's options, and what it means in ODBC calls.
struct Mode {
    const char* name;
    int legacy_option;
    int unicode_option;
    SQLINTEGER odbc_version;
    SQLSMALLINT c_type;
    SQLLEN row_buffer;      // bytes that "FetchRows" offers the driver for a value
    SQLLEN one_row_buffer;  // and "GetOneRow"
};

inline constexpr Mode kNarrow{"narrow", 1, 0, SQL_OV_ODBC2, SQL_C_CHAR, 1001, 1000};
inline constexpr Mode kDefault{"default", 0, 0, SQL_OV_ODBC3, SQL_C_WCHAR, 4004, 4000};
inline constexpr Mode kUnicode{"Unicode", 0, 1, SQL_OV_ODBC3, SQL_C_WCHAR, 4004, 4000};
inline constexpr Mode kModes[] = {kNarrow, kDefault, kUnicode};

struct Source {
    std::string name;
    std::string connection_string;
    long rows;  // in its table
};

/// The table: six columns, mostly ASCII text, occasionally a NULL.
inline constexpr char kTable[] = "bench_rows";
inline constexpr char kColumns[] = "id, name, city, ordered, amount, note";
inline constexpr int kColumnCount = 6;

/// A query for that many rows, from a row on.
std::string SliceOf(long first, long rows);

/// The versions of the source, the driver and the driver manager.
std::string VersionOf(const Source& source);

/// Creates the table, unless it exists with all its rows, and an empty one for inserts.
void MakeTables(const Source& source);
