// Query: the values of parameters.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "client/Query.h"
#include "client/odbc_numbers.h"
#include "text/value_syntax.h"

namespace {

// The most that one "PutData" takes.
constexpr std::size_t kPutSize = 65'535;

/// Keeps the Unicode option off while text goes into parameters as bytes.
class OptionOff {
public:
    explicit OptionOff(const Session& session)
        : session_(session), is_off_(session.Options().unicode && !session.WideParameters())
    {
        Switch(0);
    }
    ~OptionOff() { Switch(1); }
    OptionOff(const OptionOff&) = delete;
    OptionOff& operator=(const OptionOff&) = delete;

private:
    void Switch(std::int32_t option) const
    {
        if (is_off_) {
            session_.Library().Call("SetUnicodeOption", {option});
        }
    }

    const Session& session_;
    bool is_off_;
};

// How a value is bound, so that the driver knows what it gets.
struct TypeOf {
    std::int32_t operator()(std::monostate) const { return kVarcharType; }
    std::int32_t operator()(std::int64_t value) const
    {
        return value == static_cast<std::int32_t>(value) ? kIntegerType : kBigintType;
    }
    std::int32_t operator()(double) const { return kDoubleType; }
    std::int32_t operator()(const std::string&) const { return kVarcharType; }
    std::int32_t operator()(const std::u16string&) const { return kWideVarcharType; }
};

}  // namespace

void Query::BindOne(std::size_t number, std::int32_t c_type, std::int32_t sql_type,
                    std::int32_t size, std::int32_t length)
{
    Check("BindParameter", Call("BindParameter", {static_cast<std::int32_t>(number), kInput, c_type,
                                                  sql_type, size, 0, length})
                               .code);
}

void Query::Bind(const std::vector<Marker>& markers)
{
    if (markers.empty()) {
        return;  // a driver finds out by itself what is missing
    }
    CheckMarkers(markers.size());
    const auto form = session_.WideParameters() ? TextForm::kUnits : TextForm::kBytes;
    for (std::size_t number = 1; number <= markers.size(); ++number) {
        const auto& [word, is_file] = markers[number - 1];
        if (is_file) {
            BindFile(number, word);
        } else {
            const ListValue value = ValueOf(word, form);
            const auto size = static_cast<std::int32_t>(std::max<std::size_t>(word.size(), 1));
            BindOne(number, kCharacterCType, std::visit(TypeOf{}, value), size, size);
            Set(number, value);
        }
    }
}

// A driver may not count them.
void Query::CheckMarkers(std::size_t given) const
{
    const Reply reply = Call("DescribeParameters");
    const auto list = DecodeList(reply.List());
    if (list.empty()) {
        return;
    }
    const std::int64_t markers = DecodeList(list[0].payload).at(0).Integer();
    if (markers != static_cast<std::int64_t>(given)) {
        throw SqlError(fmt::format("the statement has {} {}, and {} {} given", markers,
                                   markers == 1 ? "marker" : "markers", given,
                                   given == 1 ? "value is" : "values are"),
                       {});
    }
}

void Query::BindFile(std::size_t number, const std::string& file)
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
    constexpr std::uintmax_t kMostAnnounced = INT32_MAX + kAtExecution;
    const auto shown = static_cast<std::int32_t>(std::min(size, kMostAnnounced));
    const bool is_announced = size <= kMostAnnounced && WantsLengths();
    BindOne(number, kBinaryCType, kLongVarbinaryType, shown,
            kAtExecution - (is_announced ? shown : 0));
    files_.push_back({file, size});
}

// Some drivers take no data at execution whose whole length they were not told: SQLite's 0.9998
// makes it empty.
bool Query::WantsLengths() const
{
    return session_.Information(kNeedLongDataLength) == "Y";
}

void Query::Bind(const std::vector<ParameterShape>& shapes)
{
    std::vector<ListValue> lengths;
    std::vector<ListValue> types;
    std::vector<ListValue> digits;
    std::vector<ListValue> directions;
    std::vector<ListValue> sizes;
    for (const ParameterShape& shape : shapes) {
        if (shape.is_binary) {
            binary_.insert(lengths.size() + 1);
        }
        lengths.emplace_back(0);
        // The one long type for which "BindParameters" chooses the binary C type.
        types.emplace_back(shape.is_binary ? std::int64_t{kVarbinaryType} : shape.sql_type);
        digits.emplace_back(shape.digits);
        directions.emplace_back(kInput);
        sizes.emplace_back(shape.size);
    }
    Check("BindParameters",
          Call("BindParameters", {EncodeList(lengths), EncodeList(types), EncodeList(digits),
                                  EncodeList(directions), EncodeList(sizes)})
              .code);
}

void Query::Set(std::size_t number, const ListValue& value)
{
    const std::string list = EncodeList({value});
    constexpr std::size_t kHeader = 4;
    if (list.size() > kLongestElement + kHeader) {
        throw SqlError(fmt::format("parameter {}: a value of more than {} bytes comes from a file",
                                   number, kLongestElement),
                       {});
    }
    const bool is_binary = binary_.contains(number);
    if (is_binary) {
        // SQLite's driver 0.9998 keeps the length of a binary parameter from its first execution
        // until it is bound anew (tests/tool_test.cpp, ToolFiles.ImportsAllRecordsOrNone).
        const auto size = static_cast<std::int32_t>(list.size());
        BindOne(number, kBinaryCType, kVarbinaryType, size, size);
    }
    const OptionOff off(session_);
    const std::string entry = is_binary ? "SetParameterBinary" : "SetParameter";
    Check(entry, Call(entry, {list, static_cast<std::int32_t>(number)}).code);
}

// Gives the driver each file that it asks for, which it does in the order of the markers. Returns
// the code of the execution.
std::int32_t Query::SendFiles()
{
    for (;;) {
        const Reply reply = Call("ParamData");
        const auto code = static_cast<std::int32_t>(DecodeList(reply.List()).at(0).Integer());
        Flags("ParamData");
        if (code != ORVEL_NEED_DATA) {
            return code;
        }
        if (files_.empty()) {
            Fail("the driver asks for data that nobody has");
        }
        SendFile(files_.front());
        files_.pop_front();
    }
}

// Sends as many bytes as were announced, neither more nor fewer.
void Query::SendFile(const File& file)
{
    std::ifstream in(file.name, std::ios::binary);
    std::string piece;
    for (std::uintmax_t sent = 0; sent < file.size; sent += piece.size()) {
        piece.resize(std::min<std::uintmax_t>(kPutSize, file.size - sent));
        if (!in.read(piece.data(), static_cast<std::streamsize>(piece.size()))) {
            throw SqlError(fmt::format("{}: {}", file.name,
                                       in.eof() ? "it became shorter meanwhile"
                                                : std::generic_category().message(errno)),
                           {});
        }
        if (Failed(Call("PutData", {piece}).code)) {
            Fail(fmt::format("{}: the driver refused the data behind byte {}{}", file.name, sent,
                             sent > 0 ? "; some drivers take one piece only" : ""));
        }
    }
    if (in.peek() != std::ifstream::traits_type::eof()) {
        throw SqlError(file.name + ": it became longer meanwhile", {});
    }
}
