// A statement of a session, its parameters, and what it brings.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/HostList.h"
#include "client/OutputFile.h"
#include "client/Session.h"

/// A result column, as "DescribeColumns" tells it.
struct Column {
    std::string name;
    std::int64_t sql_type = 0;
    std::int64_t size = 0;
    std::int64_t digits = 0;

    bool IsNumeric() const;
    bool IsBinary() const;
};

/// A value of a row.
struct Cell {
    std::optional<std::string> text;  // in UTF-8; nothing for NULL
    bool may_be_cut = false;          // it is as long as a row entry delivers
    bool unreadable = false;          // the driver failed on it, or it looks as if
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

/// What takes the place of a parameter marker: a value as a person types it, or a file's bytes.
struct Marker {
    std::string word;  // the value, or the file's name
    bool is_file = false;
};

/// A parameter as "BindParameters" is told of it.
struct ParameterShape {
    std::int64_t sql_type = 0;
    std::int64_t size = 0;
    std::int64_t digits = 0;
    bool is_binary = false;
};

/// A prepared statement, dropped with this object. Whatever fails throws SqlError.
class Query {
public:
    Query(const Session& session, const std::string& sql, ResultSink& sink);
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    /// Gives every marker its value, in order. Files are read when the statement runs, which it can
    /// once.
    void Bind(const std::vector<Marker>& markers);

    /// Describes every parameter at once, for values that Set brings later. Those of binary types
    /// take their bytes as they are.
    void Bind(const std::vector<ParameterShape>& shapes);

    /// Stores the value of a parameter, numbered from 1, for this execution and those after it.
    void Set(std::size_t number, const ListValue& value);

    /// Executes; a result is left where it is.
    void Execute();

    /// Executes and passes on all that comes.
    void Run();

    /// The columns of the result.
    std::vector<Column> Describe() const;

    const std::string& Handle() const { return handle_; }  // its bytes

    /// Executes and writes the first column of the first row into a file, piece by piece. Returns
    /// its bytes. Throws FileError, too.
    std::uint64_t RunIntoFile(const std::string& file);

private:
    struct File {
        std::string name;
        std::uintmax_t size = 0;
    };

    Query(const Session& session, ResultSink& sink);
    Reply Call(const std::string& entry, const std::vector<Argument>& rest = {}) const;
    [[noreturn]] void Fail(const std::string& what) const;
    std::int32_t Flags(const std::string& entry) const;
    void Check(const std::string& entry, std::int32_t code) const;
    void CheckFlags(const std::string& entry) const;
    void BindOne(std::size_t number, std::int32_t c_type, std::int32_t sql_type, std::int32_t size,
                 std::int32_t length);
    std::int32_t ExecuteCode();
    void CheckMarkers(std::size_t given) const;
    void BindFile(std::size_t number, const std::string& file);
    bool WantsLengths() const;
    std::int32_t SendFiles();
    void SendFile(const File& file);
    void PassResult();
    void PassRows(std::size_t columns);
    std::size_t PassSomeRows(std::size_t wanted);
    std::uint64_t ReadPieces(std::int32_t c_type, OutputFile& out);

    const Session& session_;
    ResultSink& sink_;
    std::deque<File> files_;        // that the driver is still to ask for
    std::set<std::size_t> binary_;  // numbers of the parameters that take bytes as they are
    std::string handle_;
};
