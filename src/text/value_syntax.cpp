#include "text/value_syntax.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <system_error>
#include <vector>

#include "client/HostList.h"

namespace {

std::string_view Trimmed(std::string_view text)
{
    constexpr const char* kBlanks = " \t\n";
    const auto first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos
               ? std::string_view()
               : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

template <class Number>
std::optional<Number> Parsed(std::string_view text, auto... base)
{
    Number number{};
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number, base...);
    return error == std::errc() && at == end ? std::optional(number) : std::nullopt;
}

// A whole number that is the same when written again: 007 and +5 are text.
std::optional<std::int64_t> WholeNumber(std::string_view word)
{
    const auto whole = Parsed<std::int64_t>(word);
    return whole && std::to_string(*whole) == word ? whole : std::nullopt;
}

// A whole number, or digits on both sides of a point, few enough for a double to hold them all.
std::optional<ListValue> NumberOf(std::string_view word)
{
    if (const auto whole = WholeNumber(word)) {
        return *whole;
    }
    const auto digits = word.substr(word.starts_with('-') ? 1 : 0);
    const auto point = digits.find('.');
    constexpr std::size_t kMaxDigits = 15;
    const bool is_decimal = point != std::string_view::npos && point > 0 &&
                            point + 1 < digits.size() && digits.size() <= kMaxDigits + 1 &&
                            digits.find_first_not_of("0123456789.") == std::string_view::npos;
    const auto number = is_decimal ? Parsed<double>(word) : std::nullopt;
    return number ? std::optional<ListValue>(*number) : std::nullopt;
}

// The text in quotes at the start of what is left, from which it is removed.
std::string TakeQuoted(std::string_view& left)
{
    std::string text;
    for (std::size_t at = 1; at < left.size(); ++at) {
        const bool is_quote = left[at] == '\'';
        const bool is_doubled = is_quote && left.substr(at + 1, 1) == "'";
        if (is_quote && !is_doubled) {
            left.remove_prefix(at + 1);
            return text;
        }
        text.push_back(left[at]);
        at += is_doubled ? 1 : 0;
    }
    throw UsageError(fmt::format("{} has no closing quote", left));
}

// The item without quotes at the start of what is left, from which it is removed.
ListValue TakeBare(std::string_view& left)
{
    const auto item = Trimmed(left.substr(0, left.find(',')));
    left.remove_prefix(std::min(left.find(','), left.size()));
    if (item == "NULL") {
        return {};
    }
    if (auto number = NumberOf(item)) {
        return *std::move(number);
    }
    throw UsageError(fmt::format("{} is not a number, NULL or quoted text", item));
}

ListValue TakeItem(std::string_view& left)
{
    if (left.starts_with('\'')) {
        return TakeQuoted(left);
    }
    if (left.starts_with("u'")) {
        left.remove_prefix(1);
        return UnitsFromUtf8(TakeQuoted(left));
    }
    return TakeBare(left);
}

}  // namespace

std::string_view Unescaped(std::string_view word)
{
    return word.substr(word.starts_with('\\') ? 1 : 0);
}

TypedValue ValueOf(std::string_view word)
{
    if (word == "NULL") {
        return {};
    }
    if (const auto whole = WholeNumber(word)) {
        return *whole;
    }
    return std::string(Unescaped(word));
}

std::string ListOf(std::string_view word)
{
    if (!word.starts_with('[') || !word.ends_with(']')) {
        throw UsageError(fmt::format("{} is not a list in brackets", word));
    }
    std::vector<ListValue> values;
    std::string_view left = Trimmed(word.substr(1, word.size() - 2));
    while (!left.empty()) {
        values.push_back(TakeItem(left));
        left = Trimmed(left);
        if (left.empty()) {
            break;
        }
        if (!left.starts_with(',') || left.size() == 1) {
            throw UsageError(
                fmt::format("{}: an item or a comma is missing in front of {}]", word, left));
        }
        left = Trimmed(left.substr(1));
    }
    return EncodeList(values);
}

std::string BytesOf(std::string_view digits)
{
    std::string compact;
    for (const char digit : digits) {
        if (digit != ' ') {
            compact.push_back(digit);
        }
    }
    constexpr int kHexadecimal = 16;
    std::string bytes;
    for (std::size_t at = 0; at < compact.size(); at += 2) {
        const auto byte =
            Parsed<std::uint8_t>(std::string_view(compact).substr(at, 2), kHexadecimal);
        if (!byte || at + 1 == compact.size()) {
            throw UsageError(fmt::format("{} is not pairs of hexadecimal digits", digits));
        }
        bytes.push_back(static_cast<char>(*byte));
    }
    return bytes;
}

std::int32_t IntegerOf(std::string_view word)
{
    constexpr int kHexadecimal = 16;
    if (word.starts_with("0x")) {
        if (const auto bits = Parsed<std::uint32_t>(word.substr(2), kHexadecimal)) {
            return static_cast<std::int32_t>(*bits);
        }
    } else if (const auto number = Parsed<std::int32_t>(word)) {
        return *number;
    }
    throw UsageError(fmt::format("{} is not a 32-bit integer", word));
}
