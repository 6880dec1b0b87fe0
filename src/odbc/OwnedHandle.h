// Handles that the registry does not list, and who has to free them.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <utility>

/// Owns a handle of an ODBC type (SQL_HANDLE_STMT, SQL_HANDLE_DBC) until somebody takes it over:
/// whatever throws meanwhile, it is freed.
template <SQLSMALLINT handle_type>
class OwnedHandle {
public:
    explicit OwnedHandle(SQLHANDLE handle) : handle_(handle) {}
    ~OwnedHandle()
    {
        try {
            Free();
        } catch (...) {
            // What kept the handle from its new owner is on its way already.
        }
    }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;

    /// Null where there is none.
    SQLHANDLE Get() const { return handle_; }

    /// Hands the handle over; there is none any more.
    SQLHANDLE Release() { return std::exchange(handle_, nullptr); }

    /// Frees the handle; a driver manager that throws is not asked again. Returns SQLFreeHandle's
    /// code, SQL_SUCCESS where there is none.
    SQLRETURN Free()
    {
        return handle_ != nullptr ? SQLFreeHandle(handle_type, Release()) : SQLRETURN{SQL_SUCCESS};
    }

private:
    SQLHANDLE handle_;
};

using StatementHandle = OwnedHandle<SQL_HANDLE_STMT>;

/// Owns a connection handle in the same way; one that is connected is disconnected first.
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

    /// Disconnects what is connected and frees the handle. Returns SQLFreeHandle's code.
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
