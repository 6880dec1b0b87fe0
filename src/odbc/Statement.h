// One statement: its text, its parameters, the description of its result, and its rows.
#pragma once

#include <sql.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "orvelgw.h"

class CConnection;
class CParameter;
class ZConstList;

/// Asks for length bytes of storage for the text of an output long string; null if there is none.
using TextAllocator = char* (*)(std::uint16_t length);

/// An ODBC statement. Codes returned are ODBC's, or the library's own of odbc/result.h. Outputs
/// (zarray) are filled without checking their capacity, which the host has to grant.
class CStatement {
public:
    CStatement(CConnection* owner, SQLHSTMT handle);
    /// Deletes the parameters. The ODBC handle stays: freeing it is CEnvironment::DropStatement's.
    virtual ~CStatement();
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    /// Deletes the parameters.
    void ReleaseAll();

    /// SQLPrepare; SQL_ERROR, without a call, for a null text. The length is in bytes; a zero
    /// follows them for the driver.
    SQLRETURN Prepare(char* text, int length);
    /// SQLPrepareW of a terminated text; SQL_ERROR, without a call, for a null text.
    SQLRETURN PrepareW(wchar_t* text);
    /// SQLExecute.
    SQLRETURN Execute();
    /// How often it was executed.
    unsigned long Executions() const { return executions_; }
    /// SQLRowCount. The count is stored, truncated to 32 bits, whatever the code.
    SQLRETURN RowCount(int* count);
    SQLRETURN Fetch();

    /// Writes the list of column descriptions: a header of the column count and seven titles, then
    /// for each column its name, SQL type, size, decimal digits, nullability, type name, display
    /// size and money flag, each a list in the list. Stops at the first call that fails and returns
    /// its code; the columns before it are written.
    SQLRETURN DescribeCols(zarray* output);
    /// The same with names read as wide text.
    SQLRETURN DescribeColsW(zarray* output);

    SQLRETURN NumColAttribute(SQLUSMALLINT column, SQLUSMALLINT field, SQLLEN* value);
    /// The text of a column attribute; capacity and length are in bytes, in both widths.
    SQLRETURN StrColAttribute(SQLUSMALLINT column, SQLUSMALLINT field, char* text,
                              SQLSMALLINT capacity, SQLSMALLINT* length);
    SQLRETURN StrColAttributeW(SQLUSMALLINT column, SQLUSMALLINT field, wchar_t* text,
                               SQLSMALLINT capacity, SQLSMALLINT* length);

    /// Writes the current row as a list: the columns whose numbers are listed, in that order, or
    /// all if the list is empty. A column that can't be read is "<ERROR>". Returns the code of
    /// the last read; kOutOfRange for a column that doesn't exist, with nothing written.
    SQLRETURN GetOneRow(ZConstList& columns, zarray* output);

    /// Fetches up to that many rows and writes them as a list of lists. Returns 0 if there are no
    /// more rows; kTooMuchData, with a list of one error text, if the list is too long for an
    /// output; otherwise the last code, of a fetch or of a read.
    SQLRETURN ExtendedFetch(unsigned int rows, zarray* output);

    // Long data. The C type is SQL_C_CHAR, SQL_C_BINARY or SQL_C_WCHAR, which is delivered as
    // 2-byte characters. A value that doesn't fit is truncated; the next read of the column
    // continues after what the driver returned, and SQL_NO_DATA means that nothing is left. NULL
    // has length 0, empty text is one zero.

    /// The column's value, or its next piece, of up to 32,766 bytes or 16,383 characters. The count
    /// of characters is taken from the low 16 bits of their bytes.
    SQLRETURN GetData(SQLUSMALLINT column, SQLSMALLINT c_type, zarray* output);
    /// The column's value, or its next piece: the driver is offered length bytes, and the text of
    /// the output must have room for as many units (bytes, or 2-byte characters), and at least two
    /// bytes. Throws std::length_error for a negative length.
    SQLRETURN GetDataEx(SQLUSMALLINT column, SQLSMALLINT c_type, long length, ORVEL_EXSTR* output);

    // Parameters. Numbers count from 1.

    /// Replaces all parameters with one for each element of the lengths; elements missing from the
    /// other lists are 0. Stops at the first binding that is not SQL_SUCCESS and returns its code.
    SQLRETURN BindParamList(ZConstList& lengths, ZConstList& sql_types, ZConstList& scales,
                            ZConstList& io_types, ZConstList& column_sizes);
    /// Creates or replaces one parameter and binds it. kOutOfRange for a number that ODBC can't
    /// express.
    SQLRETURN BindParameter(int number, int io_type, int c_type, int sql_type, int column_size,
                            int decimal_digits, int length);
    /// Deletes the parameters and their bindings.
    SQLRETURN UnbindParameters();
    /// Stores the first element as the value of a parameter and binds it again if its buffer or
    /// type changes. kOutOfRange if there is no such parameter, no element, or one of the long form
    /// (65,535 bytes or more), which the reader does not support.
    SQLRETURN SetParam(ZConstList& value, long number);
    /// The same with the element's bytes unchanged.
    SQLRETURN SetParamBinary(ZConstList& value, long number);
    /// The value of the parameter at an index (from 0) as a list of one element. The text's length
    /// is truncated to 16 bits, and 0 if there is no storage. kOutOfRange, with the output
    /// unchanged, if there is no such parameter.
    SQLRETURN GetParamList(long index, ORVEL_EXSTR* output, TextAllocator allocate) const;
    /// Writes the list of parameter descriptions: a header of the count and four titles, then for
    /// each marker its SQL type, size, decimal digits and nullability. Stops at the first call that
    /// fails and returns its code.
    SQLRETURN DescribeParams(zarray* output);

    // Catalogs: each is the ODBC function of its name. A null name restricts nothing, one of length
    // 0 is the empty name; lengths are in characters.

    SQLRETURN Tables(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                     SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length,
                     SQLCHAR* type, SQLSMALLINT type_length);
    SQLRETURN TablesW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                      SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length,
                      SQLWCHAR* type, SQLSMALLINT type_length);
    SQLRETURN Columns(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                      SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length,
                      SQLCHAR* column, SQLSMALLINT column_length);
    SQLRETURN ColumnsW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                       SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length,
                       SQLWCHAR* column, SQLSMALLINT column_length);
    SQLRETURN ColumnPrivileges(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                               SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length,
                               SQLCHAR* column, SQLSMALLINT column_length);
    SQLRETURN ColumnPrivilegesW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                                SQLSMALLINT schema_length, SQLWCHAR* table,
                                SQLSMALLINT table_length, SQLWCHAR* column,
                                SQLSMALLINT column_length);
    SQLRETURN TablePrivileges(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                              SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length);
    SQLRETURN TablePrivilegesW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                               SQLSMALLINT schema_length, SQLWCHAR* table,
                               SQLSMALLINT table_length);
    SQLRETURN Procedures(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                         SQLSMALLINT schema_length, SQLCHAR* procedure,
                         SQLSMALLINT procedure_length);
    SQLRETURN ProceduresW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                          SQLSMALLINT schema_length, SQLWCHAR* procedure,
                          SQLSMALLINT procedure_length);
    SQLRETURN ProcedureColumns(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                               SQLSMALLINT schema_length, SQLCHAR* procedure,
                               SQLSMALLINT procedure_length, SQLCHAR* column,
                               SQLSMALLINT column_length);
    SQLRETURN ProcedureColumnsW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                                SQLSMALLINT schema_length, SQLWCHAR* procedure,
                                SQLSMALLINT procedure_length, SQLWCHAR* column,
                                SQLSMALLINT column_length);
    SQLRETURN PrimaryKeys(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                          SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length);
    SQLRETURN PrimaryKeysW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                           SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length);
    SQLRETURN SpecialColumns(SQLUSMALLINT identifier_type, SQLCHAR* catalog,
                             SQLSMALLINT catalog_length, SQLCHAR* schema, SQLSMALLINT schema_length,
                             SQLCHAR* table, SQLSMALLINT table_length, SQLUSMALLINT scope,
                             SQLUSMALLINT nullable);
    SQLRETURN SpecialColumnsW(SQLUSMALLINT identifier_type, SQLWCHAR* catalog,
                              SQLSMALLINT catalog_length, SQLWCHAR* schema,
                              SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length,
                              SQLUSMALLINT scope, SQLUSMALLINT nullable);
    /// Asks for figures that are accurate (SQL_ENSURE), as StatisticsW does.
    SQLRETURN Statistics(SQLCHAR* catalog, SQLSMALLINT catalog_length, SQLCHAR* schema,
                         SQLSMALLINT schema_length, SQLCHAR* table, SQLSMALLINT table_length,
                         SQLUSMALLINT unique);
    SQLRETURN StatisticsW(SQLWCHAR* catalog, SQLSMALLINT catalog_length, SQLWCHAR* schema,
                          SQLSMALLINT schema_length, SQLWCHAR* table, SQLSMALLINT table_length,
                          SQLUSMALLINT unique);
    SQLRETURN ForeignKeys(SQLCHAR* pk_catalog, SQLSMALLINT pk_catalog_length, SQLCHAR* pk_schema,
                          SQLSMALLINT pk_schema_length, SQLCHAR* pk_table,
                          SQLSMALLINT pk_table_length, SQLCHAR* fk_catalog,
                          SQLSMALLINT fk_catalog_length, SQLCHAR* fk_schema,
                          SQLSMALLINT fk_schema_length, SQLCHAR* fk_table,
                          SQLSMALLINT fk_table_length);
    SQLRETURN ForeignKeysW(SQLWCHAR* pk_catalog, SQLSMALLINT pk_catalog_length, SQLWCHAR* pk_schema,
                           SQLSMALLINT pk_schema_length, SQLWCHAR* pk_table,
                           SQLSMALLINT pk_table_length, SQLWCHAR* fk_catalog,
                           SQLSMALLINT fk_catalog_length, SQLWCHAR* fk_schema,
                           SQLSMALLINT fk_schema_length, SQLWCHAR* fk_table,
                           SQLSMALLINT fk_table_length);

    CConnection* Owner() const { return owner_; }
    SQLHSTMT Handle() const { return handle_; }

private:
    CParameter* ParameterFor(ZConstList& value, long number) const;
    void Retire(std::size_t index);

    CConnection* owner_;
    std::vector<std::unique_ptr<CParameter>> parameters_;  // by number - 1; an element may be null
    // Replaced, but the driver still holds their buffers: it refused the replacements.
    std::vector<std::unique_ptr<CParameter>> retired_;  // likewise by number - 1
    SQLHSTMT handle_;
    unsigned long executions_ = 0;
};
