#include "shell/doctor/diagnostic.h"

#include <string_view>

std::string StateOf(const std::string& line)
{
    const auto open = line.find('(');
    const auto close = line.find(')');
    return open < close && close != std::string::npos ? line.substr(open + 1, close - open - 1)
                                                      : "";
}

std::string MessageOf(const std::string& line)
{
    constexpr std::string_view kMark = "Message: ";
    const auto mark = line.find(kMark);
    return mark == std::string::npos ? line : line.substr(mark + kMark.size());
}
