#include "client/ResultSink.h"

#include "client/odbc_numbers.h"

bool Column::IsNumeric() const
{
    // From SQL_NUMERIC to SQL_DOUBLE, and two others.
    return (sql_type >= kNumericType && sql_type <= kDoubleType) || sql_type == kBigintType ||
           sql_type == kTinyintType;
}

bool Column::IsText() const
{
    return sql_type == kCharType || sql_type == kVarcharType || sql_type == kLongVarcharType ||
           (sql_type <= kWideCharType && sql_type >= kWideLongVarcharType);
}

bool Column::IsBinary() const
{
    return sql_type == kBinaryType || sql_type == kVarbinaryType || sql_type == kLongVarbinaryType;
}

bool Column::IsDateTime() const
{
    // Those of ODBC 2, which come with the legacy option, and those of ODBC 3.
    return (sql_type >= kDateTypeOfOdbc2 && sql_type <= kTimestampTypeOfOdbc2) ||
           (sql_type >= kDateType && sql_type <= kTimestampType);
}
