// An ODBC driver manager that records its calls and returns what a test says. A program that
// links it captures the gateway's ODBC calls: symbols of the program come before those of libiodbc.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

/// What one SQLGetData, SQLDescribeCol or SQLColAttribute returns.
struct Value {
    SQLRETURN code = SQL_SUCCESS;
    SQLLEN length = 0;       // the indicator, or the length of a name
    std::string bytes = {};  // written to the buffer, truncated to it
    SQLLEN number = 0;       // the numeric attribute, or the column's size
    bool has_length = true;  // length and number are written
};

/// A value of wide text: its characters as in memory, its length in the caller's units.
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
    SQLHSTMT statement = nullptr;
};

/// A handle that was allocated and not freed.
struct OpenHandle {
    SQLSMALLINT type = 0;
    SQLHANDLE parent = nullptr;
    bool is_given_up = false;  // freeing it was attempted, or never will be
};

struct Script {
    std::map<std::string, SQLRETURN> codes;   // by function; SQL_SUCCESS if there is none
    std::set<std::string> throwing;           // functions that throw an exception
    std::map<std::string, void (*)()> doing;  // what a function does to the process
    std::deque<Value> values;                 // used in order; the last one is repeated
    std::vector<Diagnostic> diagnostics;      // of any handle
    bool endless_diagnostics = false;
    SQLSMALLINT columns = 1;
    int rows = 1;  // that SQLFetch still has
    SQLLEN row_count = 0;
    SQLSMALLINT markers = 0;  // that SQLNumParams counts
    SQLLEN token = 0;         // that SQLParamData returns
    std::map<int, BoundParameter> bound;
    std::vector<std::string> calls;  // "SQLFetch(stmt1)"

    // For tests with answers of their own. Each may throw.
    std::function<std::optional<SQLRETURN>(std::string_view function)> answer;
    std::function<Value()> value;
    std::function<void(const BoundParameter&)> parameter;  // when the driver reads it

    std::map<SQLHANDLE, OpenHandle> open;
    std::vector<std::string> misuses;  // of handles and buffers, by the library

    /// The calls since the last time they were taken, one per line.
    std::string TakeCalls();

    /// A handle that will not be freed, with those that depend on it.
    void GiveUp(SQLHANDLE handle);
    /// Adds the handles that were not given up to the misuses.
    void EndHandles();
};

/// Greater than 0 while the driver manager, or other code that is not the library's, is working.
extern int depth;

struct Inside {
    Inside() { ++depth; }
    ~Inside() { --depth; }
    Inside(const Inside&) = delete;
};

/// The one script; a test begins with a new one.
Script& Current();
void Restart();

}  // namespace scripted
