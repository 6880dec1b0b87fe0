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

    /// Allocates a statement handle and registers it. Returns null for any code other than
    /// SQL_SUCCESS: after SQL_SUCCESS_WITH_INFO the driver's handle is neither registered nor
    /// freed.
    CStatement* AllocateStatement();

    /// Registers a statement here and in the environment, or in neither if memory runs out. An
    /// existing entry for the handle is kept, and returned.
    CStatement* AddStatement(SQLHSTMT handle);

    /// Removes the entry from this connection's map, which deletes the object.
    void EraseStatement(SQLHSTMT handle);

    /// Deletes every statement object and removes it from both maps.
    void ReleaseAll();

    /// Writes one item of driver information as a list of one string: the bytes as the driver
    /// supplies them, one zero byte if it supplies none, "<ERROR>" if it fails. Returns
    /// SQLGetInfo's code.
    SQLRETURN GetInfo(std::int64_t type, zarray* output);

    CEnvironment* Environment() const { return environment_; }
    SQLHDBC Handle() const { return handle_; }

private:
    SQLHDBC handle_;
    std::map<SQLHSTMT, std::unique_ptr<CStatement>> statements_;
    CEnvironment* environment_;
};
