// A caller's wide buffers, and what the driver has in their place.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <cstddef>
#include <span>
#include <vector>

#include "shims/conversions.h"

/// How many rows of buffers there are and how they lie, as the statement's attributes say it.
struct RowLayout {
    SQLULEN rows = 1;
    SQLULEN row_bytes = 0;              // 0: each column, or parameter, has an array of its own
    const SQLLEN* offset = nullptr;     // to be added to every address
    const SQLUSMALLINT* use = nullptr;  // of parameters: which rows are sent; null: all

    bool IsUsed(SQLULEN row) const { return use == nullptr || use[row] != SQL_PARAM_IGNORE; }
};

/// The buffers that a column or a parameter is bound to, row by row.
struct Buffers {
    SQLPOINTER text = nullptr;
    SQLLEN size = 0;  // of one row's text, in bytes
    SQLLEN* indicator = nullptr;

    bool operator==(const Buffers& other) const = default;
};

/// Buffers of UTF-8 that stand for a caller's wide ones. The caller's are read and written by their
/// own sizes alone, and so are these, whatever a driver says.
class BoundText {
public:
    explicit BoundText(const Buffers& caller) : caller_(caller) {}

    const Buffers& Caller() const { return caller_; }

    /// What a row of the caller's holds.
    struct Source {
        enum Kind { kText, kValueless, kAwaited, kMalformed };

        Kind kind = kText;
        WideView text;
        SQLLEN indicator = 0;
    };
    Source At(SQLULEN row, const RowLayout& layout) const;

    /// Makes room for so many bytes of text a row, terminator included.
    void MakeRoom(std::size_t bytes, const RowLayout& layout);

    /// The buffers for the driver, by the layout they were made for.
    Buffers ForDriver() const;

    /// A row's text, and the room it has.
    std::span<char> Text(SQLULEN row);
    SQLLEN Indicator(SQLULEN row) const;
    void SetIndicator(SQLULEN row, SQLLEN indicator);

    /// Marks a row so that Deliver knows whether the driver wrote there.
    void SetUntouched(SQLULEN row);

    enum class Outcome { kWhole, kCut, kNeedsIndicator };

    /// Writes a row's text, as the driver left it, into the caller's buffer.
    Outcome Deliver(SQLULEN row, const RowLayout& layout, WideForm form);

    /// Takes a piece of the first row's text; false where it is not valid.
    bool Append(WideView piece);
    /// Whether the pieces so far end in half a pair.
    bool EndsInHalf() const { return half_ != 0; }
    /// Begins anew.
    void ClearPieces();

private:
    Buffers caller_;
    std::vector<char> text_;
    std::vector<char> indicators_;
    std::size_t room_ = 0;    // of a row, in bytes
    std::size_t stride_ = 0;  // from a row's text to the next
    std::size_t indicator_stride_ = sizeof(SQLLEN);
    SQLLEN offset_ = 0;
    std::size_t collected_ = 0;  // bytes of the first row that came in pieces
    wchar_t half_ = 0;           // of a pair, whose other half is to come
};
