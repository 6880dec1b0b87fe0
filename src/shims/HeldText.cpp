#include "shims/HeldText.h"

#include <algorithm>
#include <cstring>

#include "shims/forward.h"

namespace {

// Some drivers clear all the room that they are given (libsqlite3odbc.so 0.9998 does), so the first
// piece gets as much as its reader seems to expect.
constexpr std::size_t kMinRoom = 256;
constexpr std::size_t kFirstRoom = 8'192;
constexpr std::size_t kMaxHeld = 8U << 20U;
constexpr std::size_t kMaxKept = 1U << 20U;  // of the storage, for the next value

// The most room that a driver leaves unused when it truncates text between characters.
constexpr std::size_t kMaxUnused = kLongestUtf8 - 1;

constexpr SQLLEN kWidth = sizeof(wchar_t);

}  // namespace

HeldText::Answer HeldText::Read(SQLHSTMT statement, SQLUSMALLINT column, WideRoom to)
{
    if (state_ == kNone || column != column_) {
        Begin(column, to.Size());
    }
    if (state_ == kGone) {
        return {SQL_NO_DATA, 0};
    }
    const std::size_t room = to.Size() > 0 ? to.Size() - 1 : 0;
    std::size_t delivered = 0;
    do {
        const SQLRETURN code = HoldMore(statement);
        if (is_null_) {
            state_ = kGone;
            return {code, SQL_NULL_DATA};
        }
        if (!SQL_SUCCEEDED(code)) {
            return {code, 0};
        }
        delivered += Deliver(to.First(room).From(delivered));
    } while (state_ == kMore && delivered < room);

    if (to.Size() > 0) {
        to.Put(delivered, 0);
    }
    if (state_ == kMore || !Held().empty() || widening_.HasHalf() || to.Size() == 0) {
        return {SQL_SUCCESS_WITH_INFO, LeftBefore(delivered), true};
    }
    state_ = kGone;
    return {last_code_, static_cast<SQLLEN>(delivered) * kWidth};
}

void HeldText::Begin(SQLUSMALLINT column, std::size_t wanted)
{
    if (bytes_.size() > kMaxKept) {
        bytes_ = {};
    }
    column_ = column;
    room_ = std::clamp(wanted, kMinRoom, kFirstRoom);
    state_ = kMore;
    widening_ = Widening(form_);
    begin_ = 0;
    end_ = 0;
    expected_ = 0;
    is_begun_ = false;
    is_null_ = false;
    is_counted_ = false;
}

// Holds all that the driver has, or as much as the limit allows.
SQLRETURN HeldText::HoldMore(SQLHSTMT statement)
{
    while (state_ == kMore && Held().size() < kMaxHeld) {
        SQLLEN indicator = 0;
        const SQLRETURN code = Fetch(statement, indicator);
        if (code == SQL_NO_DATA && is_begun_) {
            last_code_ = SQL_SUCCESS;
            state_ = kWhole;
        } else if (!SQL_SUCCEEDED(code)) {
            state_ = is_begun_ && code == SQL_STILL_EXECUTING ? kMore : kNone;
            return code;
        } else if (indicator == SQL_NULL_DATA) {
            is_null_ = !is_begun_;
            state_ = kWhole;
            last_code_ = code;
            return code;
        } else {
            Take(code, indicator);
        }
    }
    return SQL_SUCCESS;
}

SQLRETURN HeldText::Fetch(SQLHSTMT statement, SQLLEN& indicator)
{
    MakeRoom();
    char* const to = bytes_.data() + end_;
    *to = '\0';
    std::memset(to + room_ - 1 - kMaxUnused, 0, kMaxUnused + 1);
    return DRIVERS(SQLGetData)(statement, column_, SQL_C_CHAR, to, static_cast<SQLLEN>(room_),
                               &indicator);
}

void HeldText::MakeRoom()
{
    if (begin_ != 0) {
        std::memmove(bytes_.data(), bytes_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }
    const std::size_t wanted = std::min(std::max(expected_ + 1, end_), kMaxHeld - end_);
    room_ = is_begun_ ? std::max(wanted, kFirstRoom) : room_;
    if (bytes_.size() < end_ + room_) {
        bytes_.resize(end_ + room_);
    }
}

// A driver that reports more than it has room for has filled its room, whatever its code. It may
// omit the beginning of a character, and what it reports may be anything.
void HeldText::Take(SQLRETURN code, SQLLEN indicator)
{
    const std::size_t room = room_ - 1;
    const char* const from = bytes_.data() + end_;
    const bool says_more = indicator >= 0 && static_cast<std::size_t>(indicator) > room;
    std::size_t size = room;
    expected_ = 0;
    is_begun_ = true;
    if (says_more || (code == SQL_SUCCESS_WITH_INFO && indicator == SQL_NO_TOTAL)) {
        while (size > room - kMaxUnused && from[size - 1] == '\0') {
            --size;
        }
        expected_ = says_more ? static_cast<std::size_t>(indicator) - size : 0;
    } else {
        size = indicator >= 0 ? static_cast<std::size_t>(indicator) : ::strnlen(from, room);
        state_ = kWhole;
        last_code_ = code;
    }
    end_ += size;
}

std::size_t HeldText::Deliver(WideRoom to)
{
    const auto progress = widening_.Write(Held(), state_ == kWhole, to);
    begin_ += progress.bytes;
    return progress.characters;
}

// The indicator of a truncated piece: what was left before it, in bytes.
SQLLEN HeldText::LeftBefore(std::size_t delivered)
{
    if (state_ == kMore) {
        return SQL_NO_TOTAL;
    }
    if (!is_counted_) {
        left_ = delivered + CountWide(Held(), form_) + (widening_.HasHalf() ? 1 : 0);
        is_counted_ = true;
    }
    const std::size_t left = left_;
    left_ -= delivered;
    return static_cast<SQLLEN>(left) * kWidth;
}
