// What ODBC reports about the type of a column or parameter.
#pragma once

#include <sql.h>

#include "encoding/ZString.h"

struct Shape {
    SQLSMALLINT type = 0;
    SQLULEN size = 0;
    SQLSMALLINT digits = 0;
    SQLSMALLINT nullable = 0;

    /// Appends the four, in this order; of the size the low 32 bits.
    void AppendTo(ZString& row) const
    {
        row.AppendLong(type);
        row.AppendLong(static_cast<long>(size));
        row.AppendLong(digits);
        row.AppendLong(nullable);
    }
};
