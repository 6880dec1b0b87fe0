// An ODBC driver manager that records what it is asked and answers what a test says. A program that
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

/// What one SQLGetData, SQLDescribeCol or SQLColAttribute brings.
struct Value {
    SQLRETURN code = SQL_SUCCESS;
    SQLLEN length = 0;       // the indicator, or the length of a name
    std::string bytes = {};  // written to the buffer, cut to it
    SQLLEN number = 0;       // the numeric attribute, or the column's size
    bool has_length = true;  // length and number are written
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
    SQLHSTMT statement = nullptr;
};

/// A handle that was made and not freed.
struct OpenHandle {
    SQLSMALLINT type = 0;
    SQLHANDLE parent = nullptr;
    bool is_given_up = false;  // somebody wanted it freed, or never will
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

    // For a test that answers by itself. Each may throw.
    std::function<std::optional<SQLRETURN>(std::string_view function)> answer;
    std::function<Value()> value;
    std::function<void(const BoundParameter&)> parameter;  // as the driver comes to it

    std::map<SQLHANDLE, OpenHandle> open;
    std::vector<std::string> misuses;  // of handles and buffers, by the library

    /// The calls since the last time they were taken, one a line.
    std::string TakeCalls();

    /// A handle that will not be freed, with those that hang on it.
    void GiveUp(SQLHANDLE handle);
    /// Adds the handles that nobody gave up to the misuses.
    void EndHandles();
};

/// Greater than 0 while the driver manager does its own work, or another that says so.
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
