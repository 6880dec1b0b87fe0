#include "client/sql_text.h"

#include <algorithm>
#include <array>
#include <vector>

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

struct Extent {
    std::size_t size = 0;
    bool is_closed = true;
};

// Up to the closing quote; a doubled quote is part of the text.
Extent QuotedExtent(std::string_view text, char close)
{
    for (std::size_t at = 1; at < text.size(); ++at) {
        if (text[at] == close) {
            if (text.substr(at + 1, 1) != std::string_view(&close, 1)) {
                return {at + 1};
            }
            ++at;
        }
    }
    return {text.size(), false};
}

Extent CommentExtent(std::string_view text)
{
    int depth = 0;
    for (std::size_t at = 0; at + 1 < text.size(); ++at) {
        const auto two = text.substr(at, 2);
        depth += two == "/*" ? 1 : (two == "*/" ? -1 : 0);
        at += two == "/*" || two == "*/" ? 1U : 0U;
        if (depth == 0) {
            return {at + 1};
        }
    }
    return {text.size(), false};
}

// $tag$...$tag$; of size 0 if no such quote begins here.
Extent DollarExtent(std::string_view text)
{
    const auto end_of_tag = text.find('$', 1);
    if (end_of_tag == std::string_view::npos) {
        return {};
    }
    const auto tag = text.substr(0, end_of_tag + 1);
    const auto name = tag.substr(1, tag.size() - 2);
    const bool is_tag =
        WordSize(name) == name.size() && (name.empty() || name[0] < '0' || name[0] > '9');
    if (!is_tag) {
        return {};
    }
    const auto close = text.find(tag, tag.size());
    return close == std::string_view::npos ? Extent{text.size(), false}
                                           : Extent{close + tag.size()};
}

std::string Upper(std::string_view word)
{
    std::string upper(word);
    std::ranges::transform(upper, upper.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    });
    return upper;
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

}  // namespace

SqlToken SqlLexer::Next()
{
    const char first = left_.front();
    const auto two = left_.substr(0, 2);
    SqlToken token;
    Extent extent{1};
    if (kBlanks.find(first) != std::string_view::npos) {
        token.kind = SqlToken::kBlank;
        extent.size = std::min(left_.find_first_not_of(kBlanks), left_.size());
    } else if (first == '\'' || first == '"' || first == '`' || (first == '[' && has_brackets_)) {
        token.kind = SqlToken::kQuoted;
        extent = QuotedExtent(left_, first == '[' ? ']' : first);
    } else if (two == "--") {
        token.kind = SqlToken::kComment;
        extent.size = std::min(left_.find('\n'), left_.size());
    } else if (two == "/*") {
        token.kind = SqlToken::kComment;
        extent = CommentExtent(left_);
    } else if (const Extent dollar = first == '$' ? DollarExtent(left_) : Extent{}; dollar.size) {
        token.kind = SqlToken::kQuoted;
        extent = dollar;
    } else if (IsWordCharacter(first)) {
        token.kind = SqlToken::kWord;
        extent.size = WordSize(left_);
    }
    token.is_closed = extent.is_closed;
    token.text = left_.substr(0, extent.size);
    left_.remove_prefix(extent.size);
    return token;
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
        words.push_back(Upper(token.text));
        if (words.front() == "CREATE" && IsOneOf(words.back(), kBodied) &&
            !IsOneOf(words[1], kBodiless)) {
            return traits;  // whatever follows is its body
        }
        const bool is_first = words.size() == 1;
        traits.may_have_more = traits.may_have_more || (is_first && IsOneOf(words[0], kCalling));
        traits.changes_rows = traits.changes_rows || ((is_first || words[0] == "WITH") &&
                                                      IsOneOf(words.back(), kChanging));
    }
    return traits;
}
