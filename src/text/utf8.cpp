#include "text/utf8.h"

#include <utf8proc.h>

#include <algorithm>

std::optional<std::size_t> FirstInvalidByte(std::string_view text)
{
    const auto is_ascii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
    for (std::size_t at = 0; at < text.size();) {
        if (is_ascii(text[at])) {
            const auto end = std::find_if_not(text.begin() + static_cast<std::ptrdiff_t>(at),
                                              text.end(), is_ascii);
            at = static_cast<std::size_t>(end - text.begin());
            continue;
        }
        utf8proc_int32_t point = 0;
        const auto size =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                             static_cast<utf8proc_ssize_t>(text.size() - at), &point);
        if (size <= 0) {
            return at;
        }
        at += static_cast<std::size_t>(size);
    }
    return std::nullopt;
}
