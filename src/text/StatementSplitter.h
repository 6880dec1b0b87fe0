// A script, statement by statement.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "client/sql_text.h"

/// Why a script can't be split.
struct SplitError : std::runtime_error {
    SplitError(std::size_t at, const std::string& what) : std::runtime_error(what), line(at) {}

    std::size_t line;  // from 1
};

/// Splits text into statements, which end at a semicolon outside quotes, comments and bodies. A
/// body is the text between BEGIN and END, or in braces, after CREATE PROCEDURE, FUNCTION,
/// TRIGGER, EVENT or PACKAGE; a slash alone on a line also ends such a statement. After "\delimiter
/// //" statements end only at //, and may contain semicolons, until "\delimiter ;". A
/// backslash outside quotes, comments and names begins a command, which ends with its line.
class StatementSplitter {
public:
    struct Piece {
        enum Kind { kStatement, kCommand };

        Kind kind = kStatement;
        std::string text;      // a statement without the delimiter, surrounding blanks and leading
                               // comments; a command with its backslash
        std::size_t line = 1;  // where it begins
    };

    /// What the text so far leaves open, for a continuation prompt.
    struct Opened {
        enum Kind { kNothing, kStatement, kQuote, kComment, kBody };

        Kind kind = kNothing;
        std::string mark;      // that opens it: ' or $tag$ of a quote, /* of a comment
        std::size_t line = 1;  // where it begins
    };

    explicit StatementSplitter(SqlDialect dialect = SqlDialect()) : dialect_(std::move(dialect)) {}

    /// Adds text: whole lines with their ends, or all the rest.
    void Feed(std::string_view text);

    /// The next complete statement or command; nothing if more text is needed. A command may come
    /// inside a statement, which continues after it. "\delimiter" is carried out here.
    /// Throws SplitError.
    std::optional<Piece> Next();

    /// The statement that has begun, as if it ended here; nothing if none has. Throws SplitError if
    /// a quote or a comment is open.
    std::optional<Piece> Finish();

    /// Drops the statement that has begun and what was fed after it.
    void Clear();

    /// What is open after the pieces that Next has returned.
    Opened Open() const;

    /// The statement that has begun, as far as it was fed.
    std::string Pending() const { return statement_ + std::string(Rest()); }

    const SqlDialect& Dialect() const { return dialect_; }

private:
    std::string_view Rest() const { return std::string_view(text_).substr(at_); }
    std::string_view Consume(std::size_t size);
    bool EndsAtSlash() const;
    void Append(const SqlToken& token);
    void FollowWord(std::string word);
    std::optional<Piece> Take();
    std::optional<Piece> TakeCommand();
    void Forget();

    SqlDialect dialect_;
    std::string delimiter_ = ";";
    std::string text_;      // fed and not yet dropped
    std::size_t at_ = 0;    // where the next token begins in it
    std::size_t line_ = 1;  // there

    std::string statement_;  // that has begun, as far as its tokens are complete
    std::size_t first_line_ = 1;
    std::vector<std::string> head_;  // its first words
    bool creates_body_ = false;
    bool is_behind_end_ = false;  // the word before was an END
    int depth_ = 0;               // of the body's blocks
};
