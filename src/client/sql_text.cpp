#include "client/sql_text.h"

#include <algorithm>
#include <array>
#include <vector>

#include "client/ascii.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\n\f\v";

bool IsWordCharacter(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || byte >= 0x80;
}

std::size_t WordSize(std::string_view text)
{
    return static_cast<std::size_t>(std::ranges::find_if_not(text, &IsWordCharacter) -
                                    text.begin());
}

template <std::size_t n>
bool IsOneOf(std::string_view word, const std::array<std::string_view, n>& words)
{
    return std::ranges::find(words, word) != words.end();
}

constexpr std::array<std::string_view, 6> kChanging{"INSERT", "UPDATE",  "DELETE",
                                                    "MERGE",  "REPLACE", "UPSERT"};
constexpr std::array<std::string_view, 5> kCalling{"CALL", "EXEC", "EXECUTE", "DO", "BEGIN"};
constexpr std::array<std::string_view, 5> kBodied{"PROCEDURE", "FUNCTION", "TRIGGER", "EVENT",
                                                  "PACKAGE"};

constexpr std::array<std::string_view, 3> kBodiless{"TABLE", "VIEW", "INDEX"};

// The size of the mark that opens a $tag$ quote; 0 if none begins.
std::size_t DollarMarkSize(std::string_view text)
{
    constexpr std::string_view kDigits = "0123456789";
    if (text.size() < 2 || text[0] != '$' || kDigits.find(text[1]) != std::string_view::npos) {
        return 0;
    }
    std::size_t at = 1;
    while (at < text.size() && text[at] != '$' && IsWordCharacter(text[at])) {
        ++at;
    }
    return text.substr(at, 1) == "$" ? at + 1 : 0;
}

}  // namespace

std::string QuotedName(std::string_view name, const std::string& quote)
{
    if (quote.empty() || quote == " ") {
        return std::string(name);
    }
    const std::string close = quote == "[" ? "]" : quote;
    std::string quoted = quote;
    for (const char c : name) {
        quoted += close == std::string_view(&c, 1) ? close + close : std::string(1, c);
    }
    return quoted + close;
}

std::string QuotedLiteral(std::string_view text, const SqlDialect& dialect)
{
    std::string quoted = "'";
    for (const char c : text) {
        const bool is_doubled = c == '\'' || (c == '\\' && dialect.IsMysql());
        quoted += std::string(is_doubled ? 2 : 1, c);
    }
    return quoted + "'";
}

// Up to the closing quote; a doubled quote is part of the text.
SqlLexer::Extent SqlLexer::QuoteExtent(std::size_t open, bool has_escapes) const
{
    const char close = left_[open] == '[' ? ']' : left_[open];
    for (std::size_t at = open + 1; at < left_.size(); ++at) {
        if (left_[at] == '\\' && has_escapes) {
            ++at;
        } else if (left_[at] == close) {
            if (left_.substr(at + 1, 1) != std::string_view(&close, 1)) {
                return {SqlToken::kQuoted, at + 1};
            }
            ++at;
        }
    }
    return {SqlToken::kQuoted, left_.size(), false};
}

SqlLexer::Extent SqlLexer::CommentExtent() const
{
    int depth = 0;
    for (std::size_t at = 0; at + 1 < left_.size(); ++at) {
        const auto two = left_.substr(at, 2);
        const bool opens = two == "/*" && (depth == 0 || !is_mysql_);
        const bool closes = two == "*/";
        depth += opens ? 1 : 0;
        depth -= closes ? 1 : 0;
        at += opens || closes ? 1U : 0U;
        if (depth == 0) {
            return {SqlToken::kComment, at + 1};
        }
    }
    return {SqlToken::kComment, left_.size(), false};
}

SqlLexer::Extent SqlLexer::NextExtent() const
{
    const char first = left_.front();
    const auto two = left_.substr(0, 2);
    const std::string_view third = left_.substr(std::min<std::size_t>(2, left_.size()), 1);
    if (kBlanks.find(first) != std::string_view::npos) {
        return {SqlToken::kBlank, std::min(left_.find_first_not_of(kBlanks), left_.size())};
    }
    if (first == '\'' || first == '"') {
        return QuoteExtent(0, is_mysql_);
    }
    if (first == '`' || (first == '[' && has_brackets_)) {
        return QuoteExtent(0, false);
    }
    if (two == "E'" || two == "e'") {
        return QuoteExtent(1, true);
    }
    const bool is_dashed = two == "--" && (!is_mysql_ || third.empty() ||
                                           kBlanks.find(third) != std::string_view::npos);
    if (is_dashed || (first == '#' && is_mysql_)) {
        return {SqlToken::kComment, std::min(left_.find('\n'), left_.size())};
    }
    if (two == "/*") {
        Extent extent = CommentExtent();
        // MySQL executes the contents of such a comment.
        extent.kind = is_mysql_ && (third == "!" || third == "M") ? SqlToken::kQuoted : extent.kind;
        return extent;
    }
    if (const auto mark = left_.substr(0, DollarMarkSize(left_)); !mark.empty()) {
        const auto close = left_.find(mark, mark.size());
        const bool is_closed = close != std::string_view::npos;
        return {SqlToken::kQuoted, is_closed ? close + mark.size() : left_.size(), is_closed};
    }
    return IsWordCharacter(first) ? Extent{SqlToken::kWord, WordSize(left_)} : Extent{};
}

SqlToken SqlLexer::Next()
{
    const Extent extent = NextExtent();
    const SqlToken token{extent.kind, left_.substr(0, extent.size), extent.is_closed};
    left_.remove_prefix(extent.size);
    return token;
}

bool HasStatement(std::string_view sql, const SqlDialect& dialect)
{
    for (SqlLexer lexer(sql, dialect); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        if (token.kind != SqlToken::kBlank && token.kind != SqlToken::kComment && !token.Is(';')) {
            return true;
        }
    }
    return false;
}

bool CreatesBody(const std::vector<std::string>& words)
{
    return words.size() > 1 && words.front() == "CREATE" && !IsOneOf(words[1], kBodiless) &&
           std::ranges::any_of(words,
                               [](const std::string& word) { return IsOneOf(word, kBodied); });
}

StatementTraits TraitsOf(std::string_view sql)
{
    StatementTraits traits;
    std::vector<std::string> words;  // of the statement that is being read
    bool is_behind_end = false;
    for (SqlLexer lexer(sql); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        if (token.kind == SqlToken::kBlank || token.kind == SqlToken::kComment) {
            continue;
        }
        if (token.Is(';')) {
            is_behind_end = !words.empty();
            words.clear();
            continue;
        }
        traits.may_have_more = traits.may_have_more || is_behind_end;
        if (token.kind != SqlToken::kWord) {
            continue;
        }
        words.push_back(UpperInAscii(token.text));
        if (CreatesBody(words)) {
            return traits;  // whatever follows is its body
        }
        const bool is_first = words.size() == 1;
        traits.may_have_more = traits.may_have_more || (is_first && IsOneOf(words[0], kCalling));
        traits.changes_rows = traits.changes_rows || ((is_first || words[0] == "WITH") &&
                                                      IsOneOf(words.back(), kChanging));
    }
    return traits;
}
