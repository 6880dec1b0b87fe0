#include "tool/commands/import.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <set>

#include "client/HostList.h"
#include "client/RowReader.h"
#include "client/Statement.h"
#include "client/ascii.h"
#include "client/odbc_numbers.h"
#include "text/CsvReader.h"
#include "text/terminal_text.h"
#include "text/utf8.h"
#include "tool/output/Messages.h"

namespace {

// A name as the data source wants it, whatever its characters. A data source without quotes has a
// blank for one.
std::string QuotedName(const std::string& name, const std::string& quote)
{
    if (quote.empty() || quote == " ") {
        return name;
    }
    std::string quoted = quote;
    for (const char c : name) {
        quoted += quote == std::string(1, c) ? quote + quote : std::string(1, c);
    }
    return quoted + quote;
}

const Column* FindColumn(const std::vector<Column>& columns, std::string_view name)
{
    auto found = std::ranges::find(columns, name, &Column::name);
    if (found == columns.end()) {
        found = std::ranges::find_if(
            columns, [&](const Column& column) { return EqualsIgnoringCase(column.name, name); });
    }
    return found != columns.end() ? &*found : nullptr;
}

// The delimiter by which the first name in a title is a column's, as far as there is one.
std::optional<char> LikelyDelimiter(const std::vector<Column>& columns, std::string_view title)
{
    constexpr std::string_view kDelimiters = ";\t|,:";
    for (const char delimiter : kDelimiters) {
        const auto end = title.find(delimiter);
        if (end != std::string_view::npos && FindColumn(columns, title.substr(0, end)) != nullptr) {
            return delimiter;
        }
    }
    return std::nullopt;
}

// The table's column of a name: the one that is the same, or else the same but for case.
const Column& ColumnNamed(const std::vector<Column>& columns, const CsvReader::Field& title,
                          const std::string& table)
{
    const std::string_view name = title.value_or("");
    if (const Column* column = FindColumn(columns, name)) {
        return *column;
    }
    const auto delimiter = LikelyDelimiter(columns, name);
    throw SqlError(
        fmt::format("{} has no column {}{}", table, Quoted(name),
                    delimiter ? fmt::format("; did you mean --delimiter '{}'?",
                                            *delimiter == '\t' ? "\\t" : std::string(1, *delimiter))
                              : ""),
        {});
}

std::vector<Column> ColumnsOf(const Session& session, const std::string& table, Reporter& reporter)
{
    Statement statement(session, "SELECT * FROM " + table + " WHERE 1 = 0", reporter);
    statement.Execute();
    return statement.Describe();
}

// How a column's values are bound. A date goes as text: what its described type lacks, such as an
// offset from UTC, would be lost.
ParameterShape ShapeOf(const Column& column, const SourceTraits& source)
{
    constexpr std::int64_t kLongestDateTime = 64;
    constexpr std::int64_t kDigitsOf32Bits = 10;
    ParameterShape shape{column.sql_type, std::max<std::int64_t>(column.size, 1), column.digits,
                         column.IsBinary()};
    if (column.IsDateTime() && !source.misreads_text) {
        shape = {.sql_type = kVarcharType, .size = kLongestDateTime};
    }
    const bool is_big = column.sql_type == kBigintType ||
                        (column.sql_type == kIntegerType && column.size > kDigitsOf32Bits);
    if (is_big && source.loses_big_integers) {
        shape.sql_type = kDecimalType;
    }
    return shape;
}

std::optional<std::int64_t> RowCount(const Session& session, const std::string& table,
                                     Reporter& reporter)
{
    try {
        Statement statement(session, "SELECT count(*) FROM " + table, reporter);
        statement.Execute();
        RowReader rows(session, statement.Handle(), statement.Describe(), reporter);
        return rows.Next() ? std::optional(std::stoll(std::string(rows.Cells()[0].value)))
                           : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

/// One import: the statement that inserts a row, and what it has come to.
class CsvImport {
public:
    CsvImport(const Session& session, const ImportOptions& options, Reporter& reporter)
        : session_(session),
          options_(options),
          reporter_(reporter),
          reader_(options.file, options.delimiter)
    {
        if (!reader_.Next()) {
            throw CsvError(reader_.Name() + ": there is no record with the names of columns");
        }
        Prepare(reader_.Fields());
    }

    std::uint64_t Run(const std::function<void(std::uint64_t rows)>& on_progress)
    {
        Transaction transaction(session_);
        try {
            Statement insert(session_, sql_, reporter_);
            insert.Bind(shapes_);
            while (reader_.Next()) {
                InsertRow(insert);
                ++rows_;
                on_progress(rows_);
            }
        } catch (const CsvError& error) {
            SqlError failure(error.what());
            failure.aftermath = Undo(transaction);
            throw failure;
        } catch (SqlError& error) {
            error.aftermath = Undo(transaction);
            throw;
        }
        transaction.Commit();
        return rows_;
    }

private:
    void Prepare(CsvReader::Record titles)
    {
        const auto columns = ColumnsOf(session_, options_.table, reporter_);
        const std::string quote = session_.Information(kIdentifierQuote);
        const SourceTraits source = session_.Source();
        std::string names;
        std::string markers;
        std::set<std::string> named;
        for (const CsvReader::Field& title : titles) {
            const Column& column = ColumnNamed(columns, title, options_.table);
            if (!named.insert(column.name).second) {
                throw SqlError("two fields are for the column " + column.name, {});
            }
            names += (names.empty() ? "" : ", ") + QuotedName(column.name, quote);
            markers += markers.empty() ? "?" : ", ?";
            columns_.push_back(column);
            shapes_.push_back(ShapeOf(column, source));
        }
        sql_ = fmt::format("INSERT INTO {} ({}) VALUES ({})", options_.table, names, markers);
    }

    std::string Place() const { return fmt::format("{}: line {}", reader_.Name(), reader_.Line()); }

    [[noreturn]] void FailField(std::size_t index, const std::string& why) const
    {
        throw CsvError(fmt::format("{}: column {}, {}: {}", Place(), columns_[index].name,
                                   Shortened(*reader_.Fields()[index]), why));
    }

    static std::string Shortened(std::string_view value)
    {
        constexpr std::size_t kShown = 40;
        return Quoted(value.substr(0, kShown)) + (value.size() > kShown ? "..." : "");
    }

    void SetField(Statement& insert, std::size_t index) const
    {
        const auto& field = reader_.Fields()[index];
        if (!field) {
            insert.SetNull(index + 1);
        } else if (field->size() > kLongestElement) {
            FailField(index, fmt::format("longer than {} bytes", kLongestElement));
        } else if (shapes_[index].is_binary) {
            insert.SetBytes(index + 1, *field);
        } else if (const auto invalid = FirstInvalidByte(*field)) {
            FailField(index, fmt::format("not UTF-8 at byte {}", *invalid + 1));
        } else {
            insert.SetText(index + 1, *field);
        }
    }

    void InsertRow(Statement& insert) const
    {
        const auto record = reader_.Fields();
        if (record.size() != columns_.size()) {
            throw CsvError(fmt::format("{}: {} fields, but {} columns", Place(), record.size(),
                                       columns_.size()));
        }
        std::size_t index = 0;
        try {
            for (; index < record.size(); ++index) {
                SetField(insert, index);
            }
            insert.Execute();
        } catch (SqlError& error) {
            error.place = fmt::format("{}: {}", Place(), Values(index));
            throw;
        }
    }

    // The field that a failure is of, or all of them.
    std::string Values(std::size_t failed) const
    {
        std::string text;
        const auto record = reader_.Fields();
        for (std::size_t i = 0; i < record.size(); ++i) {
            if (failed == i || failed == record.size()) {
                text += fmt::format("{}{} = {}", text.empty() ? "" : ", ", columns_[i].name,
                                    record[i] ? Shortened(*record[i]) : "NULL");
            }
        }
        return text;
    }

    // Rolls back, and says what that came to: a table without transactions keeps its rows.
    std::string Undo(Transaction& transaction) const
    {
        if (rows_ == 0) {
            return "no row was imported";
        }
        const auto before = RowCount(session_, options_.table, reporter_);
        try {
            transaction.Rollback();
        } catch (const SqlError&) {
            return fmt::format("the rollback failed: {} rows may stay in {}", rows_,
                               options_.table);
        }
        const auto after = before ? RowCount(session_, options_.table, reporter_) : before;
        const std::int64_t gone = before && after ? *before - *after : 0;
        const auto kept = static_cast<std::int64_t>(rows_) - gone;
        return !before || kept <= 0
                   ? "rolled back: no row was imported"
                   : fmt::format("not rolled back: {} stay in {}, which has no transactions",
                                 Counted(static_cast<std::uint64_t>(kept), "row"), options_.table);
    }

    const Session& session_;
    const ImportOptions& options_;
    Reporter& reporter_;
    CsvReader reader_;
    std::string sql_;
    std::vector<Column> columns_;
    std::vector<ParameterShape> shapes_;
    std::uint64_t rows_ = 0;
};

}  // namespace

ExitCode Import(const CommandLine& command, const Session& session)
{
    const bool is_terminal = ::isatty(STDERR_FILENO) == 1;
    const char* start_of_line = is_terminal ? "\r" : "";
    Messages messages(stderr);
    try {
        CsvImport import(session, command.import, messages);
        const std::uint64_t rows = import.Run([&](std::uint64_t so_far) {
            constexpr std::uint64_t kStep = 5000;
            if (is_terminal && so_far % kStep == 0) {
                std::fprintf(stderr, "\r%ju rows", static_cast<std::uintmax_t>(so_far));
            }
        });
        messages.Say(fmt::format("{}({} imported)", start_of_line, Counted(rows, "row")));
    } catch (...) {
        std::fputs(start_of_line, stderr);
        throw;
    }
    return kDone;
}
