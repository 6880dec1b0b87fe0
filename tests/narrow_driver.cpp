#include "narrow_driver.h"

#include <algorithm>
#include <cstring>

#pragma GCC visibility push(default)

namespace {

NarrowDriver driver;

int handle;

constexpr SQLUSMALLINT kOwnAnswer = 4711;

std::string Text(const SQLCHAR* text, SQLLEN length)
{
    if (text == nullptr) {
        return "-";
    }
    const auto* characters = reinterpret_cast<const char*>(text);
    return length == SQL_NTS ? characters
                             : std::string(characters, static_cast<std::size_t>(length));
}

template <class... Parts>
SQLRETURN Note(const std::string& function, const Parts&... texts)
{
    driver.calls.push_back(function);
    ((driver.calls.back().append("|") += texts), ...);
    return SQL_SUCCESS;
}

// A text as far as there is room, and its length, or the one that the test sets.
template <class Length>
SQLRETURN Give(const std::string& text, void* to, SQLLEN capacity, Length* length)
{
    auto* const out = static_cast<char*>(to);
    if (driver.fills && capacity > 0) {
        std::memset(out, 'x', static_cast<std::size_t>(capacity));
    } else if (capacity > 0) {
        const auto copied = std::min(text.size(), static_cast<std::size_t>(capacity) - 1);
        std::memcpy(out, text.data(), copied);
        out[copied] = '\0';
    }
    if (length != nullptr) {
        *length =
            static_cast<Length>(driver.lie != 0 ? driver.lie : static_cast<SQLLEN>(text.size()));
    }
    return static_cast<SQLLEN>(text.size()) < capacity ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}

template <class Value>
Value* InRow(Value* first, SQLULEN row, SQLULEN row_bytes, SQLULEN size)
{
    return reinterpret_cast<Value*>(reinterpret_cast<char*>(first) +
                                    row * (row_bytes != 0 ? row_bytes : size));
}

template <class Value>
Value* OfParameter(Value* first, SQLULEN row, SQLULEN size)
{
    const SQLLEN offset = driver.parameter_offset != nullptr ? *driver.parameter_offset : 0;
    return InRow(reinterpret_cast<Value*>(reinterpret_cast<char*>(first) + offset), row,
                 driver.parameter_row_bytes, size);
}

std::string ParameterRow(const NarrowDriver::Bound& bound, SQLULEN row)
{
    const auto indicator = *OfParameter(bound.indicator, row, sizeof(SQLLEN));
    const char* text = OfParameter(bound.text, row, static_cast<SQLULEN>(bound.size));
    return indicator < 0 ? std::to_string(indicator)
                         : std::string(text, static_cast<std::size_t>(indicator));
}

SQLRETURN Run(const std::string& function)
{
    driver.given = 0;
    driver.is_done = false;
    for (const auto& [number, bound] : driver.parameters) {
        std::string rows;
        for (SQLULEN row = 0; row < driver.parameter_rows; ++row) {
            if (number <= driver.markers && bound.io_type != SQL_PARAM_OUTPUT) {
                rows += "|" + ParameterRow(bound, row);
            }
            if (bound.io_type != SQL_PARAM_INPUT) {
                Give(driver.text, OfParameter(bound.text, row, static_cast<SQLULEN>(bound.size)),
                     bound.size, OfParameter(bound.indicator, row, sizeof(SQLLEN)));
            }
        }
        Note(std::string(function).append(" ").append(std::to_string(number)) += rows);
    }
    return SQL_SUCCESS;
}

}  // namespace

extern "C" {

NarrowDriver* TestDriver()
{
    return &driver;
}

// Reads a data source in place of libodbcinst: the one named "told" has every key.
int SQLGetPrivateProfileString(const char* section, const char* /*key*/, const char* /*otherwise*/,
                               char* value, int /*capacity*/, const char* /*file*/)
{
    std::strcpy(value, std::string(section) == "told" ? "yes" : "");
    return static_cast<int>(std::strlen(value));
}

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE /*input*/, SQLHANDLE* output)
{
    *output = &handle + type;
    return SQL_SUCCESS;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/)
{
    return SQL_SUCCESS;
}

SQLRETURN SQLSetStmtAttr(SQLHSTMT, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER)
{
    const auto number = reinterpret_cast<SQLULEN>(value);
    if (attribute == SQL_ATTR_PARAMSET_SIZE) {
        driver.parameter_rows = number;
    } else if (attribute == SQL_ATTR_PARAM_BIND_TYPE) {
        driver.parameter_row_bytes = number;
    } else if (attribute == SQL_ATTR_PARAM_BIND_OFFSET_PTR) {
        driver.parameter_offset = static_cast<const SQLLEN*>(value);
    } else if (attribute == SQL_ATTR_ROW_BIND_TYPE) {
        driver.row_bytes = number;
    }
    return SQL_SUCCESS;
}

SQLRETURN SQLConnect(SQLHDBC, SQLCHAR* source, SQLSMALLINT source_length, SQLCHAR* user,
                     SQLSMALLINT user_length, SQLCHAR* password, SQLSMALLINT password_length)
{
    return Note("Connect", Text(source, source_length), Text(user, user_length),
                Text(password, password_length));
}

SQLRETURN SQLGetFunctions(SQLHDBC, SQLUSMALLINT, SQLUSMALLINT* supported)
{
    *supported = kOwnAnswer;
    return SQL_SUCCESS;
}

SQLRETURN SQLDriverConnect(SQLHDBC connection, SQLHWND, SQLCHAR* in, SQLSMALLINT in_length,
                           SQLCHAR* out, SQLSMALLINT capacity, SQLSMALLINT* out_length,
                           SQLUSMALLINT)
{
    SQLUSMALLINT supported = 0;
    SQLGetFunctions(connection, SQL_API_SQLCONNECT, &supported);
    if (supported != kOwnAnswer) {
        return SQL_ERROR;
    }
    Note("DriverConnect", Text(in, in_length));
    return Give(driver.text, out, capacity, out_length);
}

SQLRETURN SQLDisconnect(SQLHDBC)
{
    return SQL_SUCCESS;
}

SQLRETURN SQLPrepare(SQLHSTMT, SQLCHAR* text, SQLINTEGER length)
{
    return Note("Prepare", Text(text, length));
}

SQLRETURN SQLTables(SQLHSTMT, SQLCHAR* a, SQLSMALLINT a_length, SQLCHAR* b, SQLSMALLINT b_length,
                    SQLCHAR* c, SQLSMALLINT c_length, SQLCHAR* d, SQLSMALLINT d_length)
{
    return Note("Tables", Text(a, a_length), Text(b, b_length), Text(c, c_length),
                Text(d, d_length));
}

SQLRETURN SQLSetConnectAttr(SQLHDBC, SQLINTEGER, SQLPOINTER value, SQLINTEGER length)
{
    return Note("SetConnectAttr", Text(static_cast<SQLCHAR*>(value), length));
}

SQLRETURN SQLDescribeCol(SQLHSTMT, SQLUSMALLINT, SQLCHAR* name, SQLSMALLINT capacity,
                         SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN*, SQLSMALLINT*,
                         SQLSMALLINT*)
{
    *type = SQL_VARCHAR;
    return Give(driver.text, name, capacity, length);
}

SQLRETURN SQLGetInfo(SQLHDBC, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT capacity,
                     SQLSMALLINT* length)
{
    if (type == SQL_MAX_COLUMN_NAME_LEN) {
        *static_cast<SQLUSMALLINT*>(value) = 63;
        return SQL_SUCCESS;
    }
    return Give(driver.text, value, capacity, length);
}

SQLRETURN SQLNativeSql(SQLHDBC, SQLCHAR* in, SQLINTEGER in_length, SQLCHAR* out,
                       SQLINTEGER capacity, SQLINTEGER* out_length)
{
    return Give(Text(in, in_length) + driver.text, out, capacity, out_length);
}

SQLRETURN SQLGetDiagRec(SQLSMALLINT, SQLHANDLE, SQLSMALLINT number, SQLCHAR* state,
                        SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT capacity,
                        SQLSMALLINT* length)
{
    std::memcpy(state, "HY000", 6);
    *native = 7;
    return number == 1 ? Give(driver.text, text, capacity, length) : SQLRETURN{SQL_NO_DATA};
}

SQLRETURN SQLNumParams(SQLHSTMT, SQLSMALLINT* count)
{
    *count = driver.markers;
    return SQL_SUCCESS;
}

SQLRETURN SQLBindParameter(SQLHSTMT, SQLUSMALLINT number, SQLSMALLINT io_type, SQLSMALLINT c_type,
                           SQLSMALLINT sql_type, SQLULEN, SQLSMALLINT, SQLPOINTER text, SQLLEN size,
                           SQLLEN* indicator)
{
    driver.parameters[number] = {io_type, c_type,   sql_type, static_cast<char*>(text),
                                 size,    indicator};
    return Note("BindParameter", std::to_string(number), std::to_string(c_type),
                std::to_string(sql_type));
}

SQLRETURN SQLExecute(SQLHSTMT)
{
    return Run("Execute");
}

SQLRETURN SQLExecDirect(SQLHSTMT, SQLCHAR* text, SQLINTEGER length)
{
    Note("ExecDirect", Text(text, length));
    return Run("ExecDirect");
}

SQLRETURN SQLBindCol(SQLHSTMT, SQLUSMALLINT number, SQLSMALLINT c_type, SQLPOINTER text,
                     SQLLEN size, SQLLEN* indicator)
{
    driver.columns[number] = {0, c_type, 0, static_cast<char*>(text), size, indicator};
    return SQL_SUCCESS;
}

SQLRETURN SQLFetch(SQLHSTMT)
{
    driver.given = 0;
    driver.is_done = false;
    SQLRETURN code = SQL_SUCCESS;
    for (const auto& [number, bound] : driver.columns) {
        for (SQLULEN row = 0; row < driver.rows; ++row) {
            SQLLEN* const indicator = InRow(bound.indicator, row, driver.row_bytes, sizeof(SQLLEN));
            if (driver.is_null) {
                *indicator = SQL_NULL_DATA;
                continue;
            }
            code = Give(driver.text + std::to_string(row),
                        InRow(bound.text, row, driver.row_bytes, static_cast<SQLULEN>(bound.size)),
                        bound.size, indicator);
        }
    }
    return code;
}

SQLRETURN SQLGetData(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER to, SQLLEN capacity,
                     SQLLEN* indicator)
{
    if (driver.is_done) {
        return SQL_NO_DATA;
    }
    if (driver.is_null) {
        driver.is_done = true;
        *indicator = SQL_NULL_DATA;
        return SQL_SUCCESS;
    }
    const SQLRETURN code = Give(driver.text.substr(driver.given), to, capacity, indicator);
    driver.is_done = code == SQL_SUCCESS;
    driver.given =
        std::min(driver.given + static_cast<std::size_t>(capacity) - 1, driver.text.size());
    if (driver.knows_no_total && code == SQL_SUCCESS_WITH_INFO) {
        *indicator = SQL_NO_TOTAL;
    }
    return code;
}

}  // extern "C"

#pragma GCC visibility pop
