// CStatement: result rows.
#include <sqlext.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "odbc/Connection.h"
#include "odbc/Environment.h"
#include "odbc/RowList.h"
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

/// Length of a value by its indicator, cut at a limit. A driver that doesn't know the length
/// (SQL_NO_TOTAL or any negative number) has filled its buffer: that is the cut-off case.
SQLLEN CutAt(SQLLEN indicator, SQLLEN from, SQLLEN cut)
{
    return indicator < 0 || indicator >= from ? cut : indicator;
}

// Process-wide, as every conversion buffer is.
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
    static void AppendText(std::string_view text)
    {
        list.Append(ElementType::kBytes, text.data(), text.size());
    }

    static bool HasValue(SQLRETURN code, SQLLEN indicator)
    {
        return Succeeded(code) && indicator != 0 && indicator != SQL_NULL_DATA;
    }

    // The item where there is no value.
    static void AppendValueless(SQLRETURN code, SQLLEN indicator)
    {
        if (code == SQL_NO_DATA || (Succeeded(code) && indicator == 0)) {
            AppendText({"", 1});
        } else {
            AppendText(Succeeded(code) ? "" : "<ERROR>");
        }
    }

    SQLRETURN AppendNarrow(SQLUSMALLINT column) const
    {
        const auto room = static_cast<std::size_t>(limits_.narrow_buffer);
        char* value = list.ValueRoom(room);
        SQLLEN indicator = 0;
        const SQLRETURN code =
            SQLGetData(statement_, column, SQL_C_CHAR, value, limits_.narrow_buffer, &indicator);
        if (!HasValue(code, indicator)) {
            list.Discard(room);
            AppendValueless(code, indicator);
            return code;
        }
        const auto size = static_cast<std::size_t>(
            CutAt(indicator, limits_.narrow_buffer, limits_.narrow_buffer));
        if (!limits_.narrow_is_text) {
            list.TakeValue(size);
            return code;
        }
        value[room - 1] = '\0';
        const std::size_t length = std::strlen(value);
        if (length < size) {  // a zero inside
            std::memset(value + length, 0, size - length);
        }
        list.TakeValue(length);
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
    list.CopyTo(output);
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
            list.DropRow();  // the list is thrown away: let it not grow
        } else {
            list.EndRow();
        }
        if (++taken < rows) {
            code = SQLFetch(handle_);
        }
    }
    if (list.Size() >= kOutputLimit) {
        constexpr std::string_view kRefusal = "<ERROR:Too much data was requested>";
        list.Restart();
        list.Append(ElementType::kBytes, kRefusal.data(), kRefusal.size());
        code = kTooMuchData;
    }
    list.CopyTo(output);
    return code == SQL_NO_DATA ? SQLRETURN{SQL_SUCCESS} : code;
}
