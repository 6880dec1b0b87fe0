// What a statement's text reveals: quotes and comments are recognized, SQL's grammar is not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

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
/// quote doubled inside, [] if the data source quotes names that way, -- and nested /* */ comments,
/// and $tag$ quotes.
class SqlLexer {
public:
    explicit SqlLexer(std::string_view sql, bool has_brackets = false)
        : left_(sql), has_brackets_(has_brackets)
    {}

    bool AtEnd() const { return left_.empty(); }
    SqlToken Next();

private:
    std::string_view left_;
    bool has_brackets_;
};

/// What the words of a text say about the statements in it.
struct StatementTraits {
    bool changes_rows = false;   // one of them inserts, updates, deletes or merges
    bool may_have_more = false;  // it may have more than one result
};

StatementTraits TraitsOf(std::string_view sql);
