#include "odbc/Parameter.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <utility>

#include "encoding/ZConstList.h"
#include "encoding/ZString.h"
#include "odbc/Connection.h"
#include "odbc/Environment.h"
#include "odbc/HostGuard.h"
#include "odbc/Statement.h"
#include "odbc/result.h"

wchar_t wconvbuf[kConversionLimit];

namespace {

constexpr std::size_t kSmallestBuffer = 512;
constexpr std::size_t kWidth = sizeof(wchar_t);

// SQL types that ODBC converts from text without loss, whatever the integer's size.
bool IsWrittenAsText(SQLSMALLINT sql_type)
{
    return sql_type == SQL_NUMERIC || sql_type == SQL_DECIMAL || sql_type == SQL_FLOAT ||
           sql_type == SQL_REAL || sql_type == SQL_DOUBLE;
}

// Room for n bytes of a value and its terminator.
std::size_t BufferSize(std::size_t n, std::size_t with_end)
{
    return n < kSmallestBuffer ? kSmallestBuffer : with_end;
}

template <class Value>
Value Load(const ZeroedBuffer& buffer)
{
    Value value{};
    std::memcpy(&value, buffer.Data(), std::min(sizeof value, buffer.Size()));
    return value;
}

// The element with a parameter's number, as an integer; 0 if there is none.
int IntegerOf(ZConstList& list, long number)
{
    return list.MoveTo(number) != 0 ? list.GetInt() : 0;
}

}  // namespace

CParameter::CParameter(CStatement* statement, long number) : statement_(statement), number_(number)
{}

CParameter::CParameter(CStatement* statement, int number, int io_type, int c_type, int sql_type,
                       int column_size, int decimal_digits, int length)
    : statement_(statement),
      indicator_(length),
      column_size_(static_cast<SQLULEN>(column_size)),
      buffer_(static_cast<std::size_t>(std::max(length, 255)) + 4),
      decimal_digits_(static_cast<SQLSMALLINT>(decimal_digits)),
      sql_type_(static_cast<SQLSMALLINT>(sql_type)),
      c_type_(static_cast<SQLSMALLINT>(c_type)),
      io_type_(static_cast<SQLSMALLINT>(io_type)),
      number_(number)
{}

void CParameter::SetLenFromList(ZConstList& lengths)
{
    lengths.MoveTo(number_);
    const int length = lengths.GetType() == ZConstList::kInteger ? lengths.GetInt() : 0;
    const auto n = static_cast<std::size_t>(std::max(length, 0));
    buffer_ = ZeroedBuffer(BufferSize(n, n + 1));
    indicator_ = length;
}

void CParameter::SetDTPFromList(ZConstList& sql_types)
{
    sql_type_ = static_cast<SQLSMALLINT>(IntegerOf(sql_types, number_));
    if (sql_type_ == SQL_BINARY || sql_type_ == SQL_VARBINARY) {
        c_type_ = SQL_C_BINARY;
    } else if (sql_type_ == SQL_WCHAR) {
        c_type_ = SQL_C_WCHAR;
    }
}

void CParameter::SetScaleFromList(ZConstList& scales)
{
    decimal_digits_ = static_cast<SQLSMALLINT>(IntegerOf(scales, number_));
}

void CParameter::SetIOTypeFromList(ZConstList& io_types)
{
    io_type_ = static_cast<SQLSMALLINT>(IntegerOf(io_types, number_));
}

void CParameter::SetColDefFromList(ZConstList& column_sizes)
{
    column_size_ = static_cast<SQLULEN>(IntegerOf(column_sizes, number_));
}

SQLRETURN CParameter::Bind()
{
    const HostGuard guard;  // in storing a value only this can wait for the driver
    constexpr SQLULEN kCharacterSize = 512;
    if (sql_type_ == SQL_CHAR && column_size_ == 0) {
        column_size_ = kCharacterSize;
    }
    const bool has_token = indicator_ == SQL_LEN_DATA_AT_EXEC(0);
    was_refused_ = true;  // until SQLBindParameter has succeeded
    const SQLRETURN code = has_token ? BindTo(0, 0, AsPointer(number_), 0)
                                     : BindTo(column_size_, decimal_digits_, buffer_.Data(),
                                              static_cast<SQLLEN>(buffer_.Size()));
    if (Succeeded(code)) {
        outgrown_ = ZeroedBuffer();
        was_refused_ = false;
        is_bound_ = true;
        is_bound_to_token_ = has_token;
        holds_buffer_ = !has_token;
        bound_before_ = statement_->Executions();
    }
    return code;
}

bool CParameter::WantsBinding() const
{
    return was_refused_ || is_bound_to_token_ ||
           (c_type_ == SQL_C_WCHAR && bound_before_ != statement_->Executions());
}

SQLRETURN CParameter::BindTo(SQLULEN column_size, SQLSMALLINT decimal_digits, SQLPOINTER place,
                             SQLLEN size)
{
    return SQLBindParameter(statement_->Handle(), static_cast<SQLUSMALLINT>(number_), io_type_,
                            c_type_, sql_type_, column_size, decimal_digits, place, size,
                            &indicator_);
}

// Allocates a new buffer of that size if the current one is smaller than needed; returns whether it
// did.
bool CParameter::MakeRoom(std::size_t wanted, std::size_t size)
{
    if (!buffer_.IsEmpty() && buffer_.Size() >= wanted) {
        return false;
    }
    ZeroedBuffer larger(size);
    if (std::exchange(holds_buffer_, false)) {
        outgrown_ = std::move(buffer_);
    }
    buffer_ = std::move(larger);
    return true;
}

bool CParameter::TakeCType(SQLSMALLINT c_type)
{
    const bool changes = c_type_ != c_type;
    c_type_ = c_type;
    return changes;
}

void CParameter::Store(const void* value, std::size_t size)
{
    std::memcpy(buffer_.Data(), value, size);
}

template <class Character>
void CParameter::StoreTerminated(const Character* text, std::size_t n)
{
    constexpr Character kEnd = 0;
    const std::size_t size = n * sizeof kEnd;
    Store(text, size);
    std::memcpy(buffer_.Data() + size, &kEnd, sizeof kEnd);
}

int CParameter::SetBinaryFromList(ZConstList& value)
{
    const auto bytes = value.Payload();
    // One byte more than asked for: the terminator of a value that just fits.
    const bool grows = MakeRoom(bytes.size(), BufferSize(bytes.size(), bytes.size() + 1));
    if (bytes.empty()) {
        indicator_ = SQL_NULL_DATA;
        return grows ? 1 : 0;
    }
    c_type_ = SQL_C_BINARY;
    if (bytes.size() < buffer_.Size()) {
        StoreTerminated(bytes.data(), bytes.size());
    } else {
        Store(bytes.data(), bytes.size());
    }
    if (IsInput()) {
        indicator_ = static_cast<SQLLEN>(bytes.size());
    }
    return grows ? 1 : 0;
}

int CParameter::SetFromList(ZConstList& value)
{
    const int category = value.GetType();
    const std::string_view payload = value.Payload();
    const std::size_t length = payload.size();
    bool rebind = MakeRoom(length + 1, BufferSize(length, length + 1));
    const bool is_text = category == ZConstList::kString || category == ZConstList::kWideString;
    if (is_text && length == 0) {
        indicator_ = SQL_NULL_DATA;  // an empty string is a NULL; one zero byte is the empty value
    } else if (is_text) {
        rebind |= category == ZConstList::kString ? StoreText(payload) : StoreWideText(value);
        if (IsInput()) {
            indicator_ = SQL_NTS;
        }
    } else if (category == ZConstList::kInteger) {
        StoreInteger(value.GetLong());
        rebind = true;
    } else if (category == ZConstList::kDouble) {
        const double number = value.GetDouble();
        rebind |= TakeCType(SQL_C_DOUBLE);
        Store(&number, sizeof number);
        indicator_ = 0;
    }
    return rebind ? 1 : 0;
}

bool CParameter::StoreText(std::string_view text)
{
    const bool changes = TakeCType(SQL_C_CHAR);
    if (statement_->Owner()->Environment()->unicode_option == 0) {
        StoreTerminated(text.data(), text.size());
        return changes;
    }
    VYRToWide(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()),
              wconvbuf, static_cast<int>(std::size(wconvbuf)));
    c_type_ = SQL_C_WCHAR;
    const std::size_t bytes = kWidth * text.size();
    MakeRoom(bytes + kWidth, BufferSize(bytes, bytes + kWidth));
    StoreTerminated(wconvbuf, text.size());
    return true;
}

bool CParameter::StoreWideText(ZConstList& value)
{
    value.uni2_uni4();
    bool rebind = TakeCType(SQL_C_WCHAR);
    const std::size_t characters = value.Payload().size() / 2;
    const std::size_t bytes = kWidth * characters;
    rebind |= MakeRoom(bytes + kWidth, BufferSize(bytes, bytes + kWidth));
    StoreTerminated(ZConstList::conv_buf1, characters);
    return rebind;
}

void CParameter::StoreInteger(long value)
{
    if (IsWrittenAsText(sql_type_)) {
        const std::string text = std::to_string(value);
        c_type_ = SQL_C_CHAR;
        StoreTerminated(text.data(), text.size());
        indicator_ = SQL_NTS;
        return;
    }
    const bool is_wide = sql_type_ == SQL_BIGINT || value < INT32_MIN || value > INT32_MAX;
    if (!(sql_type_ == SQL_BIGINT && c_type_ == SQL_C_UBIGINT)) {
        c_type_ = is_wide ? SQL_C_SBIGINT : SQL_C_SLONG;
    }
    // All 64 bits, whatever the C type: Virtuoso's driver 7.2.5 reads that many for SQL_C_SLONG
    // (tests/sources, Values.ThereAndBack). The first 32 are the value for conforming drivers.
    Store(&value, sizeof value);
    indicator_ = 0;
}

// Bytes of the value according to its indicator, within the buffer.
std::size_t CParameter::ValueLength() const
{
    return std::min(static_cast<std::size_t>(std::max<SQLLEN>(indicator_, 0)), buffer_.Size());
}

void CParameter::AppendText(ZString& list) const
{
    if (Load<char>(buffer_) == '\0') {
        list.AppendEmptyValue();
    } else if (indicator_ == SQL_NTS) {
        list.AppendString(buffer_.Data(), strnlen(buffer_.Data(), buffer_.Size()));
    } else {
        // A terminated copy: text is converted up to its terminator, whatever its length.
        const std::string text(buffer_.Data(), indicator_ < 0 ? 0 : buffer_.Size());
        list.AppendConvert(text.c_str(), ValueLength());
    }
}

void CParameter::AppendWideText(ZString& list) const
{
    const auto* wide = reinterpret_cast<const wchar_t*>(buffer_.Data());
    if (Load<wchar_t>(buffer_) == 0) {
        list.AppendEmptyValue();
        return;
    }
    const std::size_t room = buffer_.Size() / kWidth;
    const bool is_terminated = indicator_ == SQL_NTS;
    const std::wstring text(wide, is_terminated || indicator_ >= 0 ? room : 0);
    list.AppendWString(text.c_str(), is_terminated ? wcsnlen(wide, room) : ValueLength() / kWidth);
}

void CParameter::AppendValue(ZString& list) const
{
    if (indicator_ == SQL_DEFAULT_PARAM) {
        list.push_back('\x01');  // the element without a value
        return;
    }
    if (indicator_ == SQL_NULL_DATA) {
        list.AppendNTString("");
        return;
    }
    switch (c_type_) {
        case SQL_C_SLONG:
            list.AppendLong(Load<std::int32_t>(buffer_));
            break;
        case SQL_C_CHAR:
            AppendText(list);
            break;
        case SQL_C_WCHAR:
            AppendWideText(list);
            break;
        case SQL_C_BINARY:
            list.AppendString(buffer_.Data(), ValueLength());
            break;
        case SQL_C_DOUBLE: {
            char text[160];  // 128 digits, and a sign, a point, leading zeros or an exponent
            std::snprintf(text, sizeof text, "%.*g", 128, Load<double>(buffer_));
            list.AppendNTString(text);
            break;
        }
        default:
            break;
    }
}
