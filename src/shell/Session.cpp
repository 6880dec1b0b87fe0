#include "shell/Session.h"

#include <algorithm>
#include <utility>

#include "shell/HostList.h"

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

bool Failed(std::int32_t code)
{
    return code != ORVEL_SUCCESS && code != ORVEL_SUCCESS_WITH_INFO;
}

// The gateway's lines end as its line format says; a person's terminal adds its own ends.
std::string WithoutLineEnd(std::string line)
{
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

std::vector<std::string> Diagnostics(const Gateway& gateway, const std::string& connection,
                                     const std::string& statement)
{
    const Reply reply = gateway.Call("GetSQLErrors", {connection, statement});
    std::vector<std::string> lines;
    for (const ListElement& line : DecodeList(reply.List())) {
        if (!line.payload.empty()) {
            lines.push_back(WithoutLineEnd(line.Text()));
        }
    }
    return lines;
}

Cell CellOf(const ListElement& item, bool wide_rows)
{
    Cell cell;
    if (item.payload.empty()) {
        return cell;
    }
    const bool is_wide = item.type == ListElement::kUnits;
    const bool is_empty = !is_wide && item.payload == std::string_view("\0", 1);
    cell.text = is_empty ? "" : item.Text();
    // Where values come as 2-byte strings, no value looks like this.
    cell.unreadable = wide_rows && !is_wide && *cell.text == "<ERROR>";
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
    return {items[0].Text(),    items[1].Integer(), items[2].Integer(),
            items[3].Integer(), items[4].Integer(), items[5].Text()};
}

}  // namespace

bool Column::IsNumeric() const
{
    // SQL_NUMERIC to SQL_DOUBLE, SQL_BIGINT and SQL_TINYINT.
    return (sql_type >= 2 && sql_type <= 8) || sql_type == -5 || sql_type == -6;
}

/// A statement of a session, dropped with this object.
class Session::Statement {
public:
    Statement(const Gateway& gateway, const std::string& connection)
        : gateway_(gateway),
          connection_(connection),
          handle_(gateway.Call("AllocStatement", {connection}).Bytes())
    {
        if (handle_ == std::string(handle_.size(), '\0')) {
            Fail("the driver has no statement for this connection");
        }
    }
    ~Statement()
    {
        try {
            gateway_.Call("DropStatement", {handle_});
        } catch (...) {
            // The outcome that is on its way matters more.
        }
    }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    void Run(const std::string& sql, bool wide_rows, ResultSink& sink)
    {
        Check("Prepare", gateway_.Call("Prepare", {handle_, sql}).code, sink);
        int32_t code = gateway_.Call("Execute", {handle_}).code;
        if (code == ORVEL_NEED_DATA) {
            Fail("the statement waits for data at execution");
        }
        if (code == ORVEL_NO_DATA) {  // a searched change that found no row
            sink.Changed(0);
        }
        for (const char* step = "Execute"; code != ORVEL_NO_DATA; step = "MoreResults") {
            Check(step, code, sink);
            PassResult(wide_rows, sink);
            code = gateway_.Call("MoreResults", {handle_}).code;
        }
    }

private:
    [[noreturn]] void Fail(const std::string& what) const
    {
        throw SqlError(what, Diagnostics(gateway_, connection_, handle_));
    }

    // What "WasError" says of the last entry. Throws where something was thrown inside it, of which
    // its code says nothing.
    int32_t Flags(const std::string& entry) const
    {
        const int32_t flags = gateway_.Call("WasError").code;
        if (flags == ORVEL_WAS_EXCEPTION) {
            Fail(entry + " met an exception, such as text that the locale can't express");
        }
        return flags;
    }

    void Check(const std::string& entry, int32_t code, ResultSink& sink) const
    {
        Flags(entry);
        if (Failed(code)) {
            Fail(entry + " failed with code " + std::to_string(code));
        }
        if (code == ORVEL_SUCCESS_WITH_INFO) {
            sink.Warn(Diagnostics(gateway_, connection_, handle_));
        }
    }

    // For entries that report no code of their own.
    void CheckFlags(const std::string& entry) const
    {
        if (Flags(entry) != ORVEL_WAS_SUCCESS) {
            Fail(entry + " failed");
        }
    }

    void PassResult(bool wide_rows, ResultSink& sink) const
    {
        const int32_t columns = gateway_.Call("NumResultCols", {handle_}).code;
        CheckFlags("NumResultCols");
        if (columns > 0) {
            sink.Begin(Describe());
            try {
                PassRows(static_cast<std::size_t>(columns), wide_rows, sink);
            } catch (...) {
                sink.End();  // the rows that came are not lost
                throw;
            }
            sink.End();
        } else {
            const int32_t rows = gateway_.Call("RowCount", {handle_}).code;
            CheckFlags("RowCount");
            sink.Changed(rows);
        }
    }

    std::vector<Column> Describe() const
    {
        const Reply reply = gateway_.Call("DescribeColumns", {handle_});
        CheckFlags("DescribeColumns");
        std::vector<Column> columns;
        const auto list = DecodeList(reply.List());
        for (std::size_t i = 1; i < list.size(); ++i) {  // behind the header
            columns.push_back(ColumnOf(list[i].payload));
        }
        return columns;
    }

    void PassRows(std::size_t columns, bool wide_rows, ResultSink& sink) const
    {
        const std::size_t wanted = std::clamp<std::size_t>(
            (kRowsLimit - 1) / (columns * kLargestItem + kRowHeader), 1, kMostRowsAtOnce);
        std::size_t taken = wanted;
        while (taken == wanted) {
            taken = PassSomeRows(wanted, wide_rows, sink);
        }
    }

    std::size_t PassSomeRows(std::size_t wanted, bool wide_rows, ResultSink& sink) const
    {
        const Reply reply = gateway_.Call("FetchRows", {handle_, static_cast<int32_t>(wanted)});
        Flags("FetchRows");
        const int32_t code = gateway_.Call("GetLastSQLCode").code;
        if (code == ORVEL_TOO_MUCH_DATA) {
            throw SqlError("FetchRows failed: a row is longer than an output", {});
        }
        const auto rows = DecodeList(reply.List());
        for (const ListElement& row : rows) {
            Row cells;
            for (const ListElement& item : DecodeList(row.payload)) {
                cells.push_back(CellOf(item, wide_rows));
            }
            sink.Take(std::move(cells));
        }
        if (Failed(code)) {
            Fail("FetchRows failed with code " + std::to_string(code));
        }
        return rows.size();
    }

    const Gateway& gateway_;
    const std::string& connection_;
    std::string handle_;
};

Session::Session(const Gateway& gateway, const SessionOptions& options,
                 const std::string& connection_string)
    : gateway_(gateway), wide_rows_(options.unicode && !options.legacy)
{
    if (options.log) {
        gateway_.Call("SetLogOption", {1});
    }
    gateway_.Call("SetUnicodeOption", {options.unicode ? 1 : 0});
    gateway_.Call("SetLegacyOption", {options.legacy ? 1 : 0});
    connection_ = gateway_.Call("DSNConnect", {connection_string}).Bytes();
    if (connection_.empty()) {
        const bool tried = gateway_.Call("WasError").code != ORVEL_WAS_SUCCESS;
        throw ConnectError(tried ? "the connection failed" : "there is no ODBC environment",
                           Diagnostics(gateway_, std::string(), std::string()));
    }
}

Session::~Session()
{
    try {
        gateway_.Call("Disconnect", {connection_});
    } catch (...) {
        // The outcome that is on its way matters more.
    }
}

void Session::Run(const std::string& sql, ResultSink& sink)
{
    Statement(gateway_, connection_).Run(sql, wide_rows_, sink);
}
