// Statement: the values of parameters.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>
#include <system_error>

#include "client/HostList.h"
#include "client/HostServices.h"
#include "client/Statement.h"
#include "client/odbc_numbers.h"

namespace {

// The maximum for one "PutData".
constexpr std::size_t kPutSize = 65'535;

/// Sets the Unicode option as a value needs it while the value is set.
class ParameterOption {
public:
    ParameterOption(const Session& session, bool is_wide)
        : session_(session), is_other_(session.Options().unicode != is_wide)
    {
        Switch(is_wide);
    }
    ~ParameterOption() { Switch(session_.Options().unicode); }
    ParameterOption(const ParameterOption&) = delete;
    ParameterOption& operator=(const ParameterOption&) = delete;

private:
    void Switch(bool on) const
    {
        if (is_other_) {
            Entry<std::int32_t>(session_.Library(), "SetUnicodeOption", "iP")(on ? 1 : 0);
        }
    }

    const Session& session_;
    bool is_other_;
};

// How a value is bound, so that the driver knows its type.
struct TypeOf {
    const SourceTraits& source;
    bool wide_text;

    std::int32_t operator()(std::monostate) const { return kVarcharType; }
    std::int32_t operator()(std::int64_t value) const
    {
        const bool is_small = value == static_cast<std::int32_t>(value);
        return is_small ? kIntegerType : source.loses_big_integers ? kDecimalType : kBigintType;
    }
    std::int32_t operator()(const std::string& /*text*/) const
    {
        return wide_text ? kWideVarcharType : kVarcharType;
    }
};

// Bytes of the value as text.
struct SizeOf {
    std::size_t operator()(std::monostate) const { return 1; }
    std::size_t operator()(std::int64_t value) const { return std::to_string(value).size(); }
    std::size_t operator()(const std::string& text) const
    {
        return std::max<std::size_t>(text.size(), 1);
    }
};

bool IsNumber(std::string_view text)
{
    double number = 0;
    const auto digits = text.substr(text.starts_with('+') ? 1 : 0);
    const char* end = digits.data() + digits.size();
    const auto [at, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && at == end;
}

// The bits of a type of whole numbers.
std::optional<int> BitsOf(std::int64_t sql_type)
{
    switch (sql_type) {
        case kSmallintType:
            return 16;
        case kIntegerType:
            return 32;
        case kBigintType:
            return 64;
        default:
            return std::nullopt;
    }
}

bool IsWholeNumber(std::string_view text, int bits)
{
    std::int64_t number = 0;
    const auto digits = text.substr(text.starts_with('+') ? 1 : 0);
    const char* end = digits.data() + digits.size();
    const auto [at, error] = std::from_chars(digits.data(), end, number);
    const int unused_bits = 64 - bits;
    return error == std::errc() && at == end &&
           number >= std::numeric_limits<std::int64_t>::min() >> unused_bits &&
           number <= std::numeric_limits<std::int64_t>::max() >> unused_bits;
}

Column Described(const ParameterShape& shape)
{
    return {.name = "", .sql_type = shape.sql_type, .size = shape.size};
}

bool HasOwnFormat(const ParameterShape& shape)
{
    return Described(shape).IsNumeric() || Described(shape).IsDateTime();
}

std::int64_t BoundType(const ParameterShape& shape, const SourceTraits& source)
{
    if (shape.is_binary) {
        return kVarbinaryType;  // the one long type that "BindParameters" binds as bytes
    }
    const bool is_lost = shape.sql_type == kBigintType && source.loses_big_integers;
    return is_lost ? kDecimalType : shape.sql_type;
}

// As SQL_DECIMAL, a number's text may have any length.
std::int32_t TypeForText(const ParameterShape& shape)
{
    return Described(shape).IsNumeric() ? kDecimalType : static_cast<std::int32_t>(shape.sql_type);
}

}  // namespace

void Statement::BindOne(std::size_t number, std::int32_t c_type, std::int32_t sql_type,
                        std::int32_t size, std::int32_t length)
{
    Check("BindParameter", Call("BindParameter", {static_cast<std::int32_t>(number), kInput, c_type,
                                                  sql_type, size, 0, length})
                               .code);
}

void Statement::Bind(const std::vector<ParameterValue>& values)
{
    if (values.empty()) {
        return;  // the driver reports what is missing
    }
    const auto described = DescribeParameters();
    if (described && described->size() != values.size()) {
        throw SqlError(
            fmt::format("the statement has {} {}, and {} {} given", described->size(),
                        described->size() == 1 ? "parameter marker" : "parameter markers",
                        values.size(), values.size() == 1 ? "value is" : "values are"),
            {});
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (const auto* file = std::get_if<FileValue>(&values[i])) {
            parameters_.push_back({.is_binary = true});
            BindFile(i + 1, file->name);
        } else {
            BindValue(i + 1, std::get<TypedValue>(values[i]),
                      described ? std::optional((*described)[i]) : std::nullopt);
        }
    }
}

void Statement::BindValue(std::size_t number, const TypedValue& value,
                          const std::optional<ParameterShape>& described)
{
    const auto* text = std::get_if<std::string>(&value);
    const SourceTraits source = session_.Source();
    Parameter& parameter = parameters_.emplace_back(ParameterOf(described));
    if (parameter.number_type == kIntegerType) {
        parameter.number_type = kBigintType;  // which is described so; the server checks 32 bits
    }
    const bool as_described =
        text != nullptr && source.misreads_text && described && HasOwnFormat(*described);
    const auto type = as_described ? TypeForText(*described)
                                   : std::visit(TypeOf{source, parameter.goes_wide}, value);
    const auto size = static_cast<std::int32_t>(std::visit(SizeOf{}, value));
    BindOne(number, kCharacterCType, type, size, size);
    if (text != nullptr) {
        SetText(number, *text);
    } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
        CheckNumber(number, std::to_string(*whole));
        list_ = EncodeList({*whole});
        SetList(number, false);
    } else {
        SetNull(number);
    }
}

// Text goes to a driver with wide functions as 2-byte characters, except for dates and numbers:
// virtodbc.so 07.20.3229 reads wide text of a date beyond its end (tests/sources, Tool.Binds).
Statement::Parameter Statement::ParameterOf(const std::optional<ParameterShape>& shape) const
{
    const bool has_own_format = shape && HasOwnFormat(*shape);
    return {.is_binary = shape && shape->is_binary,
            .goes_wide = session_.WideParameters() && !has_own_format,
            .number_type = shape && session_.Source().misreads_text && Described(*shape).IsNumeric()
                               ? std::optional(shape->sql_type)
                               : std::nullopt};
}

// Nothing if the driver doesn't describe them.
std::optional<std::vector<ParameterShape>> Statement::DescribeParameters() const
{
    const Reply reply = Call("DescribeParameters");
    const auto list = DecodeList(reply.List());
    if (list.empty()) {
        return std::nullopt;
    }
    std::vector<ParameterShape> shapes(static_cast<std::size_t>(
        std::max<std::int64_t>(DecodeList(list[0].payload).at(0).Integer(), 0)));
    for (std::size_t i = 0; i < std::min(shapes.size(), list.size() - 1); ++i) {
        const auto items = DecodeList(list[i + 1].payload);
        if (items.size() >= 3) {
            shapes[i] = {items[0].Integer(), items[1].Integer(), items[2].Integer()};
        }
    }
    return shapes;
}

void Statement::BindFile(std::size_t number, const std::string& file)
{
    std::error_code error;
    const bool is_file = std::filesystem::is_regular_file(file, error);
    const auto size = is_file ? std::filesystem::file_size(file, error) : 0;
    if (error || !is_file) {
        throw SqlError(fmt::format("{}: {}", file, error ? error.message() : "not a regular file"),
                       {});
    }
    if (size == 0) {
        throw SqlError(file + ": an empty file can't be sent, as an empty piece is a NULL", {});
    }
    constexpr std::uintmax_t kLongestAnnounced = INT32_MAX + kAtExecution;
    const auto shown = static_cast<std::int32_t>(std::min(size, kLongestAnnounced));
    const bool is_announced = size <= kLongestAnnounced && WantsLengths();
    BindOne(number, kBinaryCType, kLongVarbinaryType, shown,
            kAtExecution - (is_announced ? shown : 0));
    files_.push_back({file, size});
}

// Some drivers need the whole length of data at execution in advance: without it, SQLite's 0.9998
// stores an empty value.
bool Statement::WantsLengths() const
{
    return session_.Information(kNeedLongDataLength) == "Y";
}

void Statement::Bind(const std::vector<ParameterShape>& shapes)
{
    std::vector<ListValue> lengths;
    std::vector<ListValue> types;
    std::vector<ListValue> digits;
    std::vector<ListValue> directions;
    std::vector<ListValue> sizes;
    for (const ParameterShape& shape : shapes) {
        parameters_.push_back(ParameterOf(shape));
        lengths.emplace_back(0);
        types.emplace_back(BoundType(shape, session_.Source()));
        digits.emplace_back(shape.digits);
        directions.emplace_back(kInput);
        sizes.emplace_back(shape.size);
    }
    Check("BindParameters",
          Call("BindParameters", {EncodeList(lengths), EncodeList(types), EncodeList(digits),
                                  EncodeList(directions), EncodeList(sizes)})
              .code);
}

// virtodbc.so 07.20.3229 and its server truncate numbers beyond a type without a word: 99999999999
// in an INTEGER is 1215752191, and 1e3 is 1 (tests/sources, Tool.RefusesNumbersBeyondTheirType).
void Statement::CheckNumber(std::size_t number, std::string_view text) const
{
    const auto type = parameters_.at(number - 1).number_type;
    if (!type) {
        return;
    }
    const auto bits = BitsOf(*type);
    if (bits && !IsWholeNumber(text, *bits)) {
        throw SqlError(fmt::format("parameter {}: \"{}\" is not a whole number of {} bits", number,
                                   text, *bits));
    }
    if (!bits && !IsNumber(text)) {
        throw SqlError(fmt::format("parameter {}: \"{}\" is not a number", number, text));
    }
}

void Statement::SetText(std::size_t number, std::string_view text)
{
    const Parameter& parameter = parameters_.at(number - 1);
    CheckNumber(number, text);
    list_.clear();
    if (parameter.goes_wide) {
        AppendElement(list_, text.empty() ? std::u16string(1, u'\0') : UnitsFromUtf8(text));
    } else {
        // An empty string would be taken for NULL.
        AppendElement(list_, text.empty() ? std::string_view("\0", 1) : text);
    }
    SetList(number, parameter.goes_wide);
}

void Statement::SetBytes(std::size_t number, std::string_view bytes)
{
    if (bytes.empty()) {
        // A list takes no bytes for NULL; a parameter that was given none has a length of 0.
        BindOne(number, kBinaryCType, kVarbinaryType, 0, 0);
        return;
    }
    list_.clear();
    AppendElement(list_, bytes);
    SetBinaryList(number);
}

void Statement::SetNull(std::size_t number)
{
    list_.clear();
    AppendElement(list_, std::string_view());
    if (parameters_.at(number - 1).is_binary) {
        SetBinaryList(number);
    } else {
        SetList(number, parameters_[number - 1].goes_wide);
    }
}

// Binds again: SQLite's driver 0.9998 keeps the length of a binary parameter from its first
// execution until it is bound again (tests/tool_test.cpp, ToolFiles.ImportsAllRecordsOrNone).
void Statement::SetBinaryList(std::size_t number)
{
    const auto size = static_cast<std::int32_t>(list_.size());
    BindOne(number, kBinaryCType, kVarbinaryType, size, size);
    SetList(number, false, true);
}

void Statement::SetList(std::size_t number, bool is_wide, bool is_binary)
{
    constexpr std::size_t kLongestHead = 4;
    if (list_.size() > kLongestElement + kLongestHead) {
        throw SqlError(fmt::format("parameter {}: a value of more than {} bytes comes from a file",
                                   number, kLongestElement));
    }
    const ParameterOption option(session_, is_wide);
    ORVEL_EXSTR value = HostServices::Instance().NewLongString(list_);
    const auto& set = is_binary ? set_binary_ : set_parameter_;
    Check("SetParameter", set(handle_, &value, static_cast<std::int32_t>(number)));
}

// Gives the driver the files in the order in which it asks for them, that of the markers. Returns
// the code of the execution.
std::int32_t Statement::SendFiles()
{
    for (;;) {
        const Reply reply = Call("ParamData");
        session_.CheckException("ParamData", handle_.Bytes());
        const auto code = static_cast<std::int32_t>(DecodeList(reply.List()).at(0).Integer());
        if (code != ORVEL_NEED_DATA) {
            return code;
        }
        if (files_.empty()) {
            session_.Fail("the driver asks for data of a parameter that has none", handle_.Bytes());
        }
        SendFile(files_.front());
        files_.pop_front();
    }
}

// Sends exactly as many bytes as were announced.
void Statement::SendFile(const File& file)
{
    std::ifstream in(file.name, std::ios::binary);
    std::string piece;
    for (std::uintmax_t sent = 0; sent < file.size; sent += piece.size()) {
        piece.resize(std::min<std::uintmax_t>(kPutSize, file.size - sent));
        if (!in.read(piece.data(), static_cast<std::streamsize>(piece.size()))) {
            throw SqlError(fmt::format("{}: {}", file.name,
                                       in.eof() ? "the file became shorter while it was sent"
                                                : std::generic_category().message(errno)),
                           {});
        }
        if (Failed(Call("PutData", {piece}).code)) {
            session_.Fail(fmt::format("{}: the driver refused the data after byte {}{}", file.name,
                                      sent, sent > 0 ? "; some drivers take one piece only" : ""),
                          handle_.Bytes());
        }
    }
    if (in.peek() != std::ifstream::traits_type::eof()) {
        throw SqlError(file.name + ": the file became longer while it was sent", {});
    }
}
