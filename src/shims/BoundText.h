// A caller's wide buffers, and the driver's buffers for the same text.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>
#include <span>
#include <vector>

#include "shims/conversions.h"

/// The number and layout of rows of buffers, according to the statement's attributes.
struct RowLayout {
    SQLULEN rows = 1;
    SQLULEN row_bytes = 0;              // 0: each column, or parameter, has an array of its own
    const SQLLEN* offset = nullptr;     // to be added to every address
    const SQLUSMALLINT* use = nullptr;  // parameters only: which rows are sent; null: all

    bool IsUsed(SQLULEN row) const { return use == nullptr || use[row] != SQL_PARAM_IGNORE; }
};

/// The buffers that a column or a parameter is bound to, row by row.
struct Buffers {
    SQLPOINTER text = nullptr;
    SQLLEN size = 0;  // of one row's text, in bytes
    SQLLEN* indicator = nullptr;

    bool operator==(const Buffers& other) const = default;
};

/// UTF-8 buffers for the driver that represent a caller's wide ones. Both are read and written
/// strictly within their own sizes, whatever a driver reports.
class BoundText {
public:
    explicit BoundText(const Buffers& caller) : caller_(caller) {}

    const Buffers& Caller() const { return caller_; }

    /// The contents of a row of the caller's.
    struct Source {
        enum Kind { kText, kValueless, kAwaited, kMalformed };

        Kind kind = kText;
        WideView text;
        SQLLEN indicator = 0;
    };
    Source At(SQLULEN row, const RowLayout& layout) const;

    /// Makes room for that many bytes of text per row, terminator included.
    void MakeRoom(std::size_t bytes, const RowLayout& layout);

    /// The buffers for the driver, with the layout that they were made for.
    Buffers ForDriver() const;

    /// A row's text, with all of its room.
    std::span<char> Text(SQLULEN row);
    SQLLEN Indicator(SQLULEN row) const;
    void SetIndicator(SQLULEN row, SQLLEN indicator);

    /// Marks a row so that Deliver knows whether the driver wrote to it.
    void SetUntouched(SQLULEN row);

    enum class Outcome { kWhole, kCut, kNeedsIndicator };

    /// Writes a row's text, as the driver left it, into the caller's buffer.
    Outcome Deliver(SQLULEN row, const RowLayout& layout, WideForm form);

    /// Adds a piece of the first row's text; false if it is not valid.
    bool Append(WideView piece);
    /// Whether the pieces so far end in half a surrogate pair.
    bool EndsInHalf() const { return half_ != 0; }
    /// Discards the pieces.
    void ClearPieces();

private:
    Buffers caller_;
    std::vector<char> text_;
    std::vector<char> indicators_;
    std::size_t room_ = 0;    // of a row, in bytes
    std::size_t stride_ = 0;  // from a row's text to the next
    std::size_t indicator_stride_ = sizeof(SQLLEN);
    SQLLEN offset_ = 0;
    std::size_t collected_ = 0;  // bytes of the first row received in pieces
    wchar_t half_ = 0;           // of a surrogate pair whose other half is still to come
};
