// Owners of handles that are not in the registry.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <utility>

/// Owns a handle of an ODBC type (SQL_HANDLE_STMT, SQL_HANDLE_DBC) until it is released: whatever
/// throws meanwhile, it is freed.
template <SQLSMALLINT handle_type>
class OwnedHandle {
public:
    explicit OwnedHandle(SQLHANDLE handle) : handle_(handle) {}
    ~OwnedHandle()
    {
        try {
            Free();
        } catch (...) {
            // The exception that prevented the release is already being thrown.
        }
    }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;

    /// Null if there is none.
    SQLHANDLE Get() const { return handle_; }

    /// Hands the handle over; this object no longer has one.
    SQLHANDLE Release() { return std::exchange(handle_, nullptr); }

    /// Frees the handle; if the driver manager throws, it is not called again. Returns
    /// SQLFreeHandle's code, or SQL_SUCCESS if there is no handle.
    SQLRETURN Free()
    {
        return handle_ != nullptr ? SQLFreeHandle(handle_type, Release()) : SQLRETURN{SQL_SUCCESS};
    }

private:
    SQLHANDLE handle_;
};

using StatementHandle = OwnedHandle<SQL_HANDLE_STMT>;

/// Likewise owns a connection handle; if connected, it is disconnected first.
class ConnectionHandle {
public:
    enum class State { kAllocated, kConnected };

    explicit ConnectionHandle(SQLHDBC handle, State state = State::kAllocated)
        : handle_(handle), state_(state)
    {}
    ~ConnectionHandle()
    {
        try {
            Disconnect();
        } catch (...) {
            // As above; the handle is freed next.
        }
    }
    ConnectionHandle(const ConnectionHandle&) = delete;
    ConnectionHandle& operator=(const ConnectionHandle&) = delete;

    SQLHDBC Get() const { return handle_.Get(); }
    SQLHDBC Release() { return handle_.Release(); }
    void SetConnected() { state_ = State::kConnected; }

    /// Disconnects if connected, and frees the handle. Returns SQLFreeHandle's code.
    SQLRETURN Close()
    {
        Disconnect();
        return handle_.Free();
    }

private:
    void Disconnect()
    {
        const State state = std::exchange(state_, State::kAllocated);
        if (handle_.Get() != nullptr && state == State::kConnected) {
            SQLDisconnect(handle_.Get());
        }
    }

    OwnedHandle<SQL_HANDLE_DBC> handle_;
    State state_;
};
