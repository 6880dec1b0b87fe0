// One statement: what it runs, how its result is described, and the rows it brings.
#pragma once

#include <sql.h>

#include <vector>

#include "orvelgw.h"

class CConnection;
class CParameter;
class ZConstList;

/// An ODBC statement. Codes returned are ODBC's, or the library's own of odbc/result.h. Outputs
/// (zarray) are filled without a test of their capacity, which is the host's to grant.
class CStatement {
public:
    CStatement(CConnection* owner, SQLHSTMT handle);
    /// Deletes the parameters. The ODBC handle stays: freeing it is CEnvironment::DropStatement's.
    virtual ~CStatement();
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    /// Deletes the parameters.
    void ReleaseAll();

    /// SQLPrepare; SQL_ERROR without a call for a null text. The length is in bytes.
    SQLRETURN Prepare(char* text, int length);
    /// SQLPrepareW of a terminated text; SQL_ERROR without a call for a null text.
    SQLRETURN PrepareW(wchar_t* text);
    /// SQLRowCount. The count is stored, cut to 32 bits, whatever the code.
    SQLRETURN RowCount(int* count);
    SQLRETURN Fetch();

    /// Writes the list of column descriptions: a header of the column count and seven titles, then
    /// for each column its name, SQL type, size, decimal digits, nullability, type name, display
    /// size and money flag, each a list in the list. Ends with the first call that fails, whose
    /// code is returned; the columns before it are written.
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
    /// all where the list is empty. A column that can't be read is "<ERROR>". Returns the code of
    /// the last read; kOutOfRange for a column that doesn't exist, with nothing written.
    SQLRETURN GetOneRow(ZConstList& columns, zarray* output);

    /// Fetches up to so many rows and writes them as a list of lists. Returns 0 where the rows run
    /// out, kTooMuchData with a list of one error text where the list outgrows an output, otherwise
    /// the last code, of a fetch or of the last read.
    SQLRETURN ExtendedFetch(unsigned int rows, zarray* output);

    CConnection* Owner() const { return owner_; }
    SQLHSTMT Handle() const { return handle_; }

private:
    CConnection* owner_;
    std::vector<CParameter*> parameters_;  // owned, in binding order; an element may be null
    SQLHSTMT handle_;
};
