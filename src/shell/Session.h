// A connection through the gateway, and the queries run on it.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "shell/Gateway.h"

/// An entry reported a failure. What the driver said of it is in diagnostics.
struct SqlError : std::runtime_error {
    SqlError(const std::string& what, std::vector<std::string> lines)
        : std::runtime_error(what), diagnostics(std::move(lines))
    {}

    std::vector<std::string> diagnostics;  // a line a record, as the driver wrote it
};

/// The connection was refused.
struct ConnectError : SqlError {
    using SqlError::SqlError;
};

/// A result column, as "DescribeColumns" tells it.
struct Column {
    std::string name;
    std::int64_t sql_type = 0;
    std::int64_t size = 0;
    std::int64_t digits = 0;
    std::int64_t nullable = 0;
    std::string type_name;

    bool IsNumeric() const;
};

/// A value of a row.
struct Cell {
    std::optional<std::string> text;  // in UTF-8; nothing for NULL
    bool may_be_cut = false;          // it is as long as a row entry delivers
    bool unreadable = false;          // the driver failed on it
};

using Row = std::vector<Cell>;

/// Takes what a query brings, in this order, for each of its results.
class ResultSink {
public:
    virtual ~ResultSink() = default;

    /// A result set begins.
    virtual void Begin(const std::vector<Column>& columns) = 0;
    virtual void Take(Row row) = 0;
    /// The result set has ended, by its last row or by an error that is thrown next.
    virtual void End() = 0;
    /// A statement without a result set changed so many rows; -1 where the driver doesn't know.
    virtual void Changed(std::int64_t rows) = 0;
    /// The driver succeeded, and has something to say.
    virtual void Warn(const std::vector<std::string>& diagnostics) = 0;
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

    /// Prepares and executes a statement and passes on all it brings. Throws SqlError.
    void Run(const std::string& sql, ResultSink& sink);

    /// The longest connection string that reaches the driver whole; longer ones that start with
    /// DRIVER or DSN are cut by the gateway.
    static constexpr std::size_t kLongestConnectionString = 254;

private:
    class Statement;

    const Gateway& gateway_;
    bool wide_rows_;          // values come as 2-byte strings
    std::string connection_;  // the handle's bytes
};
