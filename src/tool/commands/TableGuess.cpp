#include "tool/commands/TableGuess.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

#include "client/HostList.h"
#include "client/odbc_numbers.h"
#include "text/byte_text.h"
#include "text/json_text.h"
#include "tool/commands/import_columns.h"

namespace {

// More than most data sources have in a VARCHAR.
constexpr std::size_t kLongText = 4000;

template <class Number>
std::optional<Number> Parsed(std::string_view text)
{
    Number number{};
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && at == end ? std::optional(number) : std::nullopt;
}

// Whether a double holds all digits of a number.
bool IsDouble(std::string_view number)
{
    constexpr std::size_t kMostDigits = 15;
    const auto mantissa = number.substr(0, number.find_first_of("eE"));
    const auto digits = static_cast<std::size_t>(
        std::ranges::count_if(mantissa, [](char c) { return c >= '0' && c <= '9'; }));
    return digits <= kMostDigits && Parsed<double>(number).has_value();
}

// What the data source calls its first type of an SQL type; empty where it has none.
std::string TypeName(const Session& session, SqlType type)
{
    const std::string statement(session.Call("AllocStatement").Bytes());
    const Gateway& gateway = session.Library();
    std::string name;
    if (gateway.CallOn(statement, "GetTypeInfo", {type}).code == ORVEL_SUCCESS &&
        gateway.CallOn(statement, "Fetch").code == ORVEL_SUCCESS) {
        name = gateway.CallOn(statement, "GetData", {1, kCharacterCType}).Bytes();
    }
    gateway.CallOn(statement, "DropStatement");
    return name;
}

}  // namespace

void TypeGuess::Take(std::string_view value)
{
    has_values_ = true;
    longest_ = std::max(longest_, value.size());
    is_binary_ = is_binary_ && BytesOfHex(value).has_value();
    if (!is_integer_ && !is_double_) {
        return;
    }
    const bool is_number = IsJsonNumber(value) && value != "-0";
    const auto integer = is_number && is_integer_ ? Parsed<std::int64_t>(value) : std::nullopt;
    is_integer_ = integer.has_value();
    is_big_ = is_big_ || (integer && *integer != static_cast<std::int32_t>(*integer));
    is_double_ = is_double_ && is_number && IsDouble(value);
}

std::string TypeGuess::Name(const Session& session) const
{
    if (has_values_ && is_integer_) {
        return is_big_ ? "BIGINT" : "INTEGER";
    }
    if (has_values_ && is_double_) {
        return "DOUBLE PRECISION";
    }
    const bool is_binary = has_values_ && is_binary_;
    std::string name;
    if (is_binary || longest_ > kLongText) {
        name = TypeName(session, is_binary ? kLongVarbinaryType : kLongVarcharType);
    }
    return name.empty() ? fmt::format("VARCHAR({})", longest_) : name;
}

std::string CreateTable(const Session& session, const std::string& table,
                        const std::vector<std::string>& names,
                        const std::vector<TypeGuess>& guesses)
{
    const std::string quote = session.Information(kIdentifierQuote);
    std::string columns;
    for (std::size_t i = 0; i < names.size(); ++i) {
        columns += fmt::format("{}\n    {} {}", i > 0 ? "," : "", QuotedName(names[i], quote),
                               guesses[i].Name(session));
    }
    return fmt::format("CREATE TABLE {} ({}\n)", table, columns);
}
