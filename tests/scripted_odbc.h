// An ODBC driver manager that records what it is asked and answers what a test says. A program that
// links it captures the gateway's ODBC calls: symbols of the program come before those of libiodbc.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace scripted {

/// What one SQLGetData, SQLDescribeCol or SQLColAttribute brings.
struct Value {
    SQLRETURN code = SQL_SUCCESS;
    SQLLEN length = 0;       // the indicator, or the length of a name
    std::string bytes = {};  // written to the buffer, cut to it
    SQLLEN number = 0;       // the numeric attribute, or the column's size
};

/// A value of wide text: its characters as they lie in memory, its length in units of the caller's.
std::string WideBytes(const std::wstring& text);

struct Diagnostic {
    std::string state;
    SQLINTEGER native = 0;
    std::string message;
};

/// A parameter as SQLBindParameter got it.
struct BoundParameter {
    void* buffer = nullptr;
    SQLLEN size = 0;
    SQLLEN* indicator = nullptr;
};

struct Script {
    std::map<std::string, SQLRETURN> codes;   // by function, SQL_SUCCESS where there is none
    std::set<std::string> throwing;           // functions that throw an exception
    std::map<std::string, void (*)()> doing;  // what a function does to the process
    std::deque<Value> values;                 // taken in order; the last one stays
    std::vector<Diagnostic> diagnostics;      // of whatever handle
    bool endless_diagnostics = false;
    SQLSMALLINT columns = 1;
    int rows = 1;  // that SQLFetch still has
    SQLLEN row_count = 0;
    SQLSMALLINT markers = 0;  // that SQLNumParams counts
    SQLLEN token = 0;         // that SQLParamData brings
    std::map<int, BoundParameter> bound;
    std::vector<std::string> calls;  // "SQLFetch(stmt1)"

    /// The calls since the last time they were taken, one a line.
    std::string Taken();
};

/// The one script; a test begins with a new one.
Script& Current();
void Restart();

}  // namespace scripted
