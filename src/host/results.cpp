// Entries: the description of a result set, and its rows.
#include <algorithm>

#include "encoding/ZConstList.h"
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

namespace {

// The END record that shows the list returned; nothing if an exception prevented that.
auto OutputEnd(const zarray* output)
{
    return [output](ZString& record) {
        if (err.exception == 0) {
            Append(record, output);
        }
    };
}

}  // namespace

extern "C" int DescribeCols(const zarray* statement, zarray* output)
{
    return OnStatement(
        {.name = "DescribeCols", .handle = statement, .code = Code::kUnreported}, Traced(statement),
        [&](CStatement& described) {
            return env.unicode_option != 0 ? described.DescribeColsW(output)
                                           : described.DescribeCols(output);
        },
        NothingAtEnd);
}

extern "C" int NumColAttribute(const zarray* statement, int column, int field, zarray* output)
{
    SQLLEN value = 0;
    return OnStatement(
        {.name = "NumColAttribute", .handle = statement, .code = Code::kUnreported},
        Traced(statement, column, field),
        [&](CStatement& described) {
            const SQLRETURN code = described.NumColAttribute(
                static_cast<SQLUSMALLINT>(column), static_cast<SQLUSMALLINT>(field), &value);
            if (Succeeded(code)) {
                ZString list;
                list.AppendLong(value);
                list.CopyTo(output);
            }
            return code;
        },
        [&](ZString& record) { record.AppendLong(value); });
}

extern "C" int StrColAttribute(const zarray* statement, int column, int field, zarray* output)
{
    return OnStatement(
        {.name = "StrColAttribute", .handle = statement, .code = Code::kUnreported},
        Traced(statement, column, field),
        [&](CStatement& described) {
            constexpr SQLSMALLINT kCapacity = 512;
            char text[kCapacity + 1] = {};
            SQLSMALLINT length = 0;
            const SQLRETURN code = described.StrColAttribute(static_cast<SQLUSMALLINT>(column),
                                                             static_cast<SQLUSMALLINT>(field), text,
                                                             kCapacity, &length);
            if (!Succeeded(code)) {
                return code;
            }
            ZString list;
            if (length > 0) {
                list.AppendString(text, static_cast<unsigned long>(std::min(length, kCapacity)));
            } else if (length == SQL_NTS) {
                list.AppendNTString(text);
            } else if (length == 0) {
                list.AppendEmptyValue();
            }
            list.CopyTo(output);
            return code;
        },
        OutputEnd(output));
}

extern "C" int StrColAttributeW(const zarray* statement, int column, int field, zarray* output)
{
    // Traced under the narrow entry's name.
    return OnStatement(
        {.name = "StrColAttribute", .handle = statement, .code = Code::kUnreported},
        Traced(statement, column, field),
        [&](CStatement& described) {
            constexpr SQLSMALLINT kCapacity = 4096;
            constexpr int kCharacters = kCapacity / static_cast<int>(sizeof(wchar_t));
            wchar_t text[kCharacters + 1] = {};
            SQLSMALLINT length = 0;
            const SQLRETURN code = described.StrColAttributeW(static_cast<SQLUSMALLINT>(column),
                                                              static_cast<SQLUSMALLINT>(field),
                                                              text, kCapacity, &length);
            if (!Succeeded(code)) {
                return code;
            }
            ZString list;
            if (length > 0) {
                // Half the bytes are twice the characters, so as many zeros follow the text.
                const int counted = std::min(length / 2, kCharacters);
                list.AppendWString(text, static_cast<unsigned long>(counted));
            } else if (length == 0) {
                list.AppendEmptyValue();
            }
            list.CopyTo(output);
            return code;
        },
        OutputEnd(output));
}

extern "C" int Fetch(const zarray* statement, int* result)
{
    return OnStatement(
        {.name = "Fetch", .handle = statement, .result = result, .no_data = NoData::kSetsFlag},
        Traced(statement), [](CStatement& executed) { return executed.Fetch(); });
}

extern "C" int GetOneRow(const zarray* statement, const zarray* columns, zarray* output)
{
    return OnStatement(
        {.name = "GetOneRow",
         .handle = statement,
         .code = Code::kToRecord,
         .handle_bytes = HandleBytes::kCounted},
        Traced(statement, columns),
        [&](CStatement& fetched) {
            ZConstList numbers(columns);
            return fetched.GetOneRow(numbers, output);
        },
        NothingAtEnd);
}

extern "C" int ExtendedFetch(const zarray* statement, int rows, zarray* output)
{
    return OnStatement(
        {.name = "ExtendedFetch", .handle = statement, .code = Code::kToRecord},
        Traced(statement, rows),
        [&](CStatement& executed) {
            return executed.ExtendedFetch(static_cast<unsigned>(rows), output);
        },
        NothingAtEnd);
}
