#include "drivers/ConnectionString.h"

#include <algorithm>
#include <string_view>

#include "client/Session.h"
#include "client/ascii.h"

namespace {

bool IsKey(const std::string& text, const char* key)
{
    return EqualsIgnoringCase(text, key);
}

bool IsNaming(const std::string& key)
{
    return IsKey(key, "DRIVER") || IsKey(key, "DSN");
}

bool Mentions(const std::string& text, std::span<const char* const> words)
{
    return std::ranges::any_of(
        words, [&](const char* word) { return FindIgnoringCase(text, word) != std::string::npos; });
}

bool IsSecretWord(const std::string& word)
{
    static constexpr const char* kWords[] = {"PWD", "PASS", "TOKEN", "SECRET"};
    return Mentions(word, kWords);
}

// Whether text before an equals sign ends with the key of a secret. A key may have several
// words, and other text, such as an SQL statement, may come before it.
bool EndsWithSecretKey(std::string_view text)
{
    constexpr int kMaxWords = 2;
    static constexpr const char* kParts[] = {"KEY", "CREDENTIAL", "AUTHCODE"};
    std::string key(text.substr(text.find_last_of(";{}?&=\"'") + 1));
    key = key.substr(0, key.find_last_not_of(' ') + 1);
    if (IsSecretWord(key.substr(key.find_last_of(' ') + 1))) {
        return true;
    }
    key.erase(0, key.find_first_not_of(' '));
    const bool is_key = std::ranges::count(key, ' ') < kMaxWords;
    std::erase_if(key, [](char c) { return !IsAlphanumericInAscii(c); });
    return is_key && (IsSecretWord(key) || Mentions(key, kParts) || IsKey(key, "PAT"));
}

// Where the item that starts here ends. Drivers allow semicolons in a value in braces, and a
// doubled closing brace for one.
std::size_t EndOfItem(std::string_view text, std::size_t start)
{
    const auto semicolon = std::min(text.find(';', start), text.size());
    const auto equals = text.substr(0, semicolon).find('=', start);
    const auto value = equals < semicolon ? text.find_first_not_of(' ', equals + 1) : semicolon;
    if (value >= semicolon || text[value] != '{') {
        return semicolon;
    }
    auto brace = text.find('}', value);
    while (brace != std::string::npos && text.substr(brace + 1).starts_with('}')) {
        brace = text.find('}', brace + 2);
    }
    return std::min(brace == std::string::npos ? brace : text.find(';', brace), text.size());
}

/// A line of text, and its quotation marks that no backslash escapes.
struct Line {
    explicit Line(std::string_view its_text) : text(its_text)
    {
        for (std::size_t at = 0; at < text.size(); ++at) {
            if (text[at] == '\\') {
                ++at;
            } else if (text[at] == '"') {
                quotes.push_back(at);
            }
        }
    }

    std::string_view text;
    std::vector<std::size_t> quotes;
};

// Where the quoted text around a position ends: at the last quotation mark, since a password may
// contain such marks; else at the end of the line.
std::size_t EndOfQuotation(const Line& line, std::size_t place)
{
    const auto next = std::ranges::lower_bound(line.quotes, place);
    const bool is_open = (next - line.quotes.begin()) % 2 == 1;
    return is_open && next != line.quotes.end() ? line.quotes.back() : line.text.size();
}

// Where the value of a secret ends. Text between semicolons that has no equals sign may be the rest
// of it.
std::size_t EndOfSecret(const Line& line, std::size_t equals)
{
    const std::string_view text = line.text.substr(0, EndOfQuotation(line, equals));
    auto end = EndOfItem(text, equals);
    while (end < text.size()) {
        const auto next = EndOfItem(text, end + 1);
        if (text.substr(end, next - end).find('=') != std::string::npos) {
            return end;
        }
        end = next;
    }
    return end;
}

/// A part of a text: the position of its first character, and that after its last.
struct Span {
    std::size_t begin = std::string::npos;
    std::size_t end = std::string::npos;
};

// The value of the first key of a secret from a position on.
Span SecretValue(const Line& line, std::size_t from)
{
    const std::string_view text = line.text;
    for (auto equals = text.find('=', from); equals != std::string::npos;
         equals = text.find('=', equals + 1)) {
        if (EndsWithSecretKey(text.substr(from, equals - from))) {
            return {equals + 1, EndOfSecret(line, equals)};
        }
    }
    return {};
}

// What follows the first IDENTIFIED BY of a statement.
Span IdentifiedBy(const Line& line, std::size_t from)
{
    constexpr std::string_view kWords = "IDENTIFIED BY ";
    const auto found = FindIgnoringCase(line.text.substr(from), kWords);
    if (found == std::string::npos) {
        return {};
    }
    const auto begin = from + found + kWords.size();
    return {begin, EndOfSecret(line, begin - 1)};
}

// What is between the user and the last @ of a word: scheme://user:password@, user/password@. A
// path begins with its slash, so it has no user.
Span LoginPassword(const Line& line, std::size_t from)
{
    const std::string_view text = line.text;
    constexpr const char* kAround = " ;{}<>\"'";
    for (auto begin = text.find_first_not_of(kAround, from); begin != std::string::npos;) {
        const auto end = std::min(text.find_first_of(kAround, begin), text.size());
        const auto word = text.substr(begin, end - begin);
        const auto at = word.rfind('@');
        const auto login = word.substr(0, at == std::string::npos ? 0 : at);
        const auto scheme = login.find("://");
        const auto mark =
            scheme == std::string::npos ? login.find('/') : login.find(':', scheme + 3);
        const auto user = login.substr(0, std::min(mark, login.size())).find_last_of("=:,") + 1;
        if (mark != std::string::npos && (scheme != std::string::npos || user < mark)) {
            return {begin + mark + 1, begin + at};
        }
        begin = text.find_first_not_of(kAround, end);
    }
    return {};
}

std::string Masked(std::string_view text, Span (*find)(const Line& line, std::size_t from))
{
    const Line line(text);
    std::string masked;
    std::size_t place = 0;
    for (Span secret = find(line, 0); secret.begin != std::string::npos;
         secret = find(line, place)) {
        masked.append(text.substr(place, secret.begin - place)) += "***";
        place = secret.end;
    }
    return masked.append(text.substr(place));
}

std::string WithoutTrailingBlanks(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

std::string WithoutBraces(const std::string& text)
{
    const bool has_braces = text.size() >= 2 && text.front() == '{' && text.back() == '}';
    return has_braces ? text.substr(1, text.size() - 2) : text;
}

std::string WithoutSecrets(std::string_view text)
{
    std::string masked;
    for (std::size_t start = 0; start < text.size();) {
        const auto end = std::min(text.find('\n', start), text.size());
        masked +=
            Masked(Masked(Masked(text.substr(start, end - start), &SecretValue), &IdentifiedBy),
                   &LoginPassword);
        masked += text.substr(end, 1);
        start = end + 1;
    }
    return masked;
}

ConnectionString::ConnectionString(const std::string& text)
    : text_(IsConnectionString(text) ? text : "DSN=" + text),
      is_malformed_(!IsConnectionString(text) && text.find('=') != std::string::npos)
{
    for (std::size_t start = 0; start < text_.size();) {
        const auto end = EndOfItem(text_, start);
        Item item{text_.substr(start, end - start), "", ""};
        if (const auto equals = item.text.find('='); equals != std::string::npos) {
            item.key = item.text.substr(0, equals);
            item.value = item.text.substr(equals + 1);
        }
        if (!item.text.empty()) {
            items_.push_back(item);
        }
        start = end + 1;
    }
}

std::string ConnectionString::First(const char* key) const
{
    const auto found =
        std::ranges::find_if(items_, [&](const Item& item) { return IsKey(item.key, key); });
    return found == items_.end() ? "" : found->value;
}

std::optional<std::string> ConnectionString::Last(std::span<const char* const> keys) const
{
    std::optional<std::string> value;
    for (const Item& item : items_) {
        if (std::ranges::any_of(keys, [&](const char* key) { return IsKey(item.key, key); })) {
            value = item.value;
        }
    }
    return value;
}

bool ConnectionString::Has(const char* key) const
{
    return std::ranges::any_of(items_, [&](const Item& item) { return IsKey(item.key, key); });
}

std::string ConnectionString::Masked() const
{
    return WithoutSecrets(text_);
}

bool ConnectionString::HasBlanks() const
{
    return std::ranges::any_of(items_, [](const Item& item) {
        const std::string key = WithoutTrailingBlanks(item.key);
        return IsNaming(key) &&
               (key != item.key || item.value.starts_with(' ') || item.value.ends_with(' '));
    });
}

std::string ConnectionString::Through(
    const std::string& driver,
    const std::vector<std::pair<std::string, std::string>>& source_keys) const
{
    std::string through = "DRIVER=" + driver;
    for (const auto& [key, value] : source_keys) {
        if (!Has(key.c_str())) {
            const bool needs_braces = value.find(';') != std::string::npos;
            through += ";" + key + "=" + (needs_braces ? "{" + value + "}" : value);
        }
    }
    for (const Item& item : items_) {
        const bool is_replaced =
            IsKey(item.key, "DRIVER") || (!source_keys.empty() && IsKey(item.key, "DSN"));
        through += is_replaced ? "" : ";" + item.text;
    }
    return through;
}
