// Entries: statements, from allocation to their results.
#include "encoding/conversions.h"
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

namespace {

// The longest text of "PrepareW" is a character shorter. Process-wide, like every conversion
// buffer.
constexpr int kWideStatementSize = 32'768;
wchar_t wide_statement[kWideStatementSize];

// The END record of an entry whose result argument is a count: nothing, or the current count if an
// exception cut the work short.
auto CountEnd(const int* count)
{
    return [count](ZString& record) {
        if (err.exception != 0) {
            record.AppendLong(*count);
        }
    };
}

}  // namespace

extern "C" int AllocSt(const zarray* connection, zarray* statement)
{
    return OnConnection(
        {.name = "AllocSt",
         .handle = connection,
         .code = Code::kUnreported,
         .unknown_handle_label = nullptr},
        Traced(connection),
        [&](CConnection& owner) {
            CStatement* made = owner.AllocateStatement();
            // 8 zero bytes, not an empty handle, if none was allocated.
            StoreHandle(statement, made != nullptr ? made->Handle() : nullptr);
            err.error = made == nullptr ? 1 : 0;
            return SQLRETURN{SQL_SUCCESS};
        },
        Traced(LeadingBytes{statement, sizeof(SQLHANDLE)}));
}

extern "C" int DropStatement(const zarray* statement, int* result)
{
    const Entry entry{.name = "DropStatement", .handle = statement, .result = result};
    return RunEntry(
        entry, Traced(statement), [&] { return env.DropStatement(HandleOf(statement)); },
        UsualEnd(entry));
}

extern "C" int PrepareHandle(const zarray* statement, ORVEL_EXSTR* text, int* result)
{
    const LongStringReturn text_return(text);
    return OnStatement({.name = "PrepareHandle", .handle = statement, .result = result},
                       Traced(statement, text), [&](CStatement& prepared) {
                           return prepared.Prepare(text->text, static_cast<int>(text->length));
                       });
}

extern "C" int PrepareHandleW(const zarray* statement, const zustring* text, int* result)
{
    // The record holds as many bytes as the text has characters: its first half.
    const auto first_half = [text](ZString& record) {
        record.AppendString(reinterpret_cast<const char*>(text->characters), text->length);
    };
    return OnStatement({.name = "PrepareHandleW", .handle = statement, .result = result},
                       Traced(statement, first_half), [&](CStatement& prepared) -> Outcome {
                           if (text->length >= kWideStatementSize) {
                               return {kStatementTooLong, "Statement too long"};
                           }
                           wide_statement[0] = 0;
                           if (text->length != 0) {
                               uni2_uni4_no_swap(
                                   reinterpret_cast<const unsigned char*>(text->characters),
                                   2 * text->length, wide_statement, sizeof wide_statement);
                           }
                           return prepared.PrepareW(wide_statement);
                       });
}

extern "C" int PreparseSQL(const zustring* /*text*/, int /*option*/, const zarray* /*list*/,
                           zarray* /*output*/)
{
    return 0;  // the row exists for hosts that look for it; there is nothing to do
}

extern "C" int Execute(const zarray* statement, int* result)
{
    // SQL_NEED_DATA sets the error flag, too: the host sees 99 and continues with "ParamData".
    return OnStatement(
        {.name = "Execute", .handle = statement, .result = result, .no_data = NoData::kIsSuccess},
        Traced(statement), [](CStatement& prepared) { return prepared.Execute(); });
}

extern "C" int MoreResults(const zarray* statement, int* result)
{
    // An unknown handle is traced under the name of the entry that produced the first result.
    return OnStatement({.name = "MoreResults",
                        .handle = statement,
                        .result = result,
                        .unknown_handle_label = "Execute"},
                       Traced(statement),
                       [](CStatement& executed) { return SQLMoreResults(executed.Handle()); });
}

extern "C" int CloseCursor(const zarray* statement, int* result)
{
    return OnStatement(
        {.name = "CloseCursor", .handle = statement, .result = result}, Traced(statement),
        [](CStatement& executed) { return SQLFreeStmt(executed.Handle(), SQL_CLOSE); });
}

extern "C" int RowCount(const zarray* statement, int* count)
{
    return OnStatement(
        {.name = "RowCount", .handle = statement, .code = Code::kToRecord}, Traced(statement),
        [&](CStatement& executed) { return executed.RowCount(count); }, CountEnd(count));
}

extern "C" int NumResultCols(const zarray* statement, int* count)
{
    // An unknown handle is traced under the name of the other count.
    return OnStatement(
        {.name = "NumResultCols",
         .handle = statement,
         .code = Code::kToRecord,
         .unknown_handle_label = "RowCount"},
        Traced(statement),
        [&](CStatement& executed) {
            SQLSMALLINT columns = 0;
            const SQLRETURN code = SQLNumResultCols(executed.Handle(), &columns);
            *count = columns;
            return code;
        },
        CountEnd(count));
}

extern "C" int SetStmtOption(const zarray* statement, int attribute, int value, int* result)
{
    return OnStatement({.name = "SetStmtOption", .handle = statement, .result = result},
                       Traced(statement, attribute, value), [&](CStatement& changed) {
                           return SQLSetStmtAttr(changed.Handle(),
                                                 static_cast<SQLUSMALLINT>(attribute),
                                                 AsPointer(value), 0);
                       });
}
