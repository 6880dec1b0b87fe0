// CStatement: result rows.
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "odbc/Connection.h"
#include "odbc/Environment.h"
#include "odbc/Statement.h"
#include "odbc/WideRead.h"
#include "odbc/result.h"

namespace {

constexpr SQLLEN kCharacterBytes = sizeof(wchar_t);

/// How much of a column value a row takes. What doesn't fit stays unread in the driver. The limits
/// differ between the entries and between all columns and listed ones, on purpose.
struct ValueLimits {
    SQLLEN narrow_buffer;  // bytes offered to the driver
    SQLLEN wide_buffer;    // bytes offered to the driver
    SQLLEN wide_cut_from;  // bytes of a value from which it counts as cut
    SQLLEN wide_cut;       // characters taken of a cut value
    bool narrow_is_text;   // a narrow value ends at its terminator, not at its length
};

constexpr ValueLimits kAllColumns{1000, 4000, 4001, 1000, false};
constexpr ValueLimits kListedColumns{1000, 2000, 1001, 250, false};
constexpr ValueLimits kFetchedRows{1001, 4004, 4004, 1000, true};

constexpr std::size_t kLargestBuffer = 4004;

/// Length of a value by its indicator, cut at a limit. A driver that doesn't know the length
/// (SQL_NO_TOTAL or any negative number) has filled its buffer: that is the cut-off case.
SQLLEN CutAt(SQLLEN indicator, SQLLEN from, SQLLEN cut)
{
    return indicator < 0 || indicator >= from ? cut : indicator;
}

/// Reads columns of the current row and appends an item for each.
class RowReader {
public:
    RowReader(SQLHSTMT statement, const ValueLimits& limits, bool narrow)
        : statement_(statement), limits_(limits), narrow_(narrow), wide_(wide_storage_)
    {}

    RowReader(const RowReader&) = delete;  // wide_ looks into wide_storage_
    RowReader& operator=(const RowReader&) = delete;
    ~RowReader() = default;

    SQLRETURN AppendColumn(SQLUSMALLINT column, ZString& row)
    {
        return narrow_ ? AppendNarrow(column, row) : AppendWide(column, row);
    }

private:
    // Appends the item that needs no value and returns true, or returns false where there is one.
    static bool AppendValueless(SQLRETURN code, SQLLEN indicator, ZString& row)
    {
        if (code == SQL_NO_DATA || (Succeeded(code) && indicator == 0)) {
            row.AppendEmptyValue();
        } else if (!Succeeded(code)) {
            row.AppendNTString("<ERROR>");
        } else if (indicator == SQL_NULL_DATA) {
            row.AppendNTString("");
        } else {
            return false;
        }
        return true;
    }

    SQLRETURN AppendNarrow(SQLUSMALLINT column, ZString& row)
    {
        narrow_storage_.fill('\0');
        SQLLEN indicator = 0;
        const SQLRETURN code = SQLGetData(statement_, column, SQL_C_CHAR, narrow_storage_.data(),
                                          limits_.narrow_buffer, &indicator);
        if (AppendValueless(code, indicator, row)) {
            return code;
        }
        if (limits_.narrow_is_text) {
            narrow_storage_[static_cast<std::size_t>(limits_.narrow_buffer) - 1] = '\0';
            row.AppendNTString(narrow_storage_.data());
        } else {
            const SQLLEN limit = limits_.narrow_buffer;
            row.AppendString(narrow_storage_.data(),
                             static_cast<unsigned long>(CutAt(indicator, limit, limit)));
        }
        return code;
    }

    SQLRETURN AppendWide(SQLUSMALLINT column, ZString& row)
    {
        const SQLRETURN code = wide_.Read(statement_, column, limits_.wide_buffer);
        const SQLLEN indicator = wide_.Indicator();
        if (!AppendValueless(code, indicator, row)) {
            const SQLLEN bytes =
                CutAt(indicator, limits_.wide_cut_from, limits_.wide_cut * kCharacterBytes);
            row.AppendWString(wide_.Text(), static_cast<unsigned long>(bytes / kCharacterBytes));
        }
        return code;
    }

    SQLHSTMT statement_;
    const ValueLimits& limits_;
    bool narrow_;
    // Each with room for a terminator behind what the driver is offered.
    std::array<char, kFetchedRows.narrow_buffer + 1> narrow_storage_{};
    std::array<wchar_t, kLargestBuffer / kCharacterBytes + 1> wide_storage_{};
    WideRead wide_;
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
    RowReader reader(handle_, listed ? kListedColumns : kAllColumns, ReadsNarrow(owner_));
    ZString row;
    for (int item = 1; listed ? columns.MoveTo(item) != 0 : item <= count; ++item) {
        const int column = listed ? columns.GetInt() : item;
        if (column < 1 || column > count) {
            return kOutOfRange;
        }
        code = reader.AppendColumn(static_cast<SQLUSMALLINT>(column), row);
    }
    row.CopyTo(output);
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
    RowReader reader(handle_, kFetchedRows, ReadsNarrow(owner_));
    ZString list;
    ZString row;
    code = SQLFetch(handle_);
    for (unsigned int taken = 0; Succeeded(code) && taken < rows;) {
        row.clear();
        for (int column = 1; column <= count; ++column) {
            code = reader.AppendColumn(static_cast<SQLUSMALLINT>(column), row);
        }
        if (list.size() < kOutputLimit) {  // beyond it the list is thrown away: let it not grow
            list.AppendString(row.data(), row.size());
        }
        if (++taken < rows) {
            code = SQLFetch(handle_);
        }
    }
    if (list.size() >= kOutputLimit) {
        list.clear();
        list.AppendNTString("<ERROR:Too much data was requested>");
        code = kTooMuchData;
    }
    list.CopyTo(output);
    return code == SQL_NO_DATA ? SQLRETURN{SQL_SUCCESS} : code;
}
