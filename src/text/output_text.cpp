#include "text/output_text.h"

#include <string_view>

#include "client/HostList.h"
#include "text/list_text.h"
#include "text/terminal_text.h"

namespace {

// What an output holds: bytes of a column, a handle, a list, or a list of lists.
enum class Content { kData, kHandle, kList, kLists };

Content ContentOf(std::string_view name)
{
    if (name.starts_with("GetData")) {
        return Content::kData;
    }
    if (name.starts_with("Connect") || name.starts_with("DSNConnect") || name == "AllocStatement") {
        return Content::kHandle;
    }
    const bool holds_lists =
        name == "FetchRows" || name == "DescribeColumns" || name == "DescribeParameters";
    return holds_lists ? Content::kLists : Content::kList;
}

// '\0' if there is none.
char OutputLetter(const ORVEL_ZFE& entry)
{
    const std::string_view signature = entry.signature;
    const auto at = signature.find_first_of("BSJN");
    return at == std::string_view::npos ? '\0' : signature[at];
}

}  // namespace

bool HasOutput(const ORVEL_ZFE& entry)
{
    return OutputLetter(entry) != '\0';
}

std::string_view OutputBytes(const ORVEL_ZFE& entry, const Reply& reply)
{
    const Content content = ContentOf(entry.name);
    const bool is_list = content == Content::kList || content == Content::kLists;
    return OutputLetter(entry) == 'B' && is_list && reply.length != 0 ? reply.List()
                                                                      : reply.Bytes();
}

std::string OutputText(const ORVEL_ZFE& entry, std::string_view bytes)
{
    const char letter = OutputLetter(entry);
    if (letter == 'S' || letter == 'N') {
        return "u\"" + Printable(Utf8FromUnits(bytes)) + "\"";
    }
    switch (ContentOf(entry.name)) {
        case Content::kData:
            return "\"" + Printable(bytes) + "\"";
        case Content::kHandle:
            return ListText(EncodeList({std::string(bytes)}));
        case Content::kList:
            return ListText(bytes);
        default:
            break;
    }
    std::string lines;
    for (const ListElement& list : DecodeList(bytes)) {
        lines += (lines.empty() ? "" : "\n  ") + ListText(list.payload);
    }
    return lines;
}
