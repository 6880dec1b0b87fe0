// CStatement: one column's value, in pieces where it is long.
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <stdexcept>

#include "encoding/conversions.h"
#include "odbc/Statement.h"
#include "odbc/WideRead.h"
#include "odbc/result.h"

namespace {

constexpr SQLLEN kWidth = sizeof(wchar_t);

// What "GetData" offers the driver.
constexpr SQLLEN kNarrowBuffer = 32'766;
constexpr SQLLEN kWideBuffer = 131'064;

/// One read of a column, and its delivery to the host.
class Piece {
public:
    /// Reads into storage of zero bytes that holds more than what the driver is offered, by a
    /// terminator at the least.
    Piece(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT c_type, std::span<char> zeros,
          SQLLEN offered)
        : c_type_(c_type), bytes_(zeros.data())
    {
        if (c_type_ == SQL_C_WCHAR) {
            WideRead wide(WideRead::ZeroFilled{{Characters(), zeros.size() / kWidth}});
            code_ = wide.Read(statement, column, offered);
            indicator_ = wide.Indicator();
        } else {
            code_ = SQLGetData(statement, column, c_type, bytes_, offered, &indicator_);
        }
    }

    SQLRETURN Code() const { return code_; }

    /// Bytes of the value, or of what is delivered of one that reaches a limit. A driver that knows
    /// no length (SQL_NO_TOTAL, and no other negative number means a length) has filled its buffer.
    SQLLEN Bytes(SQLLEN limit, SQLLEN cut) const
    {
        return indicator_ < 0 || indicator_ >= limit ? cut : indicator_;
    }

    /// Writes so many bytes of the value, characters cut to their low 16 bits; nothing for a NULL
    /// or a failure. Empty text is one zero, byte or character.
    template <class Length>
    void Deliver(SQLLEN bytes, char* text, Length& length) const
    {
        if (!Succeeded(code_) || indicator_ == SQL_NULL_DATA) {
            length = 0;
        } else if (indicator_ == 0 && c_type_ != SQL_C_BINARY) {
            std::memset(text, 0, sizeof(std::uint16_t));
            length = 1;
        } else if (c_type_ == SQL_C_WCHAR) {
            const auto characters = static_cast<int>(bytes / kWidth);
            const auto room = static_cast<int>(std::min<SQLLEN>(2 * (bytes / kWidth), INT_MAX));
            auto* units = reinterpret_cast<unsigned short*>(text);
            length = static_cast<Length>(uni4_uni2_no_swap(Characters(), characters, units, room));
        } else {
            std::memcpy(text, bytes_, static_cast<std::size_t>(bytes));
            length = static_cast<Length>(bytes);
        }
    }

private:
    wchar_t* Characters() const { return reinterpret_cast<wchar_t*>(bytes_); }

    SQLSMALLINT c_type_;
    char* bytes_;
    SQLRETURN code_ = SQL_ERROR;
    SQLLEN indicator_ = 0;
};

/// Zero bytes for a piece of any length; of a large one, only the pages that are used are made.
class Staging {
public:
    explicit Staging(std::size_t size)
        : bytes_(static_cast<char*>(std::calloc(size, 1))), size_(size)
    {
        if (bytes_ == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~Staging() { std::free(bytes_); }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    std::span<char> Bytes() const { return {bytes_, size_}; }

private:
    char* bytes_;
    std::size_t size_;
};

}  // namespace

SQLRETURN CStatement::GetData(SQLUSMALLINT column, SQLSMALLINT c_type, zarray* output)
{
    output->length = 0;
    const bool is_wide = c_type == SQL_C_WCHAR;
    const SQLLEN offered = is_wide ? kWideBuffer : kNarrowBuffer;
    alignas(wchar_t) char zeros[kWideBuffer + kWidth];
    const std::span<char> used(zeros, static_cast<std::size_t>(offered + kWidth));
    std::ranges::fill(used, '\0');
    const Piece piece(handle_, column, c_type, used, offered);
    const SQLLEN terminator = is_wide ? kWidth : c_type == SQL_C_CHAR ? 1 : 0;
    // The count of bytes has 16 bits, here as in the output: 65,536 bytes count as none.
    const auto bytes = static_cast<std::uint16_t>(piece.Bytes(offered, offered - terminator));
    piece.Deliver(bytes, reinterpret_cast<char*>(output->bytes), output->length);
    return piece.Code();
}

SQLRETURN CStatement::GetDataEx(SQLUSMALLINT column, SQLSMALLINT c_type, long length,
                                ORVEL_EXSTR* output)
{
    output->length = 0;
    if (length < 0) {
        throw std::length_error("a buffer of negative length");
    }
    const SQLLEN unit = c_type == SQL_C_WCHAR ? kWidth : 1;
    const SQLLEN staged = unit * length;
    const Staging staging(static_cast<std::size_t>(staged + unit));
    // Offered as many bytes as units are wanted: of wide text the driver fills a quarter.
    const Piece piece(handle_, column, c_type, staging.Bytes(), length);
    const SQLLEN bytes = piece.Bytes(unit * static_cast<SQLLEN>(kConversionLimit), staged);
    piece.Deliver(std::min(bytes, staged), output->text, output->length);
    return piece.Code();
}
