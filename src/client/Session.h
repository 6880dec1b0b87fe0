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

/// An entry reported a failure, or its output is unusable.
struct SqlError : std::runtime_error {
    explicit SqlError(const std::string& what, std::vector<std::string> lines = {},
                      std::string entry_name = {})
        : std::runtime_error(what), diagnostics(std::move(lines)), entry(std::move(entry_name))
    {}

    std::vector<std::string> diagnostics;  // one line per record, as the driver wrote it
    std::string entry;                     // the one that reported it; empty: none
    std::string place;      // what it concerns, shown before the message; may be empty
    std::string aftermath;  // its consequences, shown after the message; may be empty
};

/// What "GetSQLErrors" returns for these handles (empty: not given), one line per record.
std::vector<std::string> DiagnosticLines(const Gateway& gateway, const std::string& connection,
                                         const std::string& statement);

/// The parts of such a line, "  SQLState: (28000) NativeError: [1] Message: Login failed": the
/// SQLSTATE, empty if the line has none, and the message, which is then the whole line.
std::string StateOf(const std::string& line);
std::string MessageOf(const std::string& line);

/// Whether the gateway passes text on as a connection string: its first word, which ends at an
/// equals sign, at a blank or after the sixth character, is DRIVER or DSN. Anything else is the
/// name of a data source.
bool IsConnectionString(std::string_view text);

/// The connection was refused.
struct ConnectError : SqlError {
    using SqlError::SqlError;
};

/// The gateway's options that a session sets.
struct SessionOptions {
    bool unicode = false;
    bool legacy = false;
    bool log = false;
};

/// One connection, closed with this object.
class Session {
public:
    /// Sets the options and connects by a connection string or a data source name. Throws
    /// ConnectError.
    Session(const Gateway& gateway, const SessionOptions& options,
            const std::string& connection_string);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Calls an entry with this connection as its first argument. Throws SqlError if the entry
    /// fails.
    Reply Call(const std::string& entry, const std::vector<Argument>& rest = {}) const;

    /// Throws SqlError if the code that a statement's entry reported is a failure, or if it
    /// reported none because of an exception inside it. Warnings go to the reporter.
    void Check(std::string_view entry, std::int32_t code, const std::string& statement,
               Reporter& reporter) const;

    /// The same for an entry that reports no code, or one that means something else.
    void CheckFlags(std::string_view entry, const std::string& statement) const;

    /// The same for an entry whose code shows its failures.
    void CheckException(std::string_view entry, const std::string& statement) const;

    /// Throws SqlError with the diagnostics of a statement.
    [[noreturn]] void Fail(const std::string& what, const std::string& statement) const;

    /// A text that the driver supplies about itself or its source: the value of an ODBC information
    /// type.
    /// Throws SqlError.
    std::string Information(std::int32_t type) const;

    /// The driver's diagnostics of the last call, or of a statement's last call.
    std::vector<std::string> Diagnostics(const std::string& statement = {}) const;

    const Gateway& Library() const { return gateway_; }
    const SessionOptions& Options() const { return options_; }

    /// Whether text is sent in parameters as 2-byte characters, whatever the Unicode option: to
    /// drivers with wide functions, as it is read from them. Not to narrow ones: iODBC 3.52.9
    /// truncates wide parameters with text outside ASCII, taking characters for bytes
    /// (tests/sources, Values.OfWideTextToNarrowDrivers).
    bool WideParameters() const { return ReadsWideText(); }

    /// The driver's file; empty if none is found.
    const std::string& DriverFile() const { return driver_file_; }

    /// Whether the driver has narrow functions only, so that the driver manager converts all wide
    /// text.
    bool DriverIsNarrow() const { return driver_is_narrow_; }

    /// Whether long text is read as 2-byte characters: that of a driver with wide functions, whose
    /// narrow text is in a code page. Through the shim whose wide characters are code points, text
    /// is read as bytes, since 2-byte characters end at U+FFFF.
    bool ReadsWideText() const { return !driver_is_narrow_ && !is_wide_shim_; }

    /// Whether a statement can return several results, according to the driver.
    bool HasSeveralResults() const;

    /// What the source does with values.
    SourceTraits Source() const;

    const std::string& Connection() const { return connection_; }  // the handle's bytes

    /// The longest connection string that reaches the driver whole; longer ones that start with
    /// DRIVER or DSN are truncated by the gateway.
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

/// A transaction on a connection: rolled back with this object unless it was committed. Meanwhile
/// the connection doesn't commit automatically.
class Transaction {
public:
    /// Throws SqlError.
    explicit Transaction(const Session& session);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Throws SqlError.
    void Commit();

    /// Commits what was done so far; what follows is another transaction. Throws SqlError.
    void CommitAndGoOn();

    /// Undoes what was done since, as far as the data source can. Throws SqlError.
    void Rollback();

private:
    const Session& session_;
    bool is_open_ = true;
};
