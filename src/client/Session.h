// A connection through the gateway.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "client/Gateway.h"
#include "client/ResultSink.h"
#include "client/source_traits.h"

/// An entry reported a failure, or what came of it can't be used.
struct SqlError : std::runtime_error {
    explicit SqlError(const std::string& what, std::vector<std::string> lines = {},
                      std::string entry_name = {})
        : std::runtime_error(what), diagnostics(std::move(lines)), entry(std::move(entry_name))
    {}

    std::vector<std::string> diagnostics;  // a line a record, as the driver wrote it
    std::string entry;                     // that reported it; empty: none
    std::string place;                     // what it was about, in front of the words; may be empty
    std::string aftermath;                 // what it came to, behind them; may be empty
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

    /// Throws SqlError where the code that an entry of a statement reported is a failure, or where
    /// it reported none since something was thrown inside it. Warnings go to the reporter.
    void Check(std::string_view entry, std::int32_t code, const std::string& statement,
               Reporter& reporter) const;

    /// The same of an entry that reports no code, or one that means something else.
    void CheckFlags(std::string_view entry, const std::string& statement) const;

    /// The same of an entry whose code tells its failures.
    void CheckException(std::string_view entry, const std::string& statement) const;

    /// Throws SqlError with the diagnostics of a statement.
    [[noreturn]] void Fail(const std::string& what, const std::string& statement) const;

    /// A text that the driver tells of itself or its source: the value of an ODBC information type.
    /// Throws SqlError.
    std::string Information(std::int32_t type) const;

    /// What the driver has to say of the last call, or of a statement's last call.
    std::vector<std::string> Diagnostics(const std::string& statement = {}) const;

    const Gateway& Library() const { return gateway_; }
    const SessionOptions& Options() const { return options_; }

    /// Whether text goes into parameters as 2-byte characters, whatever the Unicode option: to
    /// drivers of wide functions, as it is read from them. Not to narrow ones: iODBC 3.52.9 cuts
    /// wide parameters of text outside ASCII, taking characters for bytes (tests/sources,
    /// Values.OfWideTextToNarrowDrivers).
    bool WideParameters() const { return ReadsWideText(); }

    /// The driver's file; empty where none is found.
    const std::string& DriverFile() const { return driver_file_; }

    /// Whether the driver has narrow functions only, so that the driver manager converts all wide
    /// text on its way.
    bool DriverIsNarrow() const { return driver_is_narrow_; }

    /// Whether long text is read as 2-byte characters: that of a driver of wide functions, whose
    /// narrow text is that of a code page. The shim of wide characters that are code points is
    /// read as bytes, since 2-byte characters end at U+FFFF.
    bool ReadsWideText() const { return !driver_is_narrow_ && !is_wide_shim_; }

    /// Whether a statement may bring several results, as far as the driver knows.
    bool HasSeveralResults() const;

    /// What the source does with values.
    SourceTraits Source() const;

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
    bool is_wide_shim_ = false;
    mutable std::optional<SourceTraits> source_;
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

    /// Undoes what was done since, as far as the data source can. Throws SqlError.
    void Rollback();

private:
    const Session& session_;
    bool is_open_ = true;
};
