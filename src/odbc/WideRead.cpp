#include "odbc/WideRead.h"

#include <cwchar>

WideRead::WideRead(std::span<wchar_t> storage) : storage_(storage)
{
    std::wmemset(storage_.data(), 0, storage_.size());
}

SQLRETURN WideRead::Read(SQLHSTMT statement, SQLUSMALLINT column, SQLLEN buffer_bytes)
{
    constexpr SQLLEN kNullTimesFour = 4L * SQL_NULL_DATA;
    constexpr SQLLEN kWidth = sizeof(wchar_t);

    std::wmemset(storage_.data(), 0, used_);
    indicator_ = 0;
    used_ = storage_.size();
    const SQLRETURN code =
        SQLGetData(statement, column, SQL_C_WCHAR, storage_.data(), buffer_bytes, &indicator_);
    if (code != SQL_SUCCESS) {
        return code;
    }
    if (indicator_ == kNullTimesFour && storage_.front() == 0) {
        indicator_ = SQL_NULL_DATA;
    } else if (indicator_ >= 0 && indicator_ <= buffer_bytes) {
        const auto counted = static_cast<std::size_t>(indicator_ / kWidth);
        used_ = counted + 1;
        if (counted > 0) {
            indicator_ = static_cast<SQLLEN>(WrittenCharacters(Text(), counted)) * kWidth;
        }
    }
    return code;
}

std::size_t WrittenCharacters(const wchar_t* text, std::size_t counted)
{
    while (counted > 0 && text[counted - 1] == 0) {
        --counted;
    }
    return counted;
}
