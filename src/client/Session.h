// A connection through the gateway.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "client/Gateway.h"

/// An entry reported a failure. What the driver said of it is in diagnostics.
struct SqlError : std::runtime_error {
    SqlError(const std::string& what, std::vector<std::string> lines)
        : std::runtime_error(what), diagnostics(std::move(lines))
    {}

    std::vector<std::string> diagnostics;  // a line a record, as the driver wrote it
};

/// What "GetSQLErrors" tells of these handles (empty: not given), a line a record.
std::vector<std::string> DiagnosticLines(const Gateway& gateway, const std::string& connection,
                                         const std::string& statement);

/// The parts of such a line, "  SQLState: (28000) NativeError: [1] Message: Login failed": the
/// SQLSTATE, empty where the line has none, and the message, which is the whole line then.
std::string StateOf(const std::string& line);
std::string MessageOf(const std::string& line);

/// Whether the gateway passes text on as a connection string: its first word, which ends at an
/// equals sign, at a blank or with the sixth character, is DRIVER or DSN. All else is the name of a
/// data source.
bool IsConnectionString(std::string_view text);

/// The connection was refused.
struct ConnectError : SqlError {
    using SqlError::SqlError;
};

/// The switches of the gateway that a session sets.
struct SessionOptions {
    bool unicode = false;
    bool legacy = false;
    bool log = false;
};

/// One connection, closed with this object.
class Session {
public:
    /// Sets the switches and connects by a connection string or a data source name. Throws
    /// ConnectError.
    Session(const Gateway& gateway, const SessionOptions& options,
            const std::string& connection_string);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Calls an entry with this connection as its first argument. Throws SqlError where the entry
    /// fails.
    Reply Call(const std::string& entry, const std::vector<Argument>& rest = {}) const;

    /// A text that the driver tells of itself or its source: the value of an ODBC information type.
    /// Throws SqlError.
    std::string Information(std::int32_t type) const;

    /// What the driver has to say of the last call, or of a statement's last call.
    std::vector<std::string> Diagnostics(const std::string& statement = {}) const;

    const Gateway& Library() const { return gateway_; }
    const SessionOptions& Options() const { return options_; }

    /// Whether text goes into parameters as 2-byte characters. It does not, even with the Unicode
    /// option, where the driver is narrow: iODBC 3.52.9 cuts wide parameters of text outside ASCII,
    /// taking characters for bytes (tests/sources, Values.OfWideTextToNarrowDrivers).
    bool WideParameters() const { return options_.unicode && !driver_is_narrow_; }

    /// The driver's file; empty where none is found.
    const std::string& DriverFile() const { return driver_file_; }

    /// Whether the driver has narrow functions only, so that the driver manager converts all wide
    /// text on its way.
    bool DriverIsNarrow() const { return driver_is_narrow_; }

    const std::string& Connection() const { return connection_; }  // the handle's bytes

    /// The longest connection string that reaches the driver whole; longer ones that start with
    /// DRIVER or DSN are cut by the gateway.
    static constexpr std::size_t kLongestConnectionString = 254;

private:
    const Gateway& gateway_;
    SessionOptions options_;
    std::string connection_;
    std::string driver_file_;
    bool driver_is_narrow_ = false;
};

/// What is done on a connection from here on is kept together, or not at all: undone with this
/// object unless it was committed. In between the connection doesn't commit by itself.
class Transaction {
public:
    /// Throws SqlError.
    explicit Transaction(const Session& session);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Throws SqlError.
    void Commit();

private:
    const Session& session_;
    bool is_open_ = true;
};
