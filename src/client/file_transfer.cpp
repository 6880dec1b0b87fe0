#include "client/file_transfer.h"

#include "client/OutputFile.h"
#include "client/ValueReader.h"

std::uint64_t WriteFirstValue(Statement& statement, const std::string& file)
{
    OutputFile out(file);
    statement.Execute();
    const auto columns = statement.Describe();
    if (columns.empty()) {
        throw SqlError("the statement has no result to write into a file", {});
    }
    if (!statement.Fetch()) {
        throw SqlError("the result has no row to write into a file", {});
    }
    ValueReader reader(statement.Owner(), statement.Handle());
    const Column& column = columns.front();
    const bool has_bytes = column.IsBinary() || (column.IsText() && !reader.IsWide());
    const auto form = has_bytes ? ValueReader::Form::kBinary : ValueReader::Form::kText;
    constexpr std::size_t kPiece = 1'000'000;
    std::uint64_t size = 0;
    for (auto piece = ValueReader::Piece::kMore; piece == ValueReader::Piece::kMore;) {
        piece = reader.Read(1, form, kPiece);
        if (piece == ValueReader::Piece::kFailed) {
            statement.Owner().Fail("the value could not be read", statement.Handle().Bytes());
        }
        out.Write(reader.Bytes());
        size += reader.Bytes().size();
    }
    out.Commit();
    return size;
}
