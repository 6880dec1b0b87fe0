// CStatement: one column's value, in pieces if it is long.
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "encoding/conversions.h"
#include "odbc/Statement.h"
#include "odbc/WideRead.h"
#include "odbc/result.h"

namespace {

constexpr SQLLEN kWidth = sizeof(wchar_t);

// The room that "GetData" offers the driver.
constexpr SQLLEN kNarrowBuffer = 32'766;
constexpr SQLLEN kWideBuffer = 131'064;

// Process-wide, like every conversion buffer.
WideRead wide_value;

/// One read of a column, and the return of its value to the host.
class Piece {
public:
    /// Reads a value for the host's area at text. Bytes are read straight into it; wide characters
    /// go through wide_value, which has room for that many.
    Piece(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT c_type, char* text, SQLLEN offered,
          std::size_t characters)
        : c_type_(c_type), text_(text)
    {
        if (c_type_ == SQL_C_WCHAR) {
            code_ = wide_value.Read(statement, column, offered, characters);
            indicator_ = wide_value.Indicator();
        } else {
            code_ = SQLGetData(statement, column, c_type, text_, offered, &indicator_);
        }
    }

    SQLRETURN Code() const { return code_; }

    /// Bytes of the value, or of the part returned if it exceeds a limit. A driver that doesn't
    /// know the length (SQL_NO_TOTAL; no negative number is a length) has filled its buffer.
    SQLLEN Bytes(SQLLEN limit, SQLLEN cut) const
    {
        return indicator_ < 0 || indicator_ >= limit ? cut : indicator_;
    }

    /// Outputs that many bytes of the value, characters truncated to their low 16 bits; nothing for
    /// a NULL or a failure. Empty text is one zero byte or character.
    template <class Length>
    void Deliver(SQLLEN bytes, Length& length) const
    {
        if (!Succeeded(code_) || indicator_ == SQL_NULL_DATA) {
            length = 0;
        } else if (indicator_ == 0 && c_type_ != SQL_C_BINARY) {
            std::memset(text_, 0, sizeof(std::uint16_t));
            length = 1;
        } else if (c_type_ == SQL_C_WCHAR) {
            const auto characters = static_cast<int>(bytes / kWidth);
            const auto room = static_cast<int>(std::min<SQLLEN>(2 * (bytes / kWidth), INT_MAX));
            auto* units = reinterpret_cast<unsigned short*>(text_);
            length =
                static_cast<Length>(uni4_uni2_no_swap(wide_value.Text(), characters, units, room));
        } else {
            length = static_cast<Length>(bytes);
        }
    }

private:
    SQLSMALLINT c_type_;
    char* text_;
    SQLRETURN code_ = SQL_ERROR;
    SQLLEN indicator_ = 0;
};

}  // namespace

SQLRETURN CStatement::GetData(SQLUSMALLINT column, SQLSMALLINT c_type, zarray* output)
{
    output->length = 0;
    const bool is_wide = c_type == SQL_C_WCHAR;
    const SQLLEN offered = is_wide ? kWideBuffer : kNarrowBuffer;
    const Piece piece(handle_, column, c_type, reinterpret_cast<char*>(output->bytes), offered, 0);
    const SQLLEN terminator = is_wide ? kWidth : c_type == SQL_C_CHAR ? 1 : 0;
    // The count of bytes has 16 bits, as in the output: 65,536 bytes count as none.
    const auto bytes = static_cast<std::uint16_t>(piece.Bytes(offered, offered - terminator));
    piece.Deliver(bytes, output->length);
    return piece.Code();
}

SQLRETURN CStatement::GetDataEx(SQLUSMALLINT column, SQLSMALLINT c_type, long length,
                                ORVEL_EXSTR* output)
{
    output->length = 0;
    if (length < 0) {
        throw std::length_error("a buffer of negative length");
    }
    const std::unique_ptr<WideRead, void (*)(WideRead*)> trimming(
        &wide_value, [](WideRead* used) { used->Trim(); });
    // The driver is offered as many bytes as units are asked for: wide text fills only a quarter.
    const Piece piece(handle_, column, c_type, output->text, length,
                      static_cast<std::size_t>(length));
    const SQLLEN unit = c_type == SQL_C_WCHAR ? kWidth : 1;
    const SQLLEN wanted = unit * length;
    const SQLLEN bytes = piece.Bytes(unit * static_cast<SQLLEN>(kConversionLimit), wanted);
    piece.Deliver(std::min(bytes, wanted), output->length);
    return piece.Code();
}
