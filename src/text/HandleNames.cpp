#include "text/HandleNames.h"

#include <fmt/format.h>

#include "client/HostList.h"

namespace {

constexpr std::size_t kHandleSize = 8;

}  // namespace

std::string HandleNames::NameFirst(std::string_view list, const char* kind)
{
    try {
        const auto elements = DecodeList(list);
        if (elements.empty() || elements[0].type != ListElement::kBytes ||
            elements[0].payload.size() != kHandleSize) {
            return "";
        }
        std::string& name = names_[std::string(elements[0].payload)];
        if (name.empty()) {
            name = fmt::format("{}#{}", kind, ++counts_[kind]);
        }
        return name;
    } catch (const ListError&) {
        return "";
    }
}

std::string HandleNames::NameOf(std::string_view handle) const
{
    const auto found = names_.find(handle);
    return found == names_.end() ? "" : found->second;
}

void HandleNames::Forget(std::string_view name)
{
    std::erase_if(names_, [&](const auto& named) { return named.second == name; });
}
