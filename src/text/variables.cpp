#include "text/variables.h"

#include <algorithm>
#include <optional>

#include "client/ascii.h"

namespace {

// The value of what follows a colon: name, 'name' or "name".
std::optional<std::string> ValueOf(const SqlToken& token, const Variables& variables,
                                   const SqlDialect& dialect)
{
    const bool is_quoted = token.kind == SqlToken::kQuoted && token.is_closed;
    if (!is_quoted && token.kind != SqlToken::kWord) {
        return std::nullopt;
    }
    const auto name = is_quoted ? token.text.substr(1, token.text.size() - 2) : token.text;
    const auto found = variables.find(name);
    if (found == variables.end()) {
        return std::nullopt;
    }
    if (!is_quoted) {
        return found->second;
    }
    switch (token.text.front()) {
        case '\'':
            return QuotedLiteral(found->second, dialect);
        case '"':
            return QuotedName(found->second, dialect.Quote());
        default:
            return std::nullopt;
    }
}

}  // namespace

bool IsVariableName(std::string_view name)
{
    return !name.empty() &&
           std::ranges::all_of(name, [](char c) { return c == '_' || IsAlphanumericInAscii(c); });
}

std::string WithVariables(std::string_view sql, const Variables& variables,
                          const SqlDialect& dialect)
{
    std::string text;
    bool is_behind_colon = false;
    for (SqlLexer lexer(sql, dialect); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        SqlLexer behind = lexer;
        if (token.Is(':') && !is_behind_colon && !behind.AtEnd()) {
            if (const auto value = ValueOf(behind.Next(), variables, dialect)) {
                text += *value;
                lexer = behind;
                continue;
            }
        }
        is_behind_colon = token.Is(':');
        text += token.text;
    }
    return text;
}
