// A column's value, read from the driver and delivered in wide pieces.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <string_view>
#include <vector>

#include "shims/conversions.h"

/// Reads a column by the driver's SQLGetData as UTF-8 and delivers it as wide characters, in pieces
/// of any size. It holds as much of the value as is needed to know its length, up to a limit; the
/// length of a longer value is unknown until the rest is held.
class HeldText {
public:
    explicit HeldText(WideForm form) : form_(form), widening_(form) {}

    /// The code and the indicator that SQLGetData returns.
    struct Answer {
        SQLRETURN code = SQL_ERROR;
        SQLLEN indicator = 0;
        bool is_cut = false;  // for lack of room
    };

    /// The next piece of a column's value; another column begins another value.
    Answer Read(SQLHSTMT statement, SQLUSMALLINT column, WideRoom to);

    /// The row has changed, or the column is read otherwise: what is held belongs to no value.
    void Forget() { state_ = kNone; }

private:
    enum State {
        kNone,
        kMore,   // the driver has more than what is held
        kWhole,  // what is held is all that is left
        kGone    // all of it is delivered
    };

    std::string_view Held() const { return {bytes_.data() + begin_, end_ - begin_}; }
    void Begin(SQLUSMALLINT column, std::size_t wanted);
    SQLRETURN HoldMore(SQLHSTMT statement);
    SQLRETURN Fetch(SQLHSTMT statement, SQLLEN& indicator);
    void MakeRoom();
    void Take(SQLRETURN code, SQLLEN indicator);
    std::size_t Deliver(WideRoom to);
    SQLLEN LeftBefore(std::size_t delivered);

    WideForm form_;
    Widening widening_;
    State state_ = kNone;
    SQLUSMALLINT column_ = 0;
    SQLRETURN last_code_ = SQL_SUCCESS;  // for the driver's last piece
    std::vector<char> bytes_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t room_ = 0;      // for the driver's first piece
    std::size_t expected_ = 0;  // bytes that the driver reports as left in it; 0: unknown
    std::size_t left_ = 0;      // wide characters left of a value that is held whole, once counted
    bool is_begun_ = false;     // the driver has delivered a piece of the value
    bool is_null_ = false;
    bool is_counted_ = false;
};
