// A statement of a session: values go in, results come out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "client/Entry.h"
#include "client/ResultSink.h"
#include "client/Session.h"
#include "client/sql_text.h"

/// The bytes of a file as the value of a parameter, sent when the statement runs.
struct FileValue {
    std::string name;
};

/// A value as it is typed: NULL, a whole number, or text in UTF-8.
using TypedValue = std::variant<std::monostate, std::int64_t, std::string>;

/// What replaces a parameter marker.
using ParameterValue = std::variant<TypedValue, FileValue>;

/// A parameter as a driver or a table describes it.
struct ParameterShape {
    std::int64_t sql_type = 0;
    std::int64_t size = 0;
    std::int64_t digits = 0;
    bool is_binary = false;
};

/// The outcome of a run, besides its data.
struct Outcome {
    std::size_t result_sets = 0;
    bool has_unreadable_values = false;
    bool has_truncated_values = false;
};

/// A prepared statement, dropped with this object. Every failure throws SqlError; warnings go to
/// the reporter.
class Statement {
public:
    Statement(const Session& session, const std::string& sql, Reporter& reporter);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// Gives every marker its value, in order. Files are read when the statement runs, which is
    /// then possible only once.
    void Bind(const std::vector<ParameterValue>& values);

    /// Describes all parameters, for values that Set supplies later. Those of binary types take
    /// bytes unchanged.
    void Bind(const std::vector<ParameterShape>& shapes);

    /// Stores the value of a parameter, numbered from 1, for this and all later executions. Text is
    /// UTF-8; text and bytes may be empty.
    void SetText(std::size_t number, std::string_view text);
    void SetBytes(std::size_t number, std::string_view bytes);
    void SetNull(std::size_t number);

    /// Executes without reading a result.
    void Execute();

    /// Executes and passes on every result.
    Outcome Run(ResultSink& sink);

    /// The columns of the result.
    std::vector<Column> Describe() const;

    /// Fetches the next row of the result; false if there is none.
    bool Fetch();

    /// Calls a catalog entry, with the inputs behind the statement's, on a statement of its own and
    /// passes on its result.
    static void RunCatalog(const Session& session, const std::string& entry,
                           const std::vector<Argument>& inputs, ResultSink& sink,
                           Reporter& reporter);

    const Session& Owner() const { return session_; }
    const HandleArgument& Handle() const { return handle_; }

private:
    struct File {
        std::string name;
        std::uintmax_t size = 0;
    };

    /// How the values of a bound parameter are sent.
    struct Parameter {
        bool is_binary = false;                   // bytes unchanged
        bool goes_wide = false;                   // text as 2-byte characters
        std::optional<std::int64_t> number_type;  // if the source silently stores others wrongly
    };

    Statement(const Session& session, Reporter& reporter, StatementTraits traits);
    Reply Call(const std::string& entry, const std::vector<Argument>& rest = {}) const;
    Reply CheckedCall(const std::string& entry, const std::vector<Argument>& rest = {}) const;
    void Check(const std::string& entry, std::int32_t code) const;
    void BindOne(std::size_t number, std::int32_t c_type, std::int32_t sql_type, std::int32_t size,
                 std::int32_t length);
    void BindValue(std::size_t number, const TypedValue& value,
                   const std::optional<ParameterShape>& described);
    void CheckNumber(std::size_t number, std::string_view text) const;
    void BindFile(std::size_t number, const std::string& file);
    std::optional<std::vector<ParameterShape>> DescribeParameters() const;
    Parameter ParameterOf(const std::optional<ParameterShape>& shape) const;
    void SetBinaryList(std::size_t number);
    void SetList(std::size_t number, bool is_wide, bool is_binary = false);
    std::int32_t ExecuteCode();
    std::int32_t SendFiles();
    void SendFile(const File& file);
    bool WantsLengths() const;
    void PassResult(ResultSink& sink, Outcome& outcome);
    void PassRows(ResultSink& sink, Outcome& outcome);

    const Session& session_;
    Reporter& reporter_;
    StatementTraits traits_;
    HandleArgument handle_;
    Entry<const char*> execute_;
    Entry<const char*, ORVEL_EXSTR*, std::int32_t> set_parameter_;
    Entry<const char*, ORVEL_EXSTR*, std::int32_t> set_binary_;
    std::string list_;        // of the value that is being set
    std::deque<File> files_;  // those that the driver has yet to ask for
    std::vector<Parameter> parameters_;
};
