#include "doctor/checks.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>
#include <exception>
#include <iterator>

#include "client/HostList.h"
#include "client/Statement.h"
#include "client/odbc_numbers.h"
#include "text/terminal_text.h"

namespace {

constexpr char kText[] = "é Ω 日";
constexpr char kBeyond[] = "😀";

// Where a piece ends depends on the mode; the text has characters of all sizes there.
constexpr std::size_t kLongCharacters = 40'000;
constexpr char kLongPart[] = "abcdéΩ日x";
constexpr std::size_t kPartCharacters = 8;

constexpr std::int32_t kSmallPiece = 1001;

// The driver gets a buffer of a quarter of this in 4-byte characters; a narrow driver, of as many
// bytes.
constexpr std::int32_t kWholePiece = 400'000;

constexpr int kMaxPieces = 5000;

constexpr std::size_t kShortText = 40;

std::size_t Characters(std::string_view text)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

// Whether a text is another one without some of its bytes.
bool IsSubsequence(std::string_view received, std::string_view sent)
{
    std::size_t found = 0;
    for (std::size_t at = 0; at < sent.size() && found < received.size(); ++at) {
        if (sent[at] == received[found]) {
            ++found;
        }
    }
    return found == received.size();
}

// Text in quotes, or its code points where a terminal can't show one of them.
std::string Visible(std::string_view text)
{
    std::string points;
    bool is_visible = true;
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t point = -1;
        const auto size =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                             static_cast<utf8proc_ssize_t>(text.size() - at), &point);
        if (size <= 0) {
            return fmt::format("\"{}\"", Printable(text));
        }
        const auto category = utf8proc_category(point);
        is_visible = is_visible && category != UTF8PROC_CATEGORY_CO &&
                     category != UTF8PROC_CATEGORY_CN && category != UTF8PROC_CATEGORY_CC;
        points += fmt::format("{}U+{:04X}", points.empty() ? "" : " ", point);
        at += static_cast<std::size_t>(size);
    }
    return is_visible ? fmt::format("\"{}\"", text) : points;
}

/// Ignores what a statement reports besides its rows.
class NoReporter : public Reporter {
public:
    void Returned(const ResultSummary& /*summary*/) override {}
    void Changed(std::int64_t /*rows*/) override {}
    void Done() override {}
    void Warned(const std::vector<std::string>& /*diagnostics*/) override {}
};

/// A row as a host receives it: text as the row entry delivers it in this mode, nothing for NULL.
using HostRow = std::vector<std::optional<std::string>>;

std::optional<std::string> HostValue(const ListElement& item)
{
    if (item.payload.empty()) {
        return std::nullopt;
    }
    std::string text = item.Text();
    // Zeros fill a value where the driver manager reported more than was written; an empty value is
    // one zero.
    text.erase(text.find_last_not_of('\0') + 1);
    return text;
}

HostRow FirstRow(Statement& statement, std::size_t cells)
{
    statement.Execute();
    const std::string handle = statement.Handle().Bytes();
    const Gateway& gateway = statement.Owner().Library();
    const Reply reply = gateway.CallOn(handle, "FetchRows", {1});
    const std::int32_t code = gateway.Call("GetLastSQLCode").code;
    if (Failed(code)) {
        statement.Owner().Fail("FetchRows failed", handle);
    }
    HostRow row;
    for (const ListElement& list : DecodeList(reply.List())) {
        for (const ListElement& item : DecodeList(list.payload)) {
            row.push_back(HostValue(item));
        }
    }
    if (row.size() != cells) {
        throw SqlError("the row has another number of columns, or there is none", {});
    }
    return row;
}

HostRow RowOf(const Session& session, const std::string& sql, std::size_t cells)
{
    NoReporter reporter;
    Statement statement(session, sql, reporter);
    return FirstRow(statement, cells);
}

Finding CompareValue(const std::string& sent, const std::optional<std::string>& received)
{
    return received ? Compare(sent, *received) : Finding{"lost", "received NULL"};
}

Finding NullAndEmpty(const Session& session)
{
    const HostRow row = RowOf(session, "SELECT NULL, ''", 2);
    if (row[0]) {
        return {"conflated",
                row[0]->empty() ? "NULL arrives as empty text" : "NULL arrives as text"};
    }
    if (!row[1]) {
        return {"conflated", "empty text arrives as NULL"};
    }
    return Compare("", *row[1]);
}

Finding Literal(const Session& session, const std::string& prefix, const std::string& text)
{
    return CompareValue(text, RowOf(session, "SELECT " + prefix + "'" + text + "'", 1)[0]);
}

// As a host of the mode sends text: as 2-byte characters with the Unicode option, else as bytes.
// The tool itself sends it as the driver takes it, in every mode.
Finding Parameter(const Session& session, const std::string& text)
{
    NoReporter reporter;
    Statement statement(session, "SELECT ?", reporter);
    const bool is_wide = session.Options().unicode;
    statement.Bind({ParameterShape{.sql_type = is_wide ? kWideVarcharType : kVarcharType,
                                   .size = static_cast<std::int64_t>(text.size())}});
    session.Library().CallOn(
        statement.Handle().Bytes(), "SetParameter",
        {EncodeList({is_wide ? ListValue(UnitsFromUtf8(text)) : ListValue(text)}), 1});
    return CompareValue(text, FirstRow(statement, 1)[0]);
}

std::string LongText()
{
    std::string text;
    for (std::size_t i = 0; i < kLongCharacters / kPartCharacters; ++i) {
        text += kLongPart;
    }
    return text;
}

/// Reads the value of the statement's first row by one of the data entries.
class LongRead {
public:
    // The entry of the mode: the one that ends in W reads 2-byte characters.
    LongRead(const Session& session, const Check& check)
        : session_(session),
          is_wide_(session.Options().unicode),
          entry_(std::string(check.input) + (is_wide_ ? "W" : "")),
          size_(check.piece)
    {}

    Finding Run(const std::string& prefix) const
    {
        const std::string sent = LongText();
        NoReporter reporter;
        Statement statement(session_, "SELECT " + prefix + "'" + sent + "'", reporter);
        statement.Execute();
        if (!statement.Fetch()) {
            throw SqlError("there is no row", {});
        }
        const std::string received = Pieces(statement.Handle().Bytes(), 2 * sent.size());
        return Compare(sent, is_wide_ ? Utf8FromUnits(received) : received);
    }

private:
    std::string Pieces(const std::string& statement, std::size_t limit) const
    {
        std::vector<Argument> inputs{1, is_wide_ ? kWideCType : kCharacterCType};
        if (size_ != 0) {
            inputs.emplace_back(size_);
        }
        std::string text;
        std::int32_t code = ORVEL_SUCCESS_WITH_INFO;
        for (int i = 0; code == ORVEL_SUCCESS_WITH_INFO && i < kMaxPieces; ++i) {
            const Reply reply = session_.Library().CallOn(statement, entry_, inputs);
            code = session_.Library().Call("GetLastSQLCode").code;
            if (Failed(code) && code != ORVEL_NO_DATA) {
                throw SqlError(entry_ + " failed", session_.Diagnostics(statement));
            }
            text += Trimmed(reply.Bytes());
            if (text.size() > limit) {
                break;
            }
        }
        return text;
    }

    // Zeros terminate a piece, and fill it where the driver manager reported more than was written.
    std::string_view Trimmed(std::string_view piece) const
    {
        const std::size_t unit = is_wide_ ? 2 : 1;
        while (piece.size() >= unit &&
               std::ranges::all_of(piece.substr(piece.size() - unit),
                                   [](char byte) { return byte == '\0'; })) {
            piece.remove_suffix(unit);
        }
        return piece;
    }

    const Session& session_;
    bool is_wide_;
    std::string entry_;
    std::int32_t size_;
};

// The SQLSTATE and the first line of the first message.
std::string FirstWords(const SqlError& error)
{
    if (error.diagnostics.empty()) {
        return error.what();
    }
    const std::string& line = error.diagnostics.front();
    const std::string message = MessageOf(line);
    return "(" + StateOf(line) + ") " + message.substr(0, message.find_first_of("\r\n"));
}

Finding FindingOf(const Check& check, const Session& session, const std::string& prefix)
{
    switch (check.subject) {
        case Check::kNullness:
            return NullAndEmpty(session);
        case Check::kLong:
            return LongRead(session, check).Run(prefix);
        default:
            return check.is_literal ? Literal(session, prefix, check.input)
                                    : Parameter(session, check.input);
    }
}

constexpr Check kChecks[] = {
    {"NULL and empty text", Check::kNullness, true, "", 0},
    {"é Ω 日", Check::kPlainText, true, kText, 0},
    {"é Ω 日 as a parameter", Check::kPlainText, false, kText, 0},
    {"😀 (beyond U+FFFF)", Check::kBeyondText, true, kBeyond, 0},
    {"😀 as a parameter", Check::kBeyondText, false, kBeyond, 0},
    {"long text whole", Check::kLong, true, "GetDataEx", kWholePiece},
    {"long text by GetData", Check::kLong, true, "GetData", 0},
    {"long text in small pieces", Check::kLong, true, "GetDataEx", kSmallPiece},
};

}  // namespace

Finding Compare(std::string_view sent, std::string_view received)
{
    if (received == sent) {
        return {"ok", ""};
    }
    const bool is_short = sent.size() <= kShortText && received.size() <= kShortText;
    const std::string both = is_short ? "received " + Visible(received) : "";
    const std::size_t all = Characters(sent);
    const std::size_t left = Characters(received);
    if (received.empty()) {
        return {"lost", "nothing received"};
    }
    if (sent.starts_with(received)) {
        return {"truncated",
                is_short ? both : fmt::format("received the first {} of {} characters", left, all)};
    }
    if (left < all && IsSubsequence(received, sent)) {
        return {"lost",
                is_short ? both : fmt::format("{} of {} characters missing", all - left, all)};
    }
    const auto same =
        static_cast<std::size_t>(std::ranges::mismatch(sent, received).in1 - sent.begin());
    return {"garbled", is_short ? both
                                : fmt::format("wrong from character {} of {} on",
                                              Characters(sent.substr(0, same)) + 1, all)};
}

std::span<const Check> Checks()
{
    return kChecks;
}

Finding RunCheck(const Check& check, const Session& session, const std::string& prefix)
{
    try {
        return FindingOf(check, session, prefix);
    } catch (const SqlError& error) {
        return {"refused", FirstWords(error)};
    } catch (const std::exception& error) {
        return {"failed", error.what()};
    }
}

std::string RefusalOfSelect(const Session& session)
{
    try {
        RowOf(session, "SELECT 1", 1);
        return "";
    } catch (const SqlError& error) {
        return FirstWords(error);
    }
}

void ReadDatabaseFile(const Session& session)
{
    try {
        RowOf(session, "SELECT count(*) FROM sqlite_master", 1);
    } catch (const SqlError& error) {
        throw ConnectError(error.what(), error.diagnostics);
    }
}
