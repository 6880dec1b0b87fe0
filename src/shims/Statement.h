// What the wide shim knows about a statement.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <functional>
#include <map>

#include "shims/BoundText.h"
#include "shims/Diagnosis.h"
#include "shims/HeldText.h"
#include "shims/conversions.h"

/// A parameter of wide text, as the caller described it.
struct ParameterShape {
    SQLSMALLINT io_type;
    SQLSMALLINT sql_type;
    SQLULEN size;
    SQLSMALLINT digits;
};

/// The wide text of one of the driver's statements: its parameters, its bound columns, and the
/// value that is being read. Its operations also act on the driver's statement.
class Statement {
public:
    Statement(SQLHSTMT handle, SQLHDBC connection, WideForm form)
        : handle_(handle), connection_(connection), form_(form), held_(form)
    {}
    Statement(const Statement&) = delete;  // the driver has addresses of its buffers
    Statement& operator=(const Statement&) = delete;
    ~Statement() = default;

    SQLHDBC Connection() const { return connection_; }

    SQLRETURN BindParameter(SQLUSMALLINT number, const ParameterShape& shape,
                            const Buffers& caller);
    SQLRETURN BindColumn(SQLUSMALLINT number, const Buffers& caller);
    /// The driver has another binding for that number.
    void ForgetParameter(SQLUSMALLINT number);
    void ForgetColumn(SQLUSMALLINT number) { columns_.erase(number); }
    /// Frees what SQLFreeStmt frees with the option.
    void Free(SQLUSMALLINT option);

    /// Records what an attribute says about the rows of buffers.
    void NoteAttribute(SQLINTEGER attribute, SQLPOINTER value);

    using Run = std::function<SQLRETURN(SQLHSTMT)>;

    /// Runs what executes the statement, once its wide parameters have been converted for the
    /// driver. Bindings beyond its markers belong to another statement, and their buffers may be
    /// gone.
    SQLRETURN Execute(std::size_t markers, Run run);
    SQLRETURN ExecutePrepared();
    /// Data at execution of wide parameters, which the shim collects before anything is sent. The
    /// driver itself asks for the rest.
    bool IsCollecting() const { return is_collecting_; }
    SQLRETURN NextAwaited(SQLPOINTER* token);
    SQLRETURN TakePiece(SQLPOINTER data, SQLLEN size);
    void StopCollecting();
    /// Delivers output parameters, which arrive with the results or after them.
    SQLRETURN DeliverParameters(SQLRETURN code);

    /// Fetches rows with a function of the driver, up to that many.
    SQLRETURN Fetch(SQLULEN rows, const Run& fetch);
    SQLRETURN Fetch(const Run& fetch) { return Fetch(rows_.rows, fetch); }
    SQLRETURN ExtendedFetch(const Run& fetch) { return Fetch(extended_rows_, fetch); }
    bool HasColumns() const { return !columns_.empty(); }

    /// SQLGetData of wide characters.
    SQLRETURN Read(SQLUSMALLINT column, SQLPOINTER to, SQLLEN size, SQLLEN* indicator);
    void ForgetRead() { held_.Forget(); }

    Diagnosis diagnosis;

    SQLRETURN Fail(const Diagnosis& why)
    {
        diagnosis = why;
        return SQL_ERROR;
    }

private:
    struct Parameter {
        ParameterShape shape;
        BoundText text;
        Buffers bound;  // for the driver
        bool is_awaited = false;

        bool IsInput() const { return shape.io_type != SQL_PARAM_OUTPUT; }
        bool IsOutput() const { return shape.io_type != SQL_PARAM_INPUT; }
    };
    struct Column {
        BoundText text;
        Buffers bound;
    };

    bool Convert(SQLUSMALLINT number, Parameter& parameter);
    bool ConvertRow(SQLUSMALLINT number, Parameter& parameter, SQLULEN row);
    SQLRETURN Bind(SQLUSMALLINT number, Parameter& parameter);
    SQLRETURN Bind(SQLUSMALLINT number, Column& column);
    SQLRETURN RunWithParameters(const Run& run);
    SQLRETURN Note(BoundText::Outcome outcome, const char* subject, int number, SQLRETURN code);

    SQLHSTMT handle_;
    SQLHDBC connection_;
    WideForm form_;
    HeldText held_;
    std::map<SQLUSMALLINT, Parameter> parameters_;
    /// After the last one that the statement has a marker for.
    std::map<SQLUSMALLINT, Parameter>::iterator used_end_ = parameters_.end();
    std::map<SQLUSMALLINT, Column> columns_;
    RowLayout sets_;  // parameter sets
    RowLayout rows_;
    SQLULEN extended_rows_ = 1;
    Run awaited_run_;
    bool is_collecting_ = false;
    Parameter* collected_ = nullptr;  // the one that pieces are for; null: none yet
    SQLUSMALLINT collected_number_ = 0;
};
