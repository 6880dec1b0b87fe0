// What a statement's text reveals: quotes and comments are recognized, SQL's grammar is not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A data source's SQL dialect, according to its quote for names (SQL_IDENTIFIER_QUOTE_CHAR): " by
/// default, ` for MySQL and MariaDB, [ for those with brackets.
class SqlDialect {
public:
    SqlDialect() = default;
    explicit SqlDialect(std::string quote) : quote_(std::move(quote)) {}

    const std::string& Quote() const { return quote_; }
    bool HasBrackets() const { return quote_ == "["; }
    /// Whether a backslash escapes inside '' and "", # begins a comment, and -- only before a
    /// blank, while /*! does not, and comments don't nest.
    bool IsMysql() const { return quote_ == "`"; }

private:
    std::string quote_ = "\"";
};

/// A name in that quote, whatever its characters; unchanged if there is none, which a source
/// reports as a blank.
std::string QuotedName(std::string_view name, const std::string& quote);

/// Text as a literal.
std::string QuotedLiteral(std::string_view text, const SqlDialect& dialect);

/// A piece of SQL text: a word (a keyword, a plain name or a number), text or a name in quotes, a
/// comment, blanks, or one other character.
struct SqlToken {
    enum Kind { kWord, kQuoted, kComment, kBlank, kOther };

    Kind kind = kOther;
    std::string_view text;
    bool is_closed = true;  // false for an unterminated quote or comment

    bool Is(char character) const { return kind == kOther && text.front() == character; }
};

/// Splits SQL text into tokens, which together are the text. It recognizes '', "" and `` with the
/// quote doubled inside, [] if the data source quotes names that way, E'' and MySQL's quotes with
/// escapes, -- and nested /* */ comments, and $tag$ quotes.
class SqlLexer {
public:
    explicit SqlLexer(std::string_view sql, const SqlDialect& dialect = SqlDialect())
        : left_(sql), has_brackets_(dialect.HasBrackets()), is_mysql_(dialect.IsMysql())
    {}

    bool AtEnd() const { return left_.empty(); }
    SqlToken Next();

private:
    struct Extent {
        SqlToken::Kind kind = SqlToken::kOther;
        std::size_t size = 1;
        bool is_closed = true;
    };

    Extent NextExtent() const;
    Extent CommentExtent() const;
    Extent QuoteExtent(std::size_t open, bool has_escapes) const;

    std::string_view left_;
    bool has_brackets_;
    bool is_mysql_;
};

/// Whether a text contains anything but blanks, comments and semicolons.
bool HasStatement(std::string_view sql, const SqlDialect& dialect = SqlDialect());

/// Whether the words of a statement so far, in upper case, create something with a body of
/// statements: a procedure, a trigger.
bool CreatesBody(const std::vector<std::string>& words);

/// What the words of a text say about the statements in it.
struct StatementTraits {
    bool changes_rows = false;   // one of them inserts, updates, deletes or merges
    bool may_have_more = false;  // it may have more than one result
};

StatementTraits TraitsOf(std::string_view sql);
