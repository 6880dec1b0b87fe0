// One parameter of a statement.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>
#include <string_view>

#include "encoding/ZeroedBuffer.h"
#include "encoding/conversions.h"

class CStatement;
class ZConstList;
class ZString;

/// A parameter's description for ODBC and the buffer of its value, which the driver reads and fills
/// through its address: moving the buffer or changing its type requires a new Bind.
class CParameter {
public:
    /// A parameter of character input, without a buffer; the setters below complete it.
    CParameter(CStatement* statement, long number);

    /// A complete description. length is the buffer's (at least 259 bytes, length + 4 from 256 on)
    /// and the first indicator; SQL_LEN_DATA_AT_EXEC(0), -100, asks for data at execution.
    CParameter(CStatement* statement, int number, int io_type, int c_type, int sql_type,
               int column_size, int decimal_digits, int length);

    virtual ~CParameter() = default;
    CParameter(const CParameter&) = delete;
    CParameter& operator=(const CParameter&) = delete;

    // Each reads its field from the element with the parameter's number; 0 if there is none.

    /// The buffer's length (at least 512 bytes, n + 1 from 512 on) and the first indicator.
    void SetLenFromList(ZConstList& lengths);
    /// The SQL type; binary types and SQL_WCHAR also set the C type.
    void SetDTPFromList(ZConstList& sql_types);
    void SetScaleFromList(ZConstList& scales);
    void SetIOTypeFromList(ZConstList& io_types);
    void SetColDefFromList(ZConstList& column_sizes);

    /// Stores the current element as the value, in the C type that suits it. Returns 1 if the
    /// parameter has to be bound again, else 0. An element of an unsupported type changes nothing.
    int SetFromList(ZConstList& value);
    /// Likewise stores the current element's bytes unchanged; but the driver learns that the C type
    /// is now SQL_C_BINARY only when the parameter is next bound.
    int SetBinaryFromList(ZConstList& value);

    /// SQLBindParameter with the buffer, or with the number as a token for data at execution.
    SQLRETURN Bind();

    /// Appends the value as the driver or the host left it: one element, or nothing for a C type
    /// that is not supported here (such as SQL_C_SBIGINT).
    void AppendValue(ZString& list) const;

    /// Whether a value set now needs a new binding, even if it changes nothing else. A driver that
    /// holds a token instead of the buffer would take the token for an address. And at execution
    /// with a narrow driver, iODBC 3.52.9 converts a wide parameter to narrow text in place, and
    /// takes whatever is stored there later for narrow text (tests/sources,
    /// Values.OfWideTextAgain).
    bool WantsBinding() const;

    /// Whether the driver has accepted a binding, and may read and write through it until the next.
    bool IsBound() const { return is_bound_; }

    SQLSMALLINT GetCType() const { return c_type_; }

private:
    bool IsInput() const
    {
        return io_type_ == SQL_PARAM_INPUT || io_type_ == SQL_PARAM_INPUT_OUTPUT;
    }
    SQLRETURN BindTo(SQLULEN column_size, SQLSMALLINT decimal_digits, SQLPOINTER place,
                     SQLLEN size);
    bool MakeRoom(std::size_t wanted, std::size_t size);
    bool TakeCType(SQLSMALLINT c_type);
    void Store(const void* value, std::size_t size);
    template <class Character>
    void StoreTerminated(const Character* text, std::size_t n);
    bool StoreText(std::string_view text);
    bool StoreWideText(ZConstList& value);
    void StoreInteger(long value);
    void AppendText(ZString& list) const;
    void AppendWideText(ZString& list) const;
    std::size_t ValueLength() const;

    CStatement* statement_;
    SQLLEN indicator_ = 0;
    SQLULEN column_size_ = 0;
    ZeroedBuffer buffer_;    // its size is bound as BufferLength
    ZeroedBuffer outgrown_;  // which the driver holds until the next binding
    SQLSMALLINT decimal_digits_ = 0;
    SQLSMALLINT sql_type_ = 0;
    SQLSMALLINT c_type_ = SQL_C_CHAR;
    SQLSMALLINT io_type_ = SQL_PARAM_INPUT;
    long number_;
    bool is_bound_ = false;
    bool was_refused_ = false;  // the last binding
    bool is_bound_to_token_ = false;
    bool holds_buffer_ = false;       // the driver has its address
    unsigned long bound_before_ = 0;  // how many executions preceded the binding
};

/// 8-bit text to be widened into a parameter.
extern wchar_t wconvbuf[kConversionLimit];
