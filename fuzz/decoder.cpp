// How the tool decodes the bytes that a library returns: lists, text, trace records.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "client/HostList.h"
#include "text/list_text.h"
#include "text/terminal_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    const auto storage = std::make_unique<char[]>(size);
    std::copy_n(bytes, size, storage.get());
    const std::string_view list(storage.get(), size);
    try {
        for (const ListElement& element : DecodeList(list)) {
            for (const auto& read : {+[](const ListElement& e) { e.Integer(); },
                                     +[](const ListElement& e) { e.Number(); }}) {
                try {
                    read(element);
                } catch (const ListError&) {
                }
            }
            element.Text();
        }
        ListLength(list, static_cast<uint16_t>(size));
    } catch (const ListError&) {
    }
    ListText(list);
    HexText(list);
    // What is shown is UTF-8 without a control character, and reads back the same.
    const std::string shown = Printable(Utf8FromUnits(list));
    if (shown.find_first_of({"\x1b\n\r\t\0", 5}) != std::string::npos) {
        std::abort();
    }
    const auto units = UnitsFromUtf8(shown);
    const std::string_view back(reinterpret_cast<const char*>(units.data()), 2 * units.size());
    if (Utf8FromUnits(back) != shown) {
        std::abort();
    }
    Printable(list);
    DisplayWidth(list);
    return 0;
}
