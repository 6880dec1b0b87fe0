// What the wide shim knows of a statement.
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

/// The wide text of a statement of the driver's: its parameters, its bound columns, and the value
/// that is being read. What is done to it is done to the driver's statement, too.
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
    /// The driver has another binding there.
    void ForgetParameter(SQLUSMALLINT number);
    void ForgetColumn(SQLUSMALLINT number) { columns_.erase(number); }
    /// What SQLFreeStmt frees, by its option.
    void Free(SQLUSMALLINT option);

    /// Keeps what an attribute says of the rows of buffers.
    void NoteAttribute(SQLINTEGER attribute, SQLPOINTER value);

    using Run = std::function<SQLRETURN(SQLHSTMT)>;

    /// Runs what executes the statement, once its wide parameters are the driver's text. Bindings
    /// beyond the markers that it has are of another statement, and their buffers may be gone.
    SQLRETURN Execute(std::size_t markers, Run run);
    SQLRETURN ExecutePrepared();
    /// Data at execution of wide parameters, which the shim takes before anything is sent. The
    /// driver asks for the rest of its own accord.
    bool IsCollecting() const { return is_collecting_; }
    SQLRETURN NextAwaited(SQLPOINTER* token);
    SQLRETURN TakePiece(SQLPOINTER data, SQLLEN size);
    void StopCollecting();
    /// Output parameters that come with, or behind, the results.
    SQLRETURN DeliverParameters(SQLRETURN code);

    /// Fetches rows by a function of the driver's, so many as it may bring.
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
        Buffers bound;  // as the driver has it
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
    /// Behind those that the statement has markers for.
    std::map<SQLUSMALLINT, Parameter>::iterator used_end_ = parameters_.end();
    std::map<SQLUSMALLINT, Column> columns_;
    RowLayout sets_;  // of parameters
    RowLayout rows_;
    SQLULEN extended_rows_ = 1;
    Run awaited_run_;
    bool is_collecting_ = false;
    Parameter* collected_ = nullptr;  // which pieces are for; null: none yet
    SQLUSMALLINT collected_number_ = 0;
};
