#include "shell/doctor/ConnectionString.h"

#include <strings.h>

#include <algorithm>
#include <cctype>

namespace {

std::string Capitals(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char character) {
        return static_cast<char>(std::toupper(character));
    });
    return text;
}

std::string WithoutBlanks(const std::string& text)
{
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos ? ""
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The gateway takes what starts with neither keyword for the name of a data source.
bool HasKeyword(const std::string& text)
{
    const std::string keyword = Capitals(WithoutBlanks(text.substr(0, text.find('='))));
    return keyword == "DRIVER" || keyword == "DSN";
}

bool IsSecret(const std::string& key, const std::string& value)
{
    const auto mentions = [](const std::string& text) {
        return text.find("PWD") != std::string::npos || text.find("PASS") != std::string::npos;
    };
    return mentions(key) || mentions(Capitals(value));
}

// Where the item that starts here ends. Drivers let a value in braces have semicolons.
std::size_t EndOfItem(const std::string& text, std::size_t start)
{
    const auto equals = text.find('=', start);
    const auto semicolon = text.find(';', start);
    if (equals > semicolon || equals == std::string::npos || text[equals + 1] != '{') {
        return std::min(semicolon, text.size());
    }
    const auto brace = text.find('}', equals);
    return std::min(brace == std::string::npos ? brace : text.find(';', brace), text.size());
}

}  // namespace

ConnectionString::ConnectionString(const std::string& text)
{
    const std::string whole = HasKeyword(text) ? text : "DSN=" + text;
    for (std::size_t start = 0; start < whole.size();) {
        const auto end = EndOfItem(whole, start);
        Item item{whole.substr(start, end - start), "", ""};
        if (const auto equals = item.text.find('='); equals != std::string::npos) {
            item.key = Capitals(item.text.substr(0, equals));
            item.value = item.text.substr(equals + 1);
        }
        items_.push_back(item);
        start = end + 1;
    }
}

bool ConnectionString::Has(std::string_view key) const
{
    const std::string wanted = Capitals(std::string(key));
    return std::ranges::any_of(items_, [&](const Item& item) { return item.key == wanted; });
}

std::string ConnectionString::Value(std::string_view key) const
{
    const std::string wanted = Capitals(std::string(key));
    const auto found =
        std::ranges::find_if(items_, [&](const Item& item) { return item.key == wanted; });
    return found == items_.end() ? "" : found->value;
}

std::string ConnectionString::Masked() const
{
    std::string masked;
    for (const Item& item : items_) {
        masked += masked.empty() ? "" : ";";
        masked += IsSecret(item.key, item.value) ? item.text.substr(0, item.text.find('=')) + "=***"
                                                 : item.text;
    }
    return masked;
}

std::string ConnectionString::Through(const std::string& driver) const
{
    std::string through = "DRIVER=" + driver;
    for (const Item& item : items_) {
        if (item.key != "DRIVER") {
            through += ";" + item.text;
        }
    }
    return through;
}
