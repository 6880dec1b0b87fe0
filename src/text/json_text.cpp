#include "text/json_text.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>

#include "text/utf8.h"

namespace {

std::size_t DigitCount(std::string_view text)
{
    return std::min(text.find_first_not_of("0123456789"), text.size());
}

}  // namespace

void AppendJsonString(std::string& json, std::string_view text)
{
    const bool is_utf8 = !FirstInvalidByte(text);
    json += nlohmann::json(is_utf8 ? std::string(text) : WithReplacements(text)).dump();
}

bool IsJsonNumber(std::string_view text)
{
    text.remove_prefix(text.starts_with('-') ? 1 : 0);
    const std::size_t whole = DigitCount(text);
    if (whole == 0 || (whole > 1 && text[0] == '0')) {
        return false;
    }
    text.remove_prefix(whole);
    if (text.starts_with('.')) {
        const std::size_t fraction = DigitCount(text.substr(1));
        if (fraction == 0) {
            return false;
        }
        text.remove_prefix(1 + fraction);
    }
    if (text.starts_with('e') || text.starts_with('E')) {
        text.remove_prefix(1);
        text.remove_prefix(text.starts_with('-') || text.starts_with('+') ? 1 : 0);
        return !text.empty() && DigitCount(text) == text.size();
    }
    return text.empty();
}
