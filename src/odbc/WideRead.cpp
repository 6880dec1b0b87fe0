#include "odbc/WideRead.h"

#include <algorithm>

#include "odbc/blocks.h"

void WideRead::Grow(std::size_t size)
{
    used_ = 0;
    storage_ = ZeroedBuffer();  // freed before the new one is allocated
    storage_ = ZeroedBuffer(size);
}

SQLRETURN WideRead::Read(SQLHSTMT statement, SQLUSMALLINT column, SQLLEN buffer_bytes,
                         std::size_t characters)
{
    constexpr SQLLEN kNullTimesFour = 4L * SQL_NULL_DATA;
    constexpr SQLLEN kWidth = sizeof(wchar_t);

    const auto offered = static_cast<std::size_t>(buffer_bytes);
    const std::size_t room = std::max(characters, offered / kWidth + 1) + 1;
    if (storage_.Size() < room * kWidth + kBlock) {
        Grow(room * kWidth + kBlock);
    }
    ClearBlocks(storage_.Data(), used_);
    auto* text = reinterpret_cast<wchar_t*>(storage_.Data());
    indicator_ = 0;
    used_ = offered;
    const SQLRETURN code =
        SQLGetData(statement, column, SQL_C_WCHAR, text, buffer_bytes, &indicator_);
    if (code != SQL_SUCCESS) {
        return code;
    }
    if ((indicator_ == kNullTimesFour || indicator_ == SQL_NULL_DATA) && *text == 0) {
        indicator_ = SQL_NULL_DATA;
        used_ = 0;
    } else if (indicator_ == 0 && *text == 0) {
        used_ = 0;
    } else if (indicator_ > 0 && indicator_ <= buffer_bytes) {
        const auto counted = static_cast<std::size_t>(indicator_ / kWidth);
        used_ = std::min((counted + 1) * kWidth, offered);
        if (counted > 0) {
            indicator_ = static_cast<SQLLEN>(WrittenCharacters(text, counted)) * kWidth;
        }
    }
    return code;
}

void WideRead::Trim()
{
    constexpr std::size_t kKept = 1U << 20;
    if (storage_.Size() > kKept) {
        storage_ = ZeroedBuffer();
        used_ = 0;
    }
}

std::size_t WrittenCharacters(const wchar_t* text, std::size_t counted)
{
    while (counted > 0 && text[counted - 1] == 0) {
        --counted;
    }
    return counted;
}
