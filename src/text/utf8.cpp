#include "text/utf8.h"

#include <utf8proc.h>

#include <algorithm>

std::optional<std::size_t> FirstInvalidByte(std::string_view text)
{
    const auto is_ascii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
    for (std::size_t at = 0; at < text.size();) {
        const auto rest = text.substr(at);
        if (is_ascii(rest.front())) {
            at += static_cast<std::size_t>(std::ranges::find_if_not(rest, is_ascii) - rest.begin());
            continue;
        }
        utf8proc_int32_t point = 0;
        const auto size = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(rest.data()),
                                           static_cast<utf8proc_ssize_t>(rest.size()), &point);
        if (size <= 0) {
            return at;
        }
        at += static_cast<std::size_t>(size);
    }
    return std::nullopt;
}

std::string WithReplacements(std::string_view text)
{
    std::string replaced;
    while (const auto invalid = FirstInvalidByte(text)) {
        replaced.append(text.substr(0, *invalid)).append("\uFFFD");
        text.remove_prefix(*invalid + 1);
    }
    return replaced.append(text);
}
