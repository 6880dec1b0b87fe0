#include "shell/doctor/checks.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "shell/HostList.h"
#include "shell/Query.h"
#include "shell/odbc_numbers.h"

namespace {

constexpr char kText[] = "é Ω 日";
constexpr char kBeyond[] = "😀";

// Where a piece ends depends on the mode; the text has characters of all sizes there.
constexpr std::size_t kLongCharacters = 40'000;
constexpr char kLongPart[] = "abcdéΩ日x";
constexpr std::size_t kPartCharacters = 8;

constexpr std::int32_t kSmallPiece = 1001;

// Of this the driver is offered a quarter in 4-byte characters, and a narrow driver as many bytes.
constexpr std::int32_t kWholePiece = 400'000;

constexpr int kMostPieces = 5000;

/// Takes the rows of a query.
class Rows : public ResultSink {
public:
    void Begin(const std::vector<Column>& /*columns*/) override {}
    void Take(Row row) override { rows.push_back(std::move(row)); }
    void End() override {}
    void Changed(std::int64_t /*rows*/) override {}
    void Warn(const std::vector<std::string>& /*diagnostics*/) override {}

    /// The first row, of so many cells.
    const Row& First(std::size_t cells) const
    {
        if (rows.empty() || rows.front().size() != cells) {
            throw SqlError("no such row came", {});
        }
        return rows.front();
    }

    std::vector<Row> rows;
};

Row RowOf(const Session& session, const std::string& sql, std::size_t cells)
{
    Rows rows;
    Query query(session, sql, rows);
    query.Run();
    return rows.First(cells);
}

Finding JudgeCell(const std::string& sent, const Cell& cell)
{
    if (!cell.text) {
        return {"lost", "NULL came"};
    }
    return Judge(sent, *cell.text);
}

Finding NullAndEmpty(const Session& session, const std::string& /*prefix*/)
{
    const Row row = RowOf(session, "SELECT NULL, ''", 2);
    if (row[0].text) {
        return {"alike", row[0].text->empty() ? "NULL comes as empty text" : "NULL comes as text"};
    }
    if (!row[1].text) {
        return {"alike", "empty text comes as NULL"};
    }
    return Judge("", *row[1].text);
}

Finding Literal(const Session& session, const std::string& prefix, const std::string& text)
{
    return JudgeCell(text, RowOf(session, "SELECT " + prefix + "'" + text + "'", 1)[0]);
}

// With the Unicode option text goes as 2-byte characters, as a host sends it: the tool's own
// parameters keep clear of narrow drivers.
Finding Parameter(const Session& session, const std::string& text)
{
    Rows rows;
    Query query(session, "SELECT ?", rows);
    if (session.Options().unicode) {
        const auto size = static_cast<std::int64_t>(text.size());
        query.Bind({ParameterShape{.sql_type = kWideVarcharType, .size = size}});
        query.Set(1, UnitsFromUtf8(text));
    } else {
        query.Bind({Marker{text, false}});
    }
    query.Run();
    return JudgeCell(text, rows.First(1)[0]);
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
    LongRead(const Session& session, std::string entry, std::int32_t c_type, std::int32_t size)
        : session_(session), entry_(std::move(entry)), c_type_(c_type), size_(size)
    {}

    Finding CarryOut(const std::string& prefix) const
    {
        const std::string sent = LongText();
        Rows none;
        Query query(session_, "SELECT " + prefix + "'" + sent + "'", none);
        query.Execute();
        const std::int32_t fetched = session_.Library().CallOn(query.Handle(), "Fetch").code;
        if (Failed(fetched)) {
            throw SqlError("Fetch failed", session_.Diagnostics(query.Handle()));
        }
        const std::string came = Pieces(query.Handle(), 2 * sent.size());
        return Judge(sent, IsWide() ? Utf8FromUnits(came) : came);
    }

private:
    bool IsWide() const { return c_type_ == kWideCType; }

    std::string Pieces(const std::string& statement, std::size_t enough) const
    {
        std::vector<Argument> inputs{1, c_type_};
        if (size_ != 0) {
            inputs.emplace_back(size_);
        }
        std::string text;
        std::int32_t code = ORVEL_SUCCESS_WITH_INFO;
        for (int i = 0; code == ORVEL_SUCCESS_WITH_INFO && i < kMostPieces; ++i) {
            const Reply reply = session_.Library().CallOn(statement, entry_, inputs);
            code = session_.Library().Call("GetLastSQLCode").code;
            if (Failed(code) && code != ORVEL_NO_DATA) {
                throw SqlError(entry_ + " failed", session_.Diagnostics(statement));
            }
            text += Trimmed(reply.Bytes());
            if (text.size() > enough) {
                break;
            }
        }
        return text;
    }

    // Zeros end a piece, and fill it where the driver manager counted what nobody wrote.
    std::string_view Trimmed(std::string_view piece) const
    {
        const std::size_t unit = IsWide() ? 2 : 1;
        while (piece.size() >= unit &&
               std::ranges::all_of(piece.substr(piece.size() - unit),
                                   [](char byte) { return byte == '\0'; })) {
            piece.remove_suffix(unit);
        }
        return piece;
    }

    const Session& session_;
    std::string entry_;
    std::int32_t c_type_;
    std::int32_t size_;
};

// The entry of the mode: the one that ends in W reads 2-byte characters.
Finding ReadLong(const Session& session, const std::string& prefix, const std::string& entry,
                 std::int32_t size)
{
    const bool is_wide = session.Options().unicode;
    return LongRead(session, is_wide ? entry + "W" : entry, is_wide ? kWideCType : kCharacterCType,
                    size)
        .CarryOut(prefix);
}

constexpr Check kChecks[] = {
    {"NULL and empty text", Check::kNullness, NullAndEmpty},
    {"é Ω 日", Check::kPlainText,
     [](const Session& session, const std::string& prefix) {
         return Literal(session, prefix, kText);
     }},
    {"é Ω 日 as a parameter", Check::kParameter,
     [](const Session& session, const std::string& /*prefix*/) {
         return Parameter(session, kText);
     }},
    {"😀 (beyond U+FFFF)", Check::kBeyondText,
     [](const Session& session, const std::string& prefix) {
         return Literal(session, prefix, kBeyond);
     }},
    {"😀 as a parameter", Check::kParameter,
     [](const Session& session, const std::string& /*prefix*/) {
         return Parameter(session, kBeyond);
     }},
    {"long text whole", Check::kLong,
     [](const Session& session, const std::string& prefix) {
         return ReadLong(session, prefix, "GetDataEx", kWholePiece);
     }},
    {"long text by GetData", Check::kLong,
     [](const Session& session, const std::string& prefix) {
         return ReadLong(session, prefix, "GetData", 0);
     }},
    {"long text in small pieces", Check::kLong,
     [](const Session& session, const std::string& prefix) {
         return ReadLong(session, prefix, "GetDataEx", kSmallPiece);
     }},
};

}  // namespace

std::span<const Check> Checks()
{
    return kChecks;
}

void TrySelect(const Session& session)
{
    RowOf(session, "SELECT 1", 1);
}
