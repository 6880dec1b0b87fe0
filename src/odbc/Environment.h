// The ODBC environment and the registry of everything opened in it.
#pragma once

#include <sys/types.h>

#include <sql.h>

#include <cstdint>
#include <map>
#include <memory>

#include "odbc/HandleMap.h"
#include "odbc/HostGuard.h"

class CConnection;
class CError;
class ConnectionHandle;
class CStatement;

/// The process's ODBC environment, its options, and the registry of connections and statements by
/// ODBC handle. A handle that is not in the registry reaches no driver, except for the connection
/// handle of "GetSQLErrors": the records of a removed connection can still be read.
///
/// In a child of fork() the environment frees nothing: its connections are the parent's.
///
/// Codes returned are ODBC's, or kUnknownHandle.
class CEnvironment {
public:
    CEnvironment();
    /// Frees what is open, as Free does.
    virtual ~CEnvironment();
    CEnvironment(const CEnvironment&) = delete;
    CEnvironment& operator=(const CEnvironment&) = delete;

    /// Creates the environment handle and sets its ODBC version: 2 with the legacy option, 3
    /// without. Returns the code of SQLAllocHandle; the version is set only if that succeeds. An
    /// earlier handle is replaced, not freed.
    SQLRETURN AllocEnv();

    /// Disconnects everything and frees the environment handle; in a process other than the one
    /// that allocated it, only drops both. Returns 0 if there is none.
    SQLRETURN Free();

    /// Connects to a data source by name and registers the connection. Returns its handle, or null,
    /// for a refused attempt with the first diagnostic record in error. A timeout (seconds) of 0
    /// sets none; with a null dsn there is no attempt. The reserved handle is not used.
    SQLHDBC Connect(const char* dsn, const char* uid, const char* pwd, SQLHANDLE reserved,
                    CError& error, int timeout);

    /// Connects by a connection string, or by a bare data source name, and registers the
    /// connection. Otherwise like Connect; a string that starts with DRIVER or DSN is truncated to
    /// 254 characters in place.
    SQLHDBC DSNConnect(char* connection_string, SQLHANDLE reserved, CError& error, int timeout);

    /// DSNConnect without registering: the handle is connected and belongs to the caller.
    SQLHDBC ConnectToDSN(char* connection_string, const char* reserved_text,
                         SQLHANDLE reserved_handle, CError& error, int timeout);

    /// The registered object, or null.
    CConnection* GetConnectionPointer(SQLHDBC handle) const;
    CStatement* GetStatementPointer(SQLHSTMT handle) const { return statements_.Find(handle); }

    /// Registers a connection and returns its object; an existing entry for the handle is kept.
    CConnection* AddConnection(SQLHDBC handle);
    void AddStPointer(CStatement* statement);

    /// Removes the entry from the statement map; deletes nothing.
    void EraseStatement(SQLHSTMT handle);

    /// Frees the statement's handle and deletes its object. A statement whose handle the driver
    /// fails to free stays registered.
    SQLRETURN DropStatement(SQLHSTMT handle);

    /// Deletes the connection's objects, disconnects and frees its handle. The registry drops the
    /// connection first, so a failed disconnect leaves no entry behind.
    SQLRETURN Disconnect(SQLHDBC handle);
    void DisconnectAll();

    /// Drops a connection and its statements without an ODBC call; their handles stay open.
    void RemoveConnection(SQLHDBC handle);

    SQLHENV Handle() const { return handle_; }
    std::int64_t OdbcVersion() const { return odbc_version_; }

    // The options; zero is off. Each is read when the code that it concerns runs.
    std::int64_t unicode_option = 0;
    std::int64_t log_option = 0;
    std::int64_t legacy_option = 0;

private:
    SQLHDBC AllocConnection();
    static void SetLoginTimeout(const ConnectionHandle& connection, int timeout);
    bool IsConnected(ConnectionHandle& attempted, SQLRETURN code, CError& error);
    SQLHDBC Register(ConnectionHandle& connected);

    std::int64_t odbc_version_ = 0;  // 2 or 3 once there is an environment
    SQLHENV handle_ = nullptr;
    pid_t process_ = 0;  // that allocated the handle
    BrokenPipeHandler broken_pipe_;
    HandleMap<CStatement> statements_;  // each connection owns its objects
    std::map<SQLHDBC, std::unique_ptr<CConnection>> connections_;
};
