// CStatement: the description of result columns.
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>

#include "encoding/ZString.h"
#include "odbc/Shape.h"
#include "odbc/Statement.h"
#include "odbc/WideRead.h"
#include "odbc/result.h"

namespace {

constexpr SQLSMALLINT kNameCapacity = 128;  // characters, terminator included

SQLRETURN AppendNarrowName(SQLHSTMT statement, SQLUSMALLINT column, ZString& row)
{
    SQLCHAR name[kNameCapacity + 1] = {};
    SQLSMALLINT length = 0;
    Shape shape;
    const SQLRETURN code = SQLDescribeCol(statement, column, name, kNameCapacity, &length,
                                          &shape.type, &shape.size, &shape.digits, &shape.nullable);
    if (Succeeded(code)) {
        row.AppendNTString(reinterpret_cast<const char*>(name));
        shape.AppendTo(row);
    }
    return code;
}

SQLRETURN AppendWideName(SQLHSTMT statement, SQLUSMALLINT column, ZString& row)
{
    SQLWCHAR name[kNameCapacity + 1] = {};
    SQLSMALLINT length = 0;
    Shape shape;
    const SQLRETURN code =
        SQLDescribeColW(statement, column, name, kNameCapacity, &length, &shape.type, &shape.size,
                        &shape.digits, &shape.nullable);
    if (Succeeded(code)) {
        const auto counted = std::clamp<SQLSMALLINT>(length, 0, kNameCapacity);
        row.AppendWString(name, WrittenCharacters(name, static_cast<std::size_t>(counted)));
        shape.AppendTo(row);
    }
    return code;
}

SQLRETURN AppendTypeName(SQLHSTMT statement, SQLUSMALLINT column, ZString& row)
{
    constexpr SQLSMALLINT kCapacity = 32;
    char name[kCapacity + 1] = {};
    SQLSMALLINT length = 0;
    const SQLRETURN code =
        SQLColAttribute(statement, column, SQL_DESC_TYPE_NAME, name, kCapacity, &length, nullptr);
    if (Succeeded(code)) {
        row.AppendNTString(name);
    }
    return code;
}

SQLRETURN AppendNumber(SQLHSTMT statement, SQLUSMALLINT column, SQLUSMALLINT field, ZString& row)
{
    SQLLEN value = 0;
    constexpr SQLSMALLINT kSize = sizeof value;
    const SQLRETURN code =
        SQLColAttribute(statement, column, field, nullptr, kSize, nullptr, &value);
    if (Succeeded(code)) {
        row.AppendLong(value);
    }
    return code;
}

ZString Header(SQLSMALLINT columns)
{
    ZString header;
    header.AppendLong(columns);
    for (const char* title :
         {"SqlType", "Precision", "Scale", "Nullable", "Datatype", "DisplaySize", "IsMoney?"}) {
        header.AppendNTString(title);
    }
    return header;
}

template <class AppendName>
SQLRETURN DescribeEach(SQLHSTMT statement, zarray* output, AppendName append_name)
{
    ZString list;
    SQLSMALLINT count = 0;
    SQLRETURN code = SQLNumResultCols(statement, &count);
    if (Succeeded(code)) {
        const ZString header = Header(count);
        list.AppendString(header.data(), header.size());
    }
    for (int number = 1; Succeeded(code) && number <= count; ++number) {
        const auto column = static_cast<SQLUSMALLINT>(number);
        ZString row;
        code = append_name(statement, column, row);
        if (Succeeded(code)) {
            code = AppendTypeName(statement, column, row);
        }
        if (Succeeded(code)) {
            code = AppendNumber(statement, column, SQL_DESC_DISPLAY_SIZE, row);
        }
        if (Succeeded(code)) {
            code = AppendNumber(statement, column, SQL_DESC_FIXED_PREC_SCALE, row);
        }
        if (Succeeded(code)) {
            list.AppendString(row.data(), row.size());
        }
    }
    list.CopyTo(output);
    return code;
}

}  // namespace

SQLRETURN CStatement::DescribeCols(zarray* output)
{
    return DescribeEach(handle_, output, AppendNarrowName);
}

SQLRETURN CStatement::DescribeColsW(zarray* output)
{
    return DescribeEach(handle_, output, AppendWideName);
}
