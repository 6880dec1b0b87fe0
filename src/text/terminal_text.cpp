#include "text/terminal_text.h"

#include <fmt/format.h>
#include <utf8proc.h>

namespace {

// Calls take(bytes, point) for every character of UTF-8 text; a byte that is not part of one has no
// point (-1).
template <class Take>
void EachCharacter(std::string_view text, Take take)
{
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t point = -1;
        const auto size =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                             static_cast<utf8proc_ssize_t>(text.size() - at), &point);
        const std::size_t taken = size > 0 ? static_cast<std::size_t>(size) : 1;
        take(text.substr(at, taken), size > 0 ? point : -1);
        at += taken;
    }
}

bool IsControl(utf8proc_int32_t point)
{
    return point < 0 || utf8proc_category(point) == UTF8PROC_CATEGORY_CC;
}

void AppendPrintable(std::string& printable, std::string_view bytes, utf8proc_int32_t point)
{
    if (point == '\n') {
        printable += "\\n";
    } else if (point == '\t') {
        printable += "\\t";
    } else if (point == '\r') {
        printable += "\\r";
    } else if (IsControl(point)) {
        for (const char byte : bytes) {
            printable += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
        }
    } else {
        printable += bytes;
    }
}

}  // namespace

std::size_t DisplayWidth(std::string_view text)
{
    std::size_t width = 0;
    EachCharacter(text, [&](std::string_view, utf8proc_int32_t point) {
        width += point < 0 ? 1 : static_cast<std::size_t>(utf8proc_charwidth(point));
    });
    return width;
}

std::string Printable(std::string_view text)
{
    std::string printable;
    EachCharacter(text, [&](std::string_view bytes, utf8proc_int32_t point) {
        AppendPrintable(printable, bytes, point);
    });
    return printable;
}

std::string Escaped(std::string_view text)
{
    std::string escaped;
    EachCharacter(text, [&](std::string_view bytes, utf8proc_int32_t point) {
        escaped += point == '\\' ? "\\" : "";
        AppendPrintable(escaped, bytes, point);
    });
    return escaped;
}

std::string Quoted(std::string_view text)
{
    std::string quoted = "\"";
    EachCharacter(text, [&](std::string_view bytes, utf8proc_int32_t point) {
        quoted += point == '"' || point == '\\' ? "\\" : "";
        AppendPrintable(quoted, bytes, point);
    });
    return quoted + '"';
}

std::string HexText(std::string_view bytes)
{
    std::string hex;
    for (const char byte : bytes) {
        hex += fmt::format("{}{:02X}", hex.empty() ? "" : " ", static_cast<unsigned char>(byte));
    }
    return hex;
}
