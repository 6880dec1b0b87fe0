#include "shell/Query.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "shell/words.h"

namespace {

// What a row delivers of a value: 2-byte characters, or bytes where a narrow driver is behind it. A
// value that was cut inside a character of up to four bytes ends up to three bytes short of that.
constexpr std::size_t kLongestValue = 1000;
constexpr std::size_t kLongestCharacter = 4;

// The most that one value adds to a row's list, and a row to the list of rows.
constexpr std::size_t kLargestItem = kLongestValue * kLongestCharacter + 4;
constexpr std::size_t kRowHeader = 8;

// The list that "FetchRows" delivers stays below this.
constexpr std::size_t kRowsLimit = 3'641'145;
constexpr std::size_t kMostRowsAtOnce = 256;

// The most that one "PutData" takes, and what one "GetDataEx" is asked for.
constexpr std::size_t kPutSize = 65'535;
constexpr std::int32_t kGetSize = 1'000'000;

// ODBC's numbers, which a host passes as they are.
constexpr std::int32_t kInput = 1;
constexpr std::int32_t kCharacterCType = 1;
constexpr std::int32_t kBinaryCType = -2;
enum SqlType : std::int32_t {
    kLongVarcharType = -1,
    kCharType = 1,
    kIntegerType = 4,
    kDoubleType = 8,
    kVarcharType = 12,
    kBinaryType = -2,
    kVarbinaryType = -3,
    kLongVarbinaryType = -4,
    kBigintType = -5,
    kWideVarcharType = -9
};
constexpr std::int32_t kAtExecution = -100;        // SQL_LEN_DATA_AT_EXEC(0)
constexpr std::int32_t kNeedLongDataLength = 111;  // SQL_NEED_LONG_DATA_LEN

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

bool Failed(std::int32_t code)
{
    return code != ORVEL_SUCCESS && code != ORVEL_SUCCESS_WITH_INFO;
}

std::string SystemMessage()
{
    return std::generic_category().message(errno);
}

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

Cell CellOf(const ListElement& item, bool wide_rows)
{
    Cell cell;
    if (item.payload.empty()) {
        return cell;
    }
    const bool is_wide = item.type == ListElement::kUnits;
    const bool is_empty = !is_wide && item.payload == std::string_view("\0", 1);
    cell.text = is_empty ? "" : item.Text();
    // Where values come as 2-byte strings, no value looks like this; elsewhere one may.
    cell.unreadable = !(wide_rows && is_wide) && *cell.text == "<ERROR>";
    const std::size_t characters = is_wide ? item.payload.size() / 2 : 0;
    // Zeros behind a value fill what iODBC counted and nobody wrote of a value that was cut.
    const auto last = cell.text->find_last_not_of('\0');
    cell.text->erase(last == std::string::npos ? 0 : last + 1);
    cell.may_be_cut =
        characters >= kLongestValue || cell.text->size() >= kLongestValue - (kLongestCharacter - 1);
    return cell;
}

Column ColumnOf(std::string_view description)
{
    const auto items = DecodeList(description);
    constexpr std::size_t kItems = 8;
    if (items.size() != kItems) {
        throw ListError("a column description of " + std::to_string(items.size()) + " items");
    }
    return {items[0].Text(), items[1].Integer(), items[2].Integer(), items[3].Integer()};
}

}  // namespace

bool Column::IsNumeric() const
{
    // SQL_NUMERIC to SQL_DOUBLE, SQL_BIGINT and SQL_TINYINT.
    return (sql_type >= 2 && sql_type <= 8) || sql_type == -5 || sql_type == -6;
}

bool Column::IsBinary() const
{
    return sql_type == kBinaryType || sql_type == kVarbinaryType || sql_type == kLongVarbinaryType;
}

Query::Query(const Session& session, const std::string& sql, ResultSink& sink)
    : session_(session),
      sink_(sink),
      handle_(session.Library().Call("AllocStatement", {session.Connection()}).Bytes())
{
    if (handle_ == std::string(handle_.size(), '\0')) {
        throw SqlError("the driver has no statement for this connection", session.Diagnostics());
    }
    try {
        Check("Prepare", Call("Prepare", {sql}).code);
    } catch (...) {
        session.Library().Call("DropStatement", {handle_});
        throw;
    }
}

Query::~Query()
{
    try {
        Call("DropStatement");
    } catch (...) {
        // The outcome that is on its way matters more.
    }
}

Reply Query::Call(const std::string& entry, const std::vector<Argument>& rest) const
{
    std::vector<Argument> inputs{handle_};
    inputs.insert(inputs.end(), rest.begin(), rest.end());
    return session_.Library().Call(entry, inputs);
}

void Query::Fail(const std::string& what) const
{
    throw SqlError(what, session_.Diagnostics(handle_));
}

// What "WasError" says of the last entry. Throws where something was thrown inside it, of which its
// code says nothing.
std::int32_t Query::Flags(const std::string& entry) const
{
    const std::int32_t flags = session_.Library().Call("WasError").code;
    if (flags == ORVEL_WAS_EXCEPTION) {
        Fail(entry + " met an exception, such as text that the locale can't express");
    }
    return flags;
}

void Query::Check(const std::string& entry, std::int32_t code) const
{
    Flags(entry);
    if (Failed(code)) {
        Fail(entry + " failed with code " + std::to_string(code));
    }
    if (code == ORVEL_SUCCESS_WITH_INFO) {
        sink_.Warn(session_.Diagnostics(handle_));
    }
}

// For entries that report no code of their own.
void Query::CheckFlags(const std::string& entry) const
{
    if (Flags(entry) != ORVEL_WAS_SUCCESS) {
        Fail(entry + " failed");
    }
}

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
    const Reply reply = session_.Call("GetInfo", {kNeedLongDataLength});
    return DecodeList(reply.List()).at(0).payload == "Y";
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

std::int32_t Query::ExecuteCode()
{
    const std::int32_t code = Call("Execute").code;
    return code == ORVEL_NEED_DATA ? SendFiles() : code;
}

void Query::Execute()
{
    const std::int32_t code = ExecuteCode();
    if (code != ORVEL_NO_DATA) {  // a searched change that found no row
        Check("Execute", code);
    }
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
                                       in.eof() ? "it became shorter meanwhile" : SystemMessage()),
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

void Query::Run()
{
    std::int32_t code = ExecuteCode();
    if (code == ORVEL_NO_DATA) {  // a searched change that found no row
        sink_.Changed(0);
    }
    for (const char* step = "Execute"; code != ORVEL_NO_DATA; step = "MoreResults") {
        Check(step, code);
        PassResult();
        code = Call("MoreResults").code;
    }
}

void Query::PassResult()
{
    const std::int32_t columns = Call("NumResultCols").code;
    CheckFlags("NumResultCols");
    if (columns > 0) {
        sink_.Begin(Describe());
        try {
            PassRows(static_cast<std::size_t>(columns));
        } catch (...) {
            sink_.End();  // the rows that came are not lost
            throw;
        }
        sink_.End();
    } else {
        const std::int32_t rows = Call("RowCount").code;
        CheckFlags("RowCount");
        sink_.Changed(rows);
    }
}

std::vector<Column> Query::Describe() const
{
    const Reply reply = Call("DescribeColumns");
    CheckFlags("DescribeColumns");
    std::vector<Column> columns;
    const auto list = DecodeList(reply.List());
    for (std::size_t i = 1; i < list.size(); ++i) {  // behind the header
        columns.push_back(ColumnOf(list[i].payload));
    }
    return columns;
}

void Query::PassRows(std::size_t columns)
{
    const std::size_t wanted = std::clamp<std::size_t>(
        (kRowsLimit - 1) / (columns * kLargestItem + kRowHeader), 1, kMostRowsAtOnce);
    std::size_t taken = wanted;
    while (taken == wanted) {
        taken = PassSomeRows(wanted);
    }
}

std::size_t Query::PassSomeRows(std::size_t wanted)
{
    const bool wide_rows = session_.Options().unicode && !session_.Options().legacy;
    const Reply reply = Call("FetchRows", {static_cast<std::int32_t>(wanted)});
    Flags("FetchRows");
    const std::int32_t code = session_.Library().Call("GetLastSQLCode").code;
    if (code == ORVEL_TOO_MUCH_DATA) {
        throw SqlError("FetchRows failed: a row is longer than an output", {});
    }
    const auto rows = DecodeList(reply.List());
    for (const ListElement& row : rows) {
        Row cells;
        for (const ListElement& item : DecodeList(row.payload)) {
            cells.push_back(CellOf(item, wide_rows));
        }
        sink_.Take(std::move(cells));
    }
    if (Failed(code)) {
        Fail("FetchRows failed with code " + std::to_string(code));
    }
    return rows.size();
}

std::uint64_t Query::RunIntoFile(const std::string& file)
{
    OutputFile out(file);
    Execute();
    const auto columns = Describe();
    if (columns.empty()) {
        throw SqlError("the statement has no result to write into a file", {});
    }
    const std::int32_t fetched = Call("Fetch").code;
    if (fetched == ORVEL_NO_DATA) {
        throw SqlError("the result has no row to write into a file", {});
    }
    Check("Fetch", fetched);
    // Bytes as they are of what is text in bytes, too; what is neither is made text by the driver.
    const auto type = columns.front().sql_type;
    const bool is_bytes = columns.front().IsBinary() || type == kCharType || type == kVarcharType ||
                          type == kLongVarcharType;
    const std::uint64_t size = ReadPieces(is_bytes ? kBinaryCType : kCharacterCType, out);
    out.Keep();
    return size;
}

std::uint64_t Query::ReadPieces(std::int32_t c_type, OutputFile& out)
{
    std::uint64_t size = 0;
    for (std::int32_t code = ORVEL_SUCCESS_WITH_INFO; code == ORVEL_SUCCESS_WITH_INFO;) {
        const Reply reply = Call("GetDataEx", {1, c_type, kGetSize});
        Flags("GetDataEx");
        code = session_.Library().Call("GetLastSQLCode").code;
        auto piece = reply.Bytes();
        const bool is_stuck = code == ORVEL_SUCCESS_WITH_INFO && piece.empty();
        if ((Failed(code) && code != ORVEL_NO_DATA) || is_stuck) {
            Fail("GetDataEx failed with code " + std::to_string(code));
        }
        // Text that was cut ends in its terminator; empty text is a terminator alone.
        const bool has_terminator =
            code == ORVEL_SUCCESS_WITH_INFO || piece == std::string_view("\0", 1);
        if (c_type == kCharacterCType && has_terminator && piece.ends_with('\0')) {
            piece.remove_suffix(1);
        }
        out.Write(piece);
        size += piece.size();
    }
    return size;
}
