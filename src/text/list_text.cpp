#include "text/list_text.h"

#include <fmt/format.h>

#include <cstdint>

#include "client/HostList.h"
#include "text/terminal_text.h"

namespace {

// A process's addresses have two zero bytes at the high end; text of that form doesn't occur.
bool LooksLikeHandle(std::string_view bytes)
{
    return bytes.size() == 8 && bytes.substr(6) == std::string_view("\0\0", 2) &&
           bytes.substr(0, 6) != std::string_view("\0\0\0\0\0\0", 6);
}

std::string ElementText(const ListElement& element, const HandleNames* names)
{
    if (element.type == ListElement::kBytes && names != nullptr) {
        if (std::string name = names->NameOf(element.payload); !name.empty()) {
            return name;
        }
    }
    if (element.IsInteger()) {
        return std::to_string(element.Integer());
    }
    if (element.type == ListElement::kUnits) {
        return "u" + Quoted(element.Text());
    }
    if (element.type == ListElement::kBytes && LooksLikeHandle(element.payload)) {
        std::uint64_t handle = 0;
        for (std::size_t i = element.payload.size(); i > 0; --i) {
            handle = handle << 8 | static_cast<unsigned char>(element.payload[i - 1]);
        }
        return fmt::format("handle {:#x}", handle);
    }
    if (element.type == ListElement::kBytes) {
        return Quoted(element.payload);
    }
    if (element.type == ListElement::kNoValue) {
        return "none";
    }
    return fmt::format("{}", element.Number());
}

}  // namespace

std::string ListText(std::string_view bytes, const HandleNames* names)
{
    std::string text;
    try {
        for (const ListElement& element : DecodeList(bytes)) {
            text += (text.empty() ? "" : ", ") + ElementText(element, names);
        }
    } catch (const ListError& error) {
        return fmt::format("{} ({})", Quoted(bytes), error.what());
    }
    return text;
}

std::string RecordText(const TraceRecord& record)
{
    const bool is_text = record.level == "1";  // of "Test"
    const std::string data = is_text ? Quoted(record.data) : ListText(record.data);
    return Printable(record.name) + (data.empty() ? "" : "  " + data);
}
