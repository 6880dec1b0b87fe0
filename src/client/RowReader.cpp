#include "client/RowReader.h"

#include <algorithm>
#include <utility>

#include "client/odbc_numbers.h"

namespace {

constexpr std::size_t kLaterPiece = 1'000'000;

// Enough for most values, but no more: some drivers zero all the room they are offered.
std::size_t FirstPiece(const Column& column)
{
    constexpr std::int64_t kSmallest = 32;
    constexpr std::int64_t kLargest = 512;
    constexpr std::int64_t kLongestCharacter = 4;
    const auto size = std::clamp(column.size, std::int64_t{0}, kLargest);
    return static_cast<std::size_t>(std::clamp(kLongestCharacter * size + 1, kSmallest, kLargest));
}

}  // namespace

RowReader::RowReader(const Session& session, const HandleArgument& statement,
                     std::vector<Column> columns, Reporter& reporter)
    : session_(session),
      statement_(statement),
      columns_(std::move(columns)),
      reporter_(reporter),
      fetch_(session.Library(), "Fetch", "bP"),
      reader_(session, statement),
      forgets_null_binary_(session.Source().forgets_null_binary),
      extents_(columns_.size()),
      cells_(columns_.size())
{}

bool RowReader::Next()
{
    const std::int32_t code = fetch_(statement_);
    if (code == ORVEL_NO_DATA) {
        return false;
    }
    session_.Check("Fetch", code, statement_.Bytes(), reporter_);
    ++summary_.rows;
    values_.clear();
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        cells_[index].is_truncated = false;
        extents_[index].begin = values_.size();
        cells_[index].kind = ReadValue(index);
        extents_[index].size = values_.size() - extents_[index].begin;
    }
    for (std::size_t index = 0; index < columns_.size(); ++index) {
        cells_[index].value =
            std::string_view(values_).substr(extents_[index].begin, extents_[index].size);
    }
    return true;
}

// Appends the value to those of the row.
Cell::Kind RowReader::ReadValue(std::size_t index)
{
    const auto column = static_cast<std::int32_t>(index + 1);
    const bool is_binary = columns_[index].IsBinary();
    const auto form = is_binary ? ValueReader::Form::kBinary : ValueReader::Form::kText;
    const auto kind = is_binary ? Cell::kBinary : Cell::kText;
    if (is_binary && forgets_null_binary_ && reader_.IsNull(column)) {
        return Cell::kNull;
    }
    const auto piece = reader_.Read(column, form, FirstPiece(columns_[index]));
    if (piece == ValueReader::Piece::kFailed) {
        Note(summary_.unreadable, index);
        return Cell::kUnreadable;
    }
    if (piece == ValueReader::Piece::kNull) {
        return is_binary && (forgets_null_binary_ || !IsNullBinary(column)) ? kind : Cell::kNull;
    }
    values_ += reader_.Bytes();
    if (piece == ValueReader::Piece::kMore) {
        ReadOn(index);
    }
    return kind;
}

void RowReader::ReadOn(std::size_t index)
{
    const auto form =
        columns_[index].IsBinary() ? ValueReader::Form::kBinary : ValueReader::Form::kText;
    auto piece = ValueReader::Piece::kMore;
    while (piece == ValueReader::Piece::kMore) {
        piece = reader_.Read(static_cast<std::int32_t>(index + 1), form, kLaterPiece);
        if (piece == ValueReader::Piece::kFailed) {
            Note(summary_.truncated, index);
            cells_[index].is_truncated = true;
            return;
        }
        values_ += reader_.Bytes();
    }
}

// An empty value has nothing left to read again; a NULL stays NULL.
bool RowReader::IsNullBinary(std::int32_t column)
{
    return reader_.Read(column, ValueReader::Form::kText, kLaterPiece) == ValueReader::Piece::kNull;
}

void RowReader::Note(std::vector<ColumnNotice>& notices, std::size_t index) const
{
    const auto& name = columns_[index].name;
    auto notice = std::ranges::find(notices, index, &ColumnNotice::index);
    if (notice == notices.end()) {
        notice = notices.insert(notices.end(), {index, name, 0, summary_.rows,
                                                session_.Diagnostics(statement_.Bytes())});
    }
    ++notice->count;
}
