// CStatement: one column's value, in pieces where it is long.
#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
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

/// What a read of a column came to.
struct Outcome {
    SQLRETURN code;
    SQLLEN indicator;

    bool HasValue() const { return Succeeded(code) && indicator != SQL_NULL_DATA; }
    bool IsEmptyText(SQLSMALLINT c_type) const { return indicator == 0 && c_type != SQL_C_BINARY; }
    /// The value reaches a limit; or the driver knows no length (SQL_NO_TOTAL, and no other
    /// negative number means a length either) and has filled its buffer.
    bool IsCutAt(SQLLEN limit) const { return indicator < 0 || indicator >= limit; }
};

// The empty text: one zero byte, or one zero character of two.
template <class Length>
void StoreEmptyText(char* text, Length& length)
{
    std::memset(text, 0, sizeof(std::uint16_t));
    length = 1;
}

// Cuts characters to their low 16 bits and returns how many there are.
int StoreUnits(char* units, const wchar_t* text, SQLLEN characters)
{
    const auto bytes = std::min<SQLLEN>(characters * 2, INT_MAX);
    return uni4_uni2_no_swap(text, static_cast<int>(characters),
                             reinterpret_cast<unsigned short*>(units), static_cast<int>(bytes));
}

/// Zero bytes for a piece of any length; of a large one, only the pages that are used are made.
class Staging {
public:
    explicit Staging(std::size_t size) : bytes_(static_cast<char*>(std::calloc(size, 1)))
    {
        if (bytes_ == nullptr) {
            throw std::bad_alloc();
        }
    }
    ~Staging() { std::free(bytes_); }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    char* Bytes() const { return bytes_; }

private:
    char* bytes_;
};

}  // namespace

SQLRETURN CStatement::GetData(SQLUSMALLINT column, SQLSMALLINT c_type, zarray* output)
{
    auto* text = reinterpret_cast<char*>(output->bytes);
    output->length = 0;
    if (c_type == SQL_C_WCHAR) {
        std::array<wchar_t, kWideBuffer / kWidth + 1> storage{};
        WideRead wide(WideRead::ZeroFilled{storage});
        const SQLRETURN code = wide.Read(handle_, column, kWideBuffer);
        const Outcome read{code, wide.Indicator()};
        if (read.HasValue() && read.IsEmptyText(c_type)) {
            StoreEmptyText(text, output->length);
        } else if (read.HasValue()) {
            // The count of bytes has 16 bits, here as in the output: 65,536 bytes count as none.
            const auto bytes = static_cast<std::uint16_t>(
                read.IsCutAt(kWideBuffer) ? kWideBuffer - kWidth : read.indicator);
            output->length =
                static_cast<std::uint16_t>(StoreUnits(text, wide.Text(), bytes / kWidth));
        }
        return code;
    }
    std::array<char, kNarrowBuffer> storage{};
    SQLLEN indicator = 0;
    const SQLRETURN code =
        SQLGetData(handle_, column, c_type, storage.data(), kNarrowBuffer, &indicator);
    const Outcome read{code, indicator};
    if (read.HasValue() && read.IsEmptyText(c_type)) {
        StoreEmptyText(text, output->length);
    } else if (read.HasValue()) {
        const SQLLEN filled = c_type == SQL_C_CHAR ? kNarrowBuffer - 1 : kNarrowBuffer;
        const SQLLEN bytes = read.IsCutAt(kNarrowBuffer) ? filled : indicator;
        std::memcpy(text, storage.data(), static_cast<std::size_t>(bytes));
        output->length = static_cast<std::uint16_t>(bytes);
    }
    return code;
}

SQLRETURN CStatement::GetDataEx(SQLUSMALLINT column, SQLSMALLINT c_type, long length,
                                ORVEL_EXSTR* output)
{
    output->length = 0;
    if (length < 0) {
        throw std::length_error("a buffer of negative length");
    }
    const bool is_wide = c_type == SQL_C_WCHAR;
    const SQLLEN unit = is_wide ? kWidth : 1;
    const SQLLEN staged = unit * length;
    const auto with_end = static_cast<std::size_t>(length) + 1;
    const Staging staging(with_end * static_cast<std::size_t>(unit));
    auto* wide_text = reinterpret_cast<wchar_t*>(staging.Bytes());
    Outcome read{};
    if (is_wide) {
        WideRead wide(WideRead::ZeroFilled{{wide_text, with_end}});
        // Offered as many bytes as units are wanted: the driver fills a quarter of the buffer.
        read.code = wide.Read(handle_, column, length);
        read.indicator = wide.Indicator();
    } else {
        read.code = SQLGetData(handle_, column, c_type, staging.Bytes(), length, &read.indicator);
    }
    if (read.HasValue() && read.IsEmptyText(c_type)) {
        StoreEmptyText(output->text, output->length);
    } else if (read.HasValue()) {
        const SQLLEN bytes = read.IsCutAt(unit * static_cast<SQLLEN>(kConversionLimit))
                                 ? staged
                                 : std::min(read.indicator, staged);
        if (is_wide) {
            output->length =
                static_cast<std::uint32_t>(StoreUnits(output->text, wide_text, bytes / kWidth));
        } else {
            std::memcpy(output->text, staging.Bytes(), static_cast<std::size_t>(bytes));
            output->length = static_cast<std::uint32_t>(bytes);
        }
    }
    return read.code;
}
