// Diagnostics of the wide shim: its own record, or else the driver's.
#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include "shims/text_fields.h"
#include "shims/wide.h"
#include "shims/wide_text.h"

namespace {

using OutName = OutText<SQLSMALLINT>;

constexpr SQLINTEGER kUnknownPlace = -2;  // SQL_ROW_NUMBER_UNKNOWN, SQL_COLUMN_NUMBER_UNKNOWN

/// SQLGetDiagField of the shim's own record, for text of a character type.
template <class Character>
SQLRETURN TellField(const Diagnosis& diagnosis, SQLSMALLINT number, SQLSMALLINT field,
                    SQLPOINTER value, SQLSMALLINT capacity, SQLSMALLINT* length)
{
    if (number > 1) {
        return SQL_NO_DATA;
    }
    if (!IsIn(kTextOfDiagnostics, field)) {
        const SQLINTEGER integer = field == SQL_DIAG_NUMBER   ? 1
                                   : field == SQL_DIAG_NATIVE ? 0
                                                              : kUnknownPlace;
        if (value != nullptr) {
            *static_cast<SQLINTEGER*>(value) = integer;
        }
        return SQL_SUCCESS;
    }
    const std::string text = field == SQL_DIAG_SQLSTATE       ? std::string(diagnosis.state)
                             : field == SQL_DIAG_MESSAGE_TEXT ? diagnosis.Text()
                                                              : "";
    constexpr auto kWidth = static_cast<SQLSMALLINT>(sizeof(Character));
    if (length != nullptr) {
        *length = static_cast<SQLSMALLINT>(text.size() * sizeof(Character));
    }
    const auto places = std::ptrdiff_t{std::max<SQLSMALLINT>(capacity, 0) / kWidth};
    return CopyAscii(text, static_cast<Character*>(value), places) ? SQL_SUCCESS
                                                                   : SQL_SUCCESS_WITH_INFO;
}

}  // namespace

#pragma GCC visibility push(default)

extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

SQLRETURN SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLCHAR* state,
                        SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT capacity,
                        SQLSMALLINT* length)
{
    const Diagnosis own = Handles::Instance().DiagnosisOf(handle);
    return own.HasState()
               ? TellRecord(own.state, own.Text(), number, state, native, text, capacity, length)
               : DRIVERS(SQLGetDiagRec)(type, handle, number, state, native, text, capacity,
                                        length);
}

SQLRETURN SQLGetDiagField(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLSMALLINT field,
                          SQLPOINTER value, SQLSMALLINT capacity, SQLSMALLINT* length)
{
    const Diagnosis own = Handles::Instance().DiagnosisOf(handle);
    return own.HasState()
               ? TellField<SQLCHAR>(own, number, field, value, capacity, length)
               : DRIVERS(SQLGetDiagField)(type, handle, number, field, value, capacity, length);
}

SQLRETURN SQLGetDiagRecW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number, SQLWCHAR* state,
                         SQLINTEGER* native, SQLWCHAR* text, SQLSMALLINT capacity,
                         SQLSMALLINT* length)
{
    const Diagnosis own = Handles::Instance().DiagnosisOf(handle);
    if (own.HasState()) {
        return TellRecord(own.state, own.Text(), number, state, native, text, capacity, length);
    }
    SQLCHAR narrow_state[6] = "";
    const auto ask = [&](OutName& message) {
        return std::apply(DRIVERS(SQLGetDiagRec),
                          std::tuple_cat(std::tuple(type, handle, number, +narrow_state, native),
                                         message.ForDriver()));
    };
    // psqlodbca.so 13.02 splits a long message into records by the room of the first request
    // (Statements.AreRefusedWithSeveralRecords).
    OutName tight(text, capacity, length);
    tight.TightenRoom();
    SQLRETURN code = ask(tight);
    OutName message(text, capacity, length);
    const bool is_short = SQL_SUCCEEDED(code) && tight.IsShort();
    if (is_short) {
        code = ask(message);
    }
    if (SQL_SUCCEEDED(code)) {
        const char* const its_state = reinterpret_cast<const char*>(narrow_state);
        CopyAscii(std::string_view(its_state, ::strnlen(its_state, 5)), state, 6);
    }
    return (is_short ? message : tight).Finish(code);
}

SQLRETURN SQLGetDiagFieldW(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT number,
                           SQLSMALLINT field, SQLPOINTER value, SQLSMALLINT capacity,
                           SQLSMALLINT* length)
{
    const Diagnosis own = Handles::Instance().DiagnosisOf(handle);
    if (own.HasState()) {
        return TellField<SQLWCHAR>(own, number, field, value, capacity, length);
    }
    OutField<SQLSMALLINT> text(IsIn(kTextOfDiagnostics, field), value, capacity, length);
    return text.Finish(
        std::apply(DRIVERS(SQLGetDiagField),
                   std::tuple_cat(std::tuple(type, handle, number, field), text.ForDriver())));
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

#pragma GCC visibility pop
