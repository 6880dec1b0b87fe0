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

// Whether text in front of an equals sign ends with the key of a secret. A key may have several
// words, and other text, such as an SQL statement, may come before it.
bool EndsWithSecretKey(std::string_view text)
{
    constexpr int kMostWords = 2;
    static constexpr const char* kParts[] = {"KEY", "CREDENTIAL", "AUTHCODE"};
    std::string key(text.substr(text.find_last_of(";{}?&=\"'\n") + 1));
    key = key.substr(0, key.find_last_not_of(' ') + 1);
    if (IsSecretWord(key.substr(key.find_last_of(' ') + 1))) {
        return true;
    }
    key.erase(0, key.find_first_not_of(' '));
    const bool is_key = std::ranges::count(key, ' ') < kMostWords;
    std::erase_if(key, [](char c) { return !IsAlphanumericInAscii(c); });
    return is_key && (IsSecretWord(key) || Mentions(key, kParts) || IsKey(key, "PAT"));
}

// Where the item that starts here ends. Drivers let a value in braces have semicolons, and a pair
// of closing braces for one.
std::size_t EndOfItem(std::string_view text, std::size_t start)
{
    const auto semicolon = std::min(text.find(';', start), text.size());
    const auto equals = text.find('=', start);
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

// Where quoted text that goes on at a place of this line ends: a quotation mark that a backslash
// does not escape, the last of the line, since a password may have such marks; else the line's end.
std::size_t EndOfQuotation(std::string_view text, std::size_t place)
{
    const auto start = place == 0 ? 0 : text.rfind('\n', place - 1) + 1;
    const auto end = std::min(text.find('\n', place), text.size());
    bool is_open = false;
    std::size_t last = end;
    for (std::size_t at = start; at < end; ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            is_open = at < place ? !is_open : is_open;
            last = at >= place ? at : last;
        }
    }
    return is_open ? last : end;
}

// Where the value of a secret ends. Text between semicolons that has no equals sign may be the rest
// of it.
std::size_t EndOfSecret(std::string_view text, std::size_t equals)
{
    const std::string_view line = text.substr(0, EndOfQuotation(text, equals));
    auto end = EndOfItem(line, equals);
    while (end < line.size()) {
        const auto next = EndOfItem(line, end + 1);
        if (line.substr(end, next - end).find('=') != std::string::npos) {
            return end;
        }
        end = next;
    }
    return end;
}

/// A part of a text, from its first character to that behind its last.
struct Span {
    std::size_t begin = std::string::npos;
    std::size_t end = std::string::npos;
};

// The value of the first key of a secret, from a place on.
Span SecretValue(std::string_view text, std::size_t from)
{
    for (auto equals = text.find('=', from); equals != std::string::npos;
         equals = text.find('=', equals + 1)) {
        if (EndsWithSecretKey(text.substr(from, equals - from))) {
            return {equals + 1, EndOfSecret(text, equals)};
        }
    }
    return {};
}

// What follows the first IDENTIFIED BY of a statement.
Span IdentifiedBy(std::string_view text, std::size_t from)
{
    constexpr std::string_view kWords = "IDENTIFIED BY ";
    const auto found = FindIgnoringCase(text.substr(from), kWords);
    if (found == std::string::npos) {
        return {};
    }
    const auto begin = from + found + kWords.size();
    return {begin, EndOfSecret(text, begin - 1)};
}

// What stands before an @ and behind the user: scheme://user:password@, user/password@. A path
// begins with its slash, and has no user.
Span LoginPassword(std::string_view text, std::size_t from)
{
    constexpr const char* kAround = " ;{}<>\"'\n";
    for (auto at = text.find('@', from); at != std::string::npos; at = text.find('@', at + 1)) {
        const auto before = text.substr(0, at);
        const auto start = std::max(before.find_last_of(kAround) + 1, from);
        const auto end = std::min(text.find_first_of(kAround, at), text.size());
        const auto last = text.rfind('@', end - 1);
        if (const auto scheme = before.find("://", start); scheme != std::string::npos) {
            const auto colon = before.find(':', scheme + 3);
            if (colon != std::string::npos) {
                return {colon + 1, last};
            }
            continue;
        }
        const auto slash = before.find('/', start);
        const auto user = slash == std::string::npos
                              ? slash
                              : std::max(before.substr(0, slash).find_last_of("=:,") + 1, start);
        if (slash != std::string::npos && user < slash) {
            return {slash + 1, last};
        }
    }
    return {};
}

std::string WithoutBlanksBehind(const std::string& text)
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
    std::size_t place = 0;
    while (place < text.size()) {
        const Span secret = std::ranges::min(
            {SecretValue(text, place), IdentifiedBy(text, place), LoginPassword(text, place)}, {},
            &Span::begin);
        if (secret.begin == std::string::npos) {
            break;
        }
        masked.append(text.substr(place, secret.begin - place)) += "***";
        place = secret.end;
    }
    return masked.append(text.substr(std::min(place, text.size())));
}

ConnectionString::ConnectionString(const std::string& text)
    : text_(IsConnectionString(text) ? text : "DSN=" + text),
      is_misread_(!IsConnectionString(text) && text.find('=') != std::string::npos)
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
        const std::string key = WithoutBlanksBehind(item.key);
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
