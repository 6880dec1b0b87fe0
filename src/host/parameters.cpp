// Entries: parameters, from binding to data at execution.
#include "encoding/ZConstList.h"
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

extern "C" int Bind(const zarray* statement, const zarray* lengths, const zarray* sql_types,
                    const zarray* scales, const zarray* io_types, const zarray* column_sizes,
                    int* result)
{
    return OnStatement({.name = "Bind", .handle = statement, .result = result},
                       Traced(statement, lengths, sql_types, scales, io_types, column_sizes),
                       [&](CStatement& bound) {
                           ZConstList length_list(lengths);
                           ZConstList sql_type_list(sql_types);
                           ZConstList scale_list(scales);
                           ZConstList io_type_list(io_types);
                           ZConstList column_size_list(column_sizes);
                           return bound.BindParamList(length_list, sql_type_list, scale_list,
                                                      io_type_list, column_size_list);
                       });
}

extern "C" int BindParameter(const zarray* statement, int number, int io_type, int c_type,
                             int sql_type, int column_size, int decimal_digits, int length,
                             int* result)
{
    return OnStatement(
        {.name = "BindParameter", .handle = statement, .result = result},
        Traced(statement, number, io_type, c_type, sql_type, column_size, decimal_digits, length),
        [&](CStatement& bound) {
            return bound.BindParameter(number, io_type, c_type, sql_type, column_size,
                                       decimal_digits, length);
        });
}

extern "C" int UnbindParams(const zarray* statement, int* result)
{
    return OnStatement({.name = "UnbindParams", .handle = statement, .result = result},
                       Traced(statement),
                       [](CStatement& bound) { return bound.UnbindParameters(); });
}

namespace {

// Shared by the two entries that set a value; they differ in how they read it.
template <SQLRETURN (CStatement::*set)(ZConstList&, long)>
int SetValue(const char* name, const zarray* statement, ORVEL_EXSTR* value, int number, int* result)
{
    const LongStringReturn value_return(value);
    return OnStatement(
        {.name = name, .handle = statement, .result = result, .waits = Waits::kNever},
        Traced(statement, value, number), [&](CStatement& bound) {
            ZConstList list(value);
            return (bound.*set)(list, number);
        });
}

}  // namespace

extern "C" int SetParam(const zarray* statement, ORVEL_EXSTR* value, int number, int* result)
{
    return SetValue<&CStatement::SetParam>("SetParam", statement, value, number, result);
}

extern "C" int SetParamBinary(const zarray* statement, ORVEL_EXSTR* value, int number, int* result)
{
    return SetValue<&CStatement::SetParamBinary>("SetParamBinary", statement, value, number,
                                                 result);
}

extern "C" int GetParam(const zarray* statement, int number, ORVEL_EXSTR* output)
{
    return OnStatement(
        {.name = "GetParam", .handle = statement, .code = Code::kToRecord},
        Traced(statement, number),
        [&](const CStatement& bound) {
            return bound.GetParamList(long{number} - 1, output, AllocHostText);
        },
        NothingAtEnd);
}

extern "C" int ParamData(const zarray* statement, zarray* output)
{
    // The code is an element of the list, and only that of an unknown handle is an error here.
    ZString list;
    const auto end = [&list](ZString& record) { record = list; };
    return RunEntry(
        {.name = "ParamData",
         .handle = statement,
         .code = Code::kUnreported,
         .unknown_handle_label = nullptr},
        Traced(statement),
        [&]() -> Outcome {
            const CStatement* executed = env.GetStatementPointer(HandleOf(statement));
            if (executed == nullptr) {
                list.AppendLong(ORVEL_UNKNOWN_HANDLE);
                list.AppendNTString("");
                list.CopyTo(output);
                Trace(End("ParamData"), end);
                return Outcome::UnknownHandle();
            }
            SQLPOINTER token = nullptr;
            list.AppendLong(SQLParamData(executed->Handle(), &token));
            list.AppendLong(static_cast<long>(reinterpret_cast<std::intptr_t>(token)));
            list.CopyTo(output);
            return SQLRETURN{SQL_SUCCESS};
        },
        end);
}

namespace {

// Sends a piece of that many bytes; none means NULL.
SQLRETURN SendPiece(const CStatement& executed, const void* piece, SQLLEN bytes)
{
    return SQLPutData(executed.Handle(), const_cast<void*>(piece),
                      bytes != 0 ? bytes : SQLLEN{SQL_NULL_DATA});
}

}  // namespace

extern "C" int PutData(const zarray* statement, const zarray* data, int* result)
{
    return OnStatement(
        {.name = "PutData", .handle = statement, .result = result}, Traced(statement, data),
        [&](const CStatement& executed) { return SendPiece(executed, data->bytes, data->length); });
}

extern "C" int PutDataW(const zarray* statement, const zustring* data, int* result)
{
    // The characters are passed unchanged, for drivers whose wide characters have two bytes.
    return OnStatement({.name = "PutDataW", .handle = statement, .result = result},
                       Traced(statement, data), [&](const CStatement& executed) {
                           return SendPiece(executed, data->characters, 2 * SQLLEN{data->length});
                       });
}

extern "C" int DescribeParams(const zarray* statement, zarray* output)
{
    return OnStatement(
        {.name = "DescribeParams",
         .handle = statement,
         .code = Code::kUnreported,
         .unknown_handle_label = nullptr},
        Traced(statement), [&](CStatement& prepared) { return prepared.DescribeParams(output); },
        NothingAtEnd);
}
