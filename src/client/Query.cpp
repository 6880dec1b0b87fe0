#include "client/Query.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "client/odbc_numbers.h"

namespace {

// What a row delivers of a value: 2-byte characters, or bytes where a narrow driver is behind it. A
// value that was cut inside a character of up to four bytes ends up to three bytes short of that.
constexpr std::size_t kLongestValue = 1000;
constexpr std::size_t kLongestCharacter = 4;

// The most that one value adds to a row's list, and a row to the list of rows.
constexpr std::size_t kLargestItem = kLongestValue * kLongestCharacter + 4;
constexpr std::size_t kRowHeader = 8;

// What one "GetDataEx" is asked for.
constexpr std::int32_t kGetSize = 1'000'000;

// The list that "FetchRows" delivers stays below this.
constexpr std::size_t kRowsLimit = 3'641'145;
constexpr std::size_t kMostRowsAtOnce = 256;

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
    // From SQL_NUMERIC to SQL_DOUBLE, and two beside.
    return (sql_type >= 2 && sql_type <= 8) || sql_type == kBigintType || sql_type == kTinyintType;
}

bool Column::IsBinary() const
{
    return sql_type == kBinaryType || sql_type == kVarbinaryType || sql_type == kLongVarbinaryType;
}

Query::Query(const Session& session, ResultSink& sink)
    : session_(session),
      sink_(sink),
      handle_(session.Library().Call("AllocStatement", {session.Connection()}).Bytes())
{
    if (handle_ == std::string(handle_.size(), '\0')) {
        throw SqlError("the driver has no statement for this connection", session.Diagnostics());
    }
}

// From here on the statement is there to be dropped, whatever preparing comes to.
Query::Query(const Session& session, const std::string& sql, ResultSink& sink)
    : Query(session, sink)
{
    Check("Prepare", Call("Prepare", {sql}).code);
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
    return session_.Library().CallOn(handle_, entry, rest);
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
