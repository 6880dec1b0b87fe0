#include "odbc/Environment.h"

#include <unistd.h>

#include <sqlext.h>

#include <cctype>
#include <cstring>
#include <string>
#include <utility>

#include "odbc/Connection.h"
#include "odbc/Error.h"
#include "odbc/OwnedHandle.h"
#include "odbc/Statement.h"
#include "odbc/result.h"

namespace {

SQLSMALLINT TextLength(const char* text)
{
    return text != nullptr ? static_cast<SQLSMALLINT>(std::strlen(text)) : SQLSMALLINT{0};
}

// The first word of a connection string in upper case: up to "=", a blank or 6 characters.
std::string Keyword(const char* connection_string)
{
    constexpr std::size_t kLongest = 6;
    std::string keyword;
    for (const char* at = connection_string;
         *at != '\0' && *at != '=' && *at != ' ' && keyword.size() < kLongest; ++at) {
        keyword.push_back(static_cast<char>(std::toupper(static_cast<unsigned char>(*at))));
    }
    return keyword;
}

}  // namespace

CEnvironment::CEnvironment() = default;

CEnvironment::~CEnvironment()
{
    const HostGuard guard;
    try {
        Free();
    } catch (...) {
        // There is nowhere to report it; exiting or unloading continues.
    }
}

SQLRETURN CEnvironment::AllocEnv()
{
    const std::int64_t version = legacy_option != 0 ? SQL_OV_ODBC2 : SQL_OV_ODBC3;
    odbc_version_ = 0;
    handle_ = nullptr;
    process_ = ::getpid();
    const SQLRETURN code = SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &handle_);
    SQLSetEnvAttr(handle_, SQL_ATTR_ODBC_VERSION, AsPointer(version), 0);
    if (Succeeded(code)) {
        odbc_version_ = version;
    }
    return code;
}

SQLRETURN CEnvironment::Free()
{
    if (handle_ == nullptr) {
        return SQL_SUCCESS;
    }
    if (process_ != ::getpid()) {
        connections_.clear();  // the connections are the parent's
        handle_ = nullptr;
        return SQL_SUCCESS;
    }
    DisconnectAll();
    const SQLRETURN code = SQLFreeHandle(SQL_HANDLE_ENV, std::exchange(handle_, nullptr));
    BrokenPipeHandler::Remove();
    return code;
}

SQLHDBC CEnvironment::AllocConnection()
{
    BrokenPipeHandler::Install();
    SQLHDBC connection = nullptr;
    const SQLRETURN code = SQLAllocHandle(SQL_HANDLE_DBC, handle_, &connection);
    return code == SQL_SUCCESS ? connection : nullptr;
}

void CEnvironment::SetLoginTimeout(const ConnectionHandle& connection, int timeout)
{
    if (timeout != 0) {
        SQLSetConnectAttr(connection.Get(), SQL_ATTR_LOGIN_TIMEOUT, AsPointer(timeout), 0);
    }
}

bool CEnvironment::IsConnected(ConnectionHandle& attempted, SQLRETURN code, CError& error)
{
    if (!Succeeded(code)) {
        error.SetConnectError(handle_, attempted.Get(), nullptr);
        return false;
    }
    attempted.SetConnected();
    return true;
}

SQLHDBC CEnvironment::Connect(const char* dsn, const char* uid, const char* pwd,
                              SQLHANDLE /*reserved*/, CError& error, int timeout)
{
    if (dsn == nullptr || handle_ == nullptr) {
        return nullptr;
    }
    const LocaleGuard locale;
    ConnectionHandle connection(AllocConnection());
    if (connection.Get() == nullptr) {
        return nullptr;
    }
    SetLoginTimeout(connection, timeout);
    const SQLRETURN code = SQLConnect(connection.Get(), AsText(dsn), TextLength(dsn), AsText(uid),
                                      TextLength(uid), AsText(pwd), TextLength(pwd));
    return IsConnected(connection, code, error) ? Register(connection) : nullptr;
}

SQLHDBC CEnvironment::ConnectToDSN(char* connection_string, const char* /*reserved_text*/,
                                   SQLHANDLE /*reserved_handle*/, CError& error, int timeout)
{
    constexpr std::size_t kLongestWithKeyword = 254;
    if (connection_string == nullptr || handle_ == nullptr) {
        return nullptr;
    }
    const LocaleGuard locale;
    ConnectionHandle connection(AllocConnection());
    if (connection.Get() == nullptr) {
        return nullptr;
    }
    SetLoginTimeout(connection, timeout);
    std::string in;
    const std::string keyword = Keyword(connection_string);
    if (keyword == "DRIVER" || keyword == "DSN") {
        if (std::strlen(connection_string) > kLongestWithKeyword) {
            connection_string[kLongestWithKeyword] = '\0';
        }
        in = connection_string;
    } else {
        in = std::string("DSN=") + connection_string;
    }
    char completed[256] = {};
    constexpr SQLSMALLINT kCompletedCapacity = 254;
    // iODBC 3.52.9 writes through this pointer after every success without checking it for null
    // (with a null pointer every test of tests/sources crashes).
    SQLSMALLINT completed_length = 0;
    const SQLRETURN code =
        SQLDriverConnect(connection.Get(), nullptr, AsText(in.c_str()), TextLength(in.c_str()),
                         reinterpret_cast<SQLCHAR*>(completed), kCompletedCapacity,
                         &completed_length, SQL_DRIVER_NOPROMPT);
    return IsConnected(connection, code, error) ? connection.Release() : nullptr;
}

SQLHDBC CEnvironment::DSNConnect(char* connection_string, SQLHANDLE reserved, CError& error,
                                 int timeout)
{
    ConnectionHandle connection(ConnectToDSN(connection_string, nullptr, reserved, error, timeout),
                                ConnectionHandle::State::kConnected);
    return connection.Get() != nullptr ? Register(connection) : nullptr;
}

SQLHDBC CEnvironment::Register(ConnectionHandle& connected)
{
    AddConnection(connected.Get());
    return connected.Release();
}

CConnection* CEnvironment::GetConnectionPointer(SQLHDBC handle) const
{
    const auto found = connections_.find(handle);
    return found != connections_.end() ? found->second.get() : nullptr;
}

CConnection* CEnvironment::AddConnection(SQLHDBC handle)
{
    auto connection = std::make_unique<CConnection>(this, handle);
    return connections_.try_emplace(handle, std::move(connection)).first->second.get();
}

void CEnvironment::AddStPointer(CStatement* statement)
{
    statements_.Insert(statement->Handle(), statement);
}

void CEnvironment::EraseStatement(SQLHSTMT handle)
{
    statements_.Erase(handle);
}

SQLRETURN CEnvironment::DropStatement(SQLHSTMT handle)
{
    CStatement* statement = GetStatementPointer(handle);
    if (statement == nullptr) {
        return kUnknownHandle;
    }
    const SQLRETURN code = SQLFreeHandle(SQL_HANDLE_STMT, handle);
    if (!Succeeded(code)) {
        return code;
    }
    EraseStatement(handle);
    statement->Owner()->EraseStatement(handle);  // which deletes the object
    return code;
}

SQLRETURN CEnvironment::Disconnect(SQLHDBC handle)
{
    if (!connections_.contains(handle)) {
        return kUnknownHandle;
    }
    ConnectionHandle closing(handle, ConnectionHandle::State::kConnected);
    RemoveConnection(handle);
    return closing.Close();
}

void CEnvironment::DisconnectAll()
{
    while (!connections_.empty()) {
        Disconnect(connections_.begin()->first);
    }
}

void CEnvironment::RemoveConnection(SQLHDBC handle)
{
    connections_.erase(handle);
}
