// The other half of a pair: direct ODBC calls through the same driver manager.
#pragma once

#include <sqlext.h>

#include <string>

#include "Source.h"

/// A connection in its own ODBC environment. Throws on failure, with the driver's message.
class BareConnection {
public:
    BareConnection(const Source& source, const Mode& mode);
    ~BareConnection();
    BareConnection(const BareConnection&) = delete;
    BareConnection& operator=(const BareConnection&) = delete;

    void SetAutocommit(bool on) const;
    void Commit() const;
    void Rollback() const;
    /// A text of SQLGetInfo.
    std::string Information(SQLUSMALLINT type) const;
    SQLHDBC Handle() const { return connection_; }

private:
    SQLHENV environment_ = nullptr;
    SQLHDBC connection_ = nullptr;
};

/// A statement. The operations that are measured are ODBC's own, on its handle.
class BareStatement {
public:
    explicit BareStatement(const BareConnection& connection);
    ~BareStatement();
    BareStatement(const BareStatement&) = delete;
    BareStatement& operator=(const BareStatement&) = delete;

    void Prepare(const std::string& sql) const;
    void Execute() const;
    void Run(const std::string& sql) const;
    /// 64 bits, of which the first 32 are the value: Virtuoso's driver 7.2.5 reads them all.
    void BindInteger(SQLUSMALLINT number, long& value) const;
    void BindDouble(SQLUSMALLINT number, double& value) const;
    void BindText(SQLUSMALLINT number, char* text, std::size_t size, SQLLEN& indicator) const;
    /// The first column of the next row.
    long FetchNumber() const;
    void CloseCursor() const;
    SQLHSTMT Handle() const { return handle_; }

private:
    SQLHSTMT handle_ = nullptr;
};

/// Text as ODBC takes it; it is never changed.
SQLCHAR* AsText(const std::string& text);

/// Reads the columns of the current row, in the way of a mode, into buffers of that many bytes.
void ReadColumns(SQLHSTMT statement, const Mode& mode, SQLLEN buffer_bytes);
