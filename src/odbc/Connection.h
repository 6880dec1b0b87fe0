// One open connection.
#pragma once

#include <sql.h>

#include <cstdint>
#include <map>
#include <memory>

#include "orvelgw.h"

class CEnvironment;
class CStatement;

/// A connection and the statements opened on it, which it owns.
class CConnection {
public:
    CConnection(CEnvironment* environment, SQLHDBC handle);
    /// Deletes the statement objects. Frees no handle.
    virtual ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    /// Allocates a statement handle and registers it. Returns null for any code but SQL_SUCCESS:
    /// after SQL_SUCCESS_WITH_INFO the driver's handle is neither registered nor freed.
    CStatement* AllocateStatement();

    /// Registers a statement here and in the environment, or in neither where memory fails. An
    /// entry of the same handle is kept, and returned.
    CStatement* AddStatement(SQLHSTMT handle);

    /// Takes the entry out of this connection's map, which deletes the object.
    void EraseStatement(SQLHSTMT handle);

    /// Deletes every statement object and takes it out of both maps.
    void ReleaseAll();

    /// Writes one item of driver information as a list of one string: the bytes as the driver gives
    /// them, one zero byte where it gives none, "<ERROR>" where it fails. Returns SQLGetInfo's
    /// code.
    SQLRETURN GetInfo(std::int64_t type, zarray* output);

    CEnvironment* Environment() const { return environment_; }
    SQLHDBC Handle() const { return handle_; }

private:
    SQLHDBC handle_;
    std::map<SQLHSTMT, std::unique_ptr<CStatement>> statements_;
    CEnvironment* environment_;
};
