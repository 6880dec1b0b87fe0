#include "tool/commands/NamePattern.h"

#include <fnmatch.h>

#include <utility>

#include "client/ascii.h"
#include "client/odbc_numbers.h"

NamePattern::NamePattern(std::string_view text)
{
    name_ = Take(text);
    while (text.starts_with('.')) {  // of a catalog and a schema, the schema
        text.remove_prefix(1);
        qualifier_ = std::exchange(name_, Take(text));
    }
}

NamePattern::Part NamePattern::Take(std::string_view& text)
{
    Part part;
    char quote = 0;  // the one that is open
    for (; !text.empty() && (quote != 0 || text.front() != '.'); text.remove_prefix(1)) {
        const char c = text.front();
        if (c == quote && text.substr(1, 1) == text.substr(0, 1)) {  // a doubled quote is one
            part.text += c;
            text.remove_prefix(1);
        } else if (c == quote) {
            quote = 0;
        } else if (quote == 0 && (c == '"' || c == '`')) {
            quote = c;
            part.is_quoted = true;
        } else {
            part.text += c;
            part.has_wildcards = part.has_wildcards || (quote == 0 && (c == '*' || c == '?'));
        }
    }
    return part;
}

bool NamePattern::Part::Matches(std::string_view name) const
{
    if (!has_wildcards) {
        return text.empty() || (is_quoted ? text == name : EqualsIgnoringCase(text, name));
    }
    std::string pattern;
    for (const char c : text) {
        pattern += c == '[' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
    }
    return ::fnmatch(pattern.c_str(), std::string(name).c_str(), is_quoted ? 0 : FNM_CASEFOLD) == 0;
}

std::string NamePattern::Part::ForDriver(const Session& session) const
{
    constexpr char kUpper = 1;
    constexpr char kLower = 2;
    const std::string source_case = is_quoted ? "" : session.Information(kIdentifierCase);
    const bool is_folded = source_case.starts_with(kUpper) || source_case.starts_with(kLower);
    std::string name;
    for (const char c : text) {
        const char small = LowerInAscii(c);
        name += has_wildcards && c == '*'                                                    ? '%'
                : (has_wildcards && c == '?') || (is_folded && small >= 'a' && small <= 'z') ? '_'
                                                                                             : c;
    }
    return name;
}

bool NamePattern::MatchesQualifier(std::string_view catalog, std::string_view schema) const
{
    return qualifier_.text.empty() || (catalog.empty() && schema.empty()) ||
           qualifier_.Matches(schema) || qualifier_.Matches(catalog);
}
