#include "shims/BoundText.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

constexpr SQLLEN kWidth = sizeof(wchar_t);

// An indicator that no driver returns, and that none takes for a request for data.
constexpr SQLLEN kUntouched = -99;

std::size_t RowsBytes(std::size_t stride, SQLULEN rows, std::size_t last)
{
    return stride * (rows - 1) + last;
}

// The address of a row's item in the caller's memory: by row size, or in an array of items of that
// size.
char* Address(void* base, std::size_t size, SQLULEN row, const RowLayout& layout)
{
    const std::size_t stride = layout.row_bytes != 0 ? layout.row_bytes : size;
    return static_cast<char*>(base) + (layout.offset != nullptr ? *layout.offset : 0) +
           stride * row;
}

}  // namespace

BoundText::Source BoundText::At(SQLULEN row, const RowLayout& layout) const
{
    SQLLEN indicator = SQL_NTS;
    if (caller_.indicator != nullptr) {
        std::memcpy(&indicator, Address(caller_.indicator, sizeof(SQLLEN), row, layout),
                    sizeof indicator);
    }
    if (indicator == SQL_NULL_DATA || indicator == SQL_DEFAULT_PARAM) {
        return {Source::kValueless, {}, indicator};
    }
    if (indicator == SQL_DATA_AT_EXEC || indicator <= SQL_LEN_DATA_AT_EXEC_OFFSET) {
        return {Source::kAwaited, {}, indicator};
    }
    if (caller_.text == nullptr || (indicator < 0 && indicator != SQL_NTS) ||
        (indicator >= 0 && indicator % kWidth != 0)) {
        return {Source::kMalformed, {}, indicator};
    }
    const char* text = Address(caller_.text, static_cast<std::size_t>(caller_.size), row, layout);
    return {Source::kText,
            indicator == SQL_NTS ? WideView::Terminated(text)
                                 : WideView(text, static_cast<std::size_t>(indicator / kWidth)),
            indicator};
}

void BoundText::MakeRoom(std::size_t bytes, const RowLayout& layout)
{
    // Row-wise buffers have exactly the room that the structure gives them; others keep what they
    // have.
    room_ = std::max<std::size_t>(layout.row_bytes != 0 ? bytes : std::max(room_, bytes), 1);
    stride_ = layout.row_bytes != 0 ? layout.row_bytes : room_;
    indicator_stride_ = layout.row_bytes != 0 ? layout.row_bytes : sizeof(SQLLEN);
    offset_ = layout.offset != nullptr ? *layout.offset : 0;
    const std::size_t text = RowsBytes(stride_, layout.rows, room_);
    const std::size_t indicators = RowsBytes(indicator_stride_, layout.rows, sizeof(SQLLEN));
    if (text_.size() < text) {
        text_.resize(text);
    }
    if (indicators_.size() < indicators) {
        indicators_.resize(indicators);
    }
}

Buffers BoundText::ForDriver() const
{
    const auto moved = [this](const std::vector<char>& bytes) {
        return reinterpret_cast<void*>(reinterpret_cast<SQLLEN>(bytes.data()) - offset_);
    };
    return {moved(text_), static_cast<SQLLEN>(room_), static_cast<SQLLEN*>(moved(indicators_))};
}

std::span<char> BoundText::Text(SQLULEN row)
{
    return {text_.data() + stride_ * row, room_};
}

SQLLEN BoundText::Indicator(SQLULEN row) const
{
    SQLLEN indicator = 0;
    std::memcpy(&indicator, indicators_.data() + indicator_stride_ * row, sizeof indicator);
    return indicator;
}

void BoundText::SetIndicator(SQLULEN row, SQLLEN indicator)
{
    std::memcpy(indicators_.data() + indicator_stride_ * row, &indicator, sizeof indicator);
}

void BoundText::SetUntouched(SQLULEN row)
{
    SetIndicator(row, kUntouched);
}

BoundText::Outcome BoundText::Deliver(SQLULEN row, const RowLayout& layout, WideForm form)
{
    const SQLLEN reported = Indicator(row);
    if (reported == kUntouched || reported == SQL_DEFAULT_PARAM || caller_.text == nullptr) {
        return Outcome::kWhole;
    }
    const auto report = [&](SQLLEN indicator) {
        if (caller_.indicator != nullptr) {
            std::memcpy(Address(caller_.indicator, sizeof(SQLLEN), row, layout), &indicator,
                        sizeof indicator);
        }
    };
    if (reported == SQL_NULL_DATA) {
        report(reported);
        return caller_.indicator != nullptr ? Outcome::kWhole : Outcome::kNeedsIndicator;
    }
    const std::span<char> held = Text(row);
    const std::size_t room = held.size() - 1;
    const bool is_whole = reported < 0 || static_cast<std::size_t>(reported) <= room;
    const std::size_t size = reported < 0 ? ::strnlen(held.data(), room)
                                          : std::min(static_cast<std::size_t>(reported), room);
    const std::string_view text(held.data(), size);

    const auto places = static_cast<std::size_t>(std::max<SQLLEN>(caller_.size, 0) / kWidth);
    const WideRoom to(Address(caller_.text, static_cast<std::size_t>(caller_.size), row, layout),
                      places);
    Widening widening(form);
    const auto [bytes, characters] =
        widening.Write(text, is_whole, to.First(places > 0 ? places - 1 : 0));
    if (places > 0) {
        to.Put(characters, 0);
    }
    if (is_whole && places > 0 && bytes == size && !widening.HasHalf()) {
        report(static_cast<SQLLEN>(characters) * kWidth);
        return Outcome::kWhole;
    }
    report(is_whole ? static_cast<SQLLEN>(CountWide(text, form)) * kWidth : SQL_NO_TOTAL);
    return Outcome::kCut;
}

bool BoundText::Append(WideView piece)
{
    const std::size_t wanted = collected_ + kLongestUtf8 * (piece.Size() + 1);
    if (text_.size() <= wanted) {
        text_.resize(2 * wanted);
        room_ = text_.size();
    }
    if (half_ != 0 && piece.Size() > 0) {
        const wchar_t pair[] = {half_, piece[0]};
        const auto size = Narrow({pair, std::size(pair)}, text_.data() + collected_);
        if (!size) {
            return false;
        }
        collected_ += *size;
        piece = piece.From(1);
        half_ = 0;
    }
    if (piece.Size() > 0 && IsHighSurrogate(piece[piece.Size() - 1])) {
        half_ = piece[piece.Size() - 1];
        piece = piece.First(piece.Size() - 1);
    }
    const auto size = Narrow(piece, text_.data() + collected_);
    collected_ += size.value_or(0);
    SetIndicator(0, static_cast<SQLLEN>(collected_));
    return size.has_value();
}

void BoundText::ClearPieces()
{
    collected_ = 0;
    half_ = 0;
    SetIndicator(0, 0);
}
