// CStatement: result rows.
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "odbc/Connection.h"
#include "odbc/Environment.h"
#include "odbc/RowList.h"
#include "odbc/Statement.h"
#include "odbc/WideRead.h"
#include "odbc/blocks.h"
#include "odbc/result.h"

namespace {

constexpr SQLLEN kCharacterBytes = sizeof(wchar_t);

/// How much of a column's value a row includes. What doesn't fit stays unread in the driver. The
/// limits differ between the entries and between all columns and listed ones, on purpose.
struct ValueLimits {
    SQLLEN narrow_buffer;  // bytes offered to the driver
    SQLLEN wide_buffer;    // bytes offered to the driver
    SQLLEN wide_cut_from;  // size in bytes from which a value counts as truncated
    SQLLEN wide_cut;       // characters kept of a truncated value
    bool narrow_is_text;   // a narrow value ends at its terminator, not at its length
};

constexpr ValueLimits kAllColumns{1000, 4000, 4001, 1000, false};
constexpr ValueLimits kListedColumns{1000, 2000, 1001, 250, false};
constexpr ValueLimits kFetchedRows{1001, 4004, 4004, 1000, true};

/// Length of a value according to its indicator, up to a limit. A driver that doesn't know the
/// length (SQL_NO_TOTAL or any negative number) has filled its buffer: the value counts as
/// truncated.
SQLLEN CutAt(SQLLEN indicator, SQLLEN from, SQLLEN cut)
{
    return indicator < 0 || indicator >= from ? cut : indicator;
}

/// A column of the current row read as bytes into a zeroed buffer, so that what a driver claims to
/// have written but didn't shows nothing of another value. A read clears what the last one may have
/// written.
class NarrowRead {
public:
    /// SQLGetData with SQL_C_CHAR; the driver is offered that many bytes. Returns its code.
    SQLRETURN Read(SQLHSTMT statement, SQLUSMALLINT column, SQLLEN buffer_bytes)
    {
        ClearBlocks(value_.data(), used_);
        indicator_ = 0;
        used_ = static_cast<std::size_t>(buffer_bytes);
        const SQLRETURN code =
            SQLGetData(statement, column, SQL_C_CHAR, value_.data(), buffer_bytes, &indicator_);
        const bool has_no_value = code == SQL_NO_DATA || indicator_ == SQL_NULL_DATA ||
                                  (code == SQL_SUCCESS && indicator_ == 0);
        if (has_no_value && value_[0] == '\0') {
            used_ = 0;
        } else if (code == SQL_SUCCESS && indicator_ > 0 && indicator_ < buffer_bytes) {
            used_ = static_cast<std::size_t>(indicator_) + 1;
        }
        return code;
    }

    SQLLEN Indicator() const { return indicator_; }
    char* Value() { return value_.data(); }

private:
    alignas(64) std::array<char, 1024 + kBlock> value_{};
    std::size_t used_ = 0;
    SQLLEN indicator_ = 0;
};

// Process-wide, like every conversion buffer.
NarrowRead narrow_value;
WideRead wide_value;
RowList list;

/// Reads columns of the current row and adds an item for each to the list.
class RowReader {
public:
    RowReader(SQLHSTMT statement, const ValueLimits& limits, bool narrow)
        : statement_(statement), limits_(limits), narrow_(narrow)
    {
        list.Restart();
    }

    SQLRETURN AppendColumn(SQLUSMALLINT column) const
    {
        return narrow_ ? AppendNarrow(column) : AppendWide(column);
    }

private:
    static bool HasValue(SQLRETURN code, SQLLEN indicator)
    {
        return Succeeded(code) && indicator != 0 && indicator != SQL_NULL_DATA;
    }

    static constexpr std::string_view kEmptyValue{"\0", 1};

    // The item for a missing value.
    static void AppendValueless(SQLRETURN code, SQLLEN indicator)
    {
        if (code == SQL_NO_DATA || (Succeeded(code) && indicator == 0)) {
            list.AppendText(kEmptyValue);
        } else {
            list.AppendText(Succeeded(code) ? "" : "<ERROR>");
        }
    }

    SQLRETURN AppendNarrow(SQLUSMALLINT column) const
    {
        const SQLLEN room = limits_.narrow_buffer;
        const SQLRETURN code = narrow_value.Read(statement_, column, room);
        const SQLLEN indicator = narrow_value.Indicator();
        if (!HasValue(code, indicator)) {
            AppendValueless(code, indicator);
            return code;
        }
        char* value = narrow_value.Value();
        auto size = static_cast<std::size_t>(CutAt(indicator, room, room));
        if (limits_.narrow_is_text) {
            value[room - 1] = '\0';
            size = std::strlen(value);
        }
        list.Append(ElementType::kBytes, value, size);
        return code;
    }

    SQLRETURN AppendWide(SQLUSMALLINT column) const
    {
        const SQLRETURN code = wide_value.Read(statement_, column, limits_.wide_buffer, 0);
        const SQLLEN indicator = wide_value.Indicator();
        if (!HasValue(code, indicator)) {
            AppendValueless(code, indicator);
            return code;
        }
        const SQLLEN bytes =
            CutAt(indicator, limits_.wide_cut_from, limits_.wide_cut * kCharacterBytes);
        const HostText text =
            ToHostText(wide_value.Text(), static_cast<unsigned long>(bytes / kCharacterBytes));
        list.Append(text.type, text.bytes, text.size);
        return code;
    }

    SQLHSTMT statement_;
    const ValueLimits& limits_;
    bool narrow_;
};

bool ReadsNarrow(const CConnection* owner)
{
    return owner->Environment()->legacy_option != 0;
}

}  // namespace

SQLRETURN CStatement::GetOneRow(ZConstList& columns, zarray* output)
{
    SQLSMALLINT count = 0;
    SQLRETURN code = SQLNumResultCols(handle_, &count);
    if (code != SQL_SUCCESS) {
        return code;
    }
    const bool listed = columns.MoveTo(1) != 0;
    const RowReader reader(handle_, listed ? kListedColumns : kAllColumns, ReadsNarrow(owner_));
    for (int item = 1; listed ? columns.MoveTo(item) != 0 : item <= count; ++item) {
        const int column = listed ? columns.GetInt() : item;
        if (column < 1 || column > count) {
            return kOutOfRange;
        }
        code = reader.AppendColumn(static_cast<SQLUSMALLINT>(column));
    }
    list.MoveTo(output);
    return code;
}

SQLRETURN CStatement::ExtendedFetch(unsigned int rows, zarray* output)
{
    constexpr std::size_t kOutputLimit = kConversionBufferSize - 1;
    SQLSMALLINT count = 0;
    SQLRETURN code = SQLNumResultCols(handle_, &count);
    if (code != SQL_SUCCESS || count == 0) {
        return code;
    }
    const RowReader reader(handle_, kFetchedRows, ReadsNarrow(owner_));
    code = SQLFetch(handle_);
    for (unsigned int taken = 0; Succeeded(code) && taken < rows;) {
        const bool is_full = list.Size() >= kOutputLimit;
        list.BeginRow();
        for (int column = 1; column <= count; ++column) {
            code = reader.AppendColumn(static_cast<SQLUSMALLINT>(column));
        }
        if (is_full) {
            list.DropRow();  // the list is discarded, so it need not grow
        } else {
            list.EndRow();
        }
        if (++taken < rows) {
            code = SQLFetch(handle_);
        }
    }
    if (list.Size() >= kOutputLimit) {
        list.Restart();
        list.AppendText("<ERROR:Too much data was requested>");
        code = kTooMuchData;
    }
    list.MoveTo(output);
    return code == SQL_NO_DATA ? SQLRETURN{SQL_SUCCESS} : code;
}
