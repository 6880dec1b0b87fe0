#include "tool/commands/import.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>

#include "client/HostList.h"
#include "client/RowReader.h"
#include "client/Statement.h"
#include "client/odbc_numbers.h"
#include "text/CsvReader.h"
#include "text/byte_text.h"
#include "text/terminal_text.h"
#include "text/utf8.h"
#include "tool/commands/TableGuess.h"
#include "tool/commands/import_columns.h"
#include "tool/output/Messages.h"
#include "tool/output/Progress.h"

namespace {

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

// The names that a file, or the words in its place, give to the fields; none where neither does.
std::vector<std::string> ReadNames(CsvReader& reader, const ImportOptions& options)
{
    std::vector<std::string> names = options.columns;
    if (options.has_header) {
        if (!reader.Next()) {
            throw CsvError(reader.Name() + ": there is no record with the names of columns");
        }
        for (const CsvReader::Field& title : reader.Fields()) {
            if (options.columns.empty()) {
                names.emplace_back(title.value_or(""));
            }
        }
    }
    return names;
}

void CheckFieldCount(const CsvReader& reader, std::size_t columns)
{
    if (const std::size_t fields = reader.Fields().size(); fields != columns) {
        throw CsvError(fmt::format("{}: line {}: {}, but {}", reader.Name(), reader.Line(),
                                   Counted(fields, "field"), Counted(columns, "column")));
    }
}

bool IsNull(const CsvReader::Field& field, const ImportOptions& options)
{
    return !field || (options.null_text && *field == *options.null_text);
}

// The statement that creates a table for all records of a file.
std::string TableFor(const Session& session, const ImportOptions& options)
{
    CsvReader reader(options.file, options.delimiter);
    const auto names = ReadNames(reader, options);
    if (names.size() == 1) {
        reader.TakeEmptyLines();
    }
    std::vector<TypeGuess> guesses(names.size());
    while (reader.Next()) {
        CheckFieldCount(reader, names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (const auto& field = reader.Fields()[i]; !IsNull(field, options)) {
                guesses[i].Take(*field);
            }
        }
    }
    return CreateTable(session, options.table, names, guesses);
}

std::uint64_t SizeOf(const std::string& file)
{
    std::error_code none;
    const auto size = std::filesystem::file_size(file, none);
    return none ? 0 : size;
}

SqlError Failure(const std::string& what, const std::string& aftermath)
{
    SqlError failure(what);
    failure.aftermath = aftermath;
    return failure;
}

/// One import: the statement that inserts a row, and what it has come to.
class CsvImport {
public:
    CsvImport(const Session& session, const ImportOptions& options, Messages& messages)
        : session_(session),
          options_(options),
          messages_(messages),
          reader_(options.file, options.delimiter)
    {}

    std::uint64_t Run()
    {
        const std::string table = options_.creates ? TableFor(session_, options_) : "";
        Transaction transaction(session_);
        try {
            if (options_.creates) {
                Create(table);
            }
            Prepare();
            Progress progress(SizeOf(options_.file));
            while (InsertBatch(progress)) {
                transaction.CommitAndGoOn();
                kept_ = rows_;
                kept_line_ = reader_.Line();
            }
        } catch (const CsvError& error) {
            throw Failure(error.what(), Undo(transaction));
        } catch (SqlError& error) {
            error.aftermath = Undo(transaction);
            throw;
        }
        transaction.Commit();
        return rows_;
    }

private:
    void Create(const std::string& table)
    {
        std::istringstream lines(table);
        for (std::string line; std::getline(lines, line);) {
            messages_.Say(Printable(line));
        }
        Statement(session_, table, messages_).Execute();
        is_created_ = true;
    }

    void Prepare()
    {
        const auto columns = ColumnsOf(session_, options_.table, messages_);
        const std::string quote = session_.Information(kIdentifierQuote);
        auto titles = ReadNames(reader_, options_);
        if (titles.empty()) {
            std::ranges::transform(columns, std::back_inserter(titles), &Column::name);
        }
        std::string names;
        std::string markers;
        std::set<std::string> named;
        for (const std::string& title : titles) {
            const Column& column = ColumnNamed(columns, title, options_.table);
            if (!named.insert(column.name).second) {
                throw SqlError("two fields are for the column " + column.name);
            }
            names += (names.empty() ? "" : ", ") + QuotedName(column.name, quote);
            markers += markers.empty() ? "?" : ", ?";
            columns_.push_back(column);
            shapes_.push_back(ShapeOf(column, session_.Source()));
        }
        if (columns_.size() == 1) {
            reader_.TakeEmptyLines();
        }
        sql_ = fmt::format("INSERT INTO {} ({}) VALUES ({})", options_.table, names, markers);
    }

    // Returns whether there may be more. A statement of its own, since a commit may close others.
    bool InsertBatch(Progress& progress)
    {
        Statement insert(session_, sql_, messages_);
        insert.Bind(shapes_);
        while (reader_.Next()) {
            InsertRow(insert);
            ++rows_;
            progress.Show(rows_, reader_.BytesRead());
            if (rows_ - kept_ == options_.batch) {
                return true;
            }
        }
        return false;
    }

    std::string Place() const { return fmt::format("{}: line {}", reader_.Name(), reader_.Line()); }

    [[noreturn]] void FailField(std::size_t index, const std::string& why) const
    {
        throw CsvError(fmt::format("{}: column {}, {}: {}", Place(), columns_[index].name,
                                   Shortened(*reader_.Fields()[index]), why));
    }

    [[noreturn]] void FailLength(std::size_t index) const
    {
        FailField(index, fmt::format("longer than {} bytes", kLongestElement));
    }

    static std::string Shortened(std::string_view value)
    {
        constexpr std::size_t kShown = 40;
        return Quoted(value.substr(0, kShown)) + (value.size() > kShown ? "..." : "");
    }

    void SetField(Statement& insert, std::size_t index) const
    {
        const auto& field = reader_.Fields()[index];
        if (IsNull(field, options_)) {
            insert.SetNull(index + 1);
        } else if (shapes_[index].is_binary) {
            SetBytes(insert, index, *field);
        } else if (field->size() > kLongestElement) {
            FailLength(index);
        } else if (const auto invalid = FirstInvalidByte(*field)) {
            FailField(index, fmt::format("not UTF-8 at byte {}", *invalid + 1));
        } else {
            insert.SetText(index + 1, *field);
        }
    }

    // Bytes as they are, unless they stand in hexadecimal digits.
    void SetBytes(Statement& insert, std::size_t index, std::string_view field) const
    {
        const auto decoded = BytesOfHex(field);
        if (!decoded && field.starts_with("\\x")) {
            FailField(index, "behind \\x there are not pairs of hexadecimal digits alone");
        }
        const std::string_view bytes = decoded ? *decoded : field;
        if (bytes.size() > kLongestElement) {
            FailLength(index);
        }
        insert.SetBytes(index + 1, bytes);
    }

    void InsertRow(Statement& insert) const
    {
        const auto record = reader_.Fields();
        CheckFieldCount(reader_, columns_.size());
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

    // Rolls back, and says what that came to: a table without transactions keeps its rows, and some
    // data sources keep the table.
    std::string Undo(Transaction& transaction) const
    {
        const std::uint64_t pending = rows_ - kept_;
        if (rows_ == 0 && !is_created_) {
            return "no row was imported";
        }
        const auto before = RowCount(session_, options_.table, messages_);
        try {
            transaction.Rollback();
        } catch (const SqlError&) {
            return fmt::format("the rollback failed: {} may stay in {}", Counted(rows_, "row"),
                               options_.table);
        }
        const auto after =
            is_created_ || before ? RowCount(session_, options_.table, messages_) : std::nullopt;
        // How many of the pending rows are gone says nothing: a trigger may have left some out.
        if (pending > 0 && before && after && *after >= *before) {
            return fmt::format(
                "the rollback removed no row: {} may stay in {}, as in a table without "
                "transactions",
                Counted(rows_, "row"), options_.table);
        }
        if (kept_ > 0) {
            return fmt::format("rolled back to the last batch: {} {} in {}, up to line {} of {}",
                               Counted(kept_, "row"), kept_ == 1 ? "stays" : "stay", options_.table,
                               kept_line_, reader_.Name());
        }
        return fmt::format("rolled back: no row was imported{}", !is_created_ ? ""
                                                                 : after
                                                                     ? "; the new table stays"
                                                                     : ", and no table created");
    }

    const Session& session_;
    const ImportOptions& options_;
    Messages& messages_;
    CsvReader reader_;
    std::string sql_;
    std::vector<Column> columns_;
    std::vector<ParameterShape> shapes_;
    bool is_created_ = false;
    std::uint64_t rows_ = 0;
    std::uint64_t kept_ = 0;       // of them in batches that are committed
    std::uint64_t kept_line_ = 0;  // on which the last of those begins
};

}  // namespace

ExitCode Import(const CommandLine& command, const Session& session)
{
    Messages messages(stderr);
    CsvImport import(session, command.import, messages);
    messages.Say(fmt::format("({} imported)", Counted(import.Run(), "row")));
    return kDone;
}
