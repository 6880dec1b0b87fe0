// What can be told of a statement by its text: quotes and comments are known, SQL's grammar is not.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A stretch of SQL text: a word (a keyword, a plain name or a number), text or a name in quotes, a
/// comment, blanks, or one other character.
struct SqlToken {
    enum Kind { kWord, kQuoted, kComment, kBlank, kOther };

    Kind kind = kOther;
    std::string_view text;
    bool is_closed = true;  // false of a quote or a comment that does not end

    bool Is(char character) const { return kind == kOther && text.front() == character; }
};

/// Cuts SQL text into tokens, which together are the text. It knows '', "" and `` with the quote
/// doubled inside, [] where the data source quotes names so, -- and nested /* */ comments, and
/// $tag$ quotes.
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

/// What the words of a text say of the statements in it.
struct StatementTraits {
    bool changes_rows = false;   // one of them inserts, updates, deletes or merges
    bool may_have_more = false;  // more than one result may come of it
};

StatementTraits TraitsOf(std::string_view sql);
