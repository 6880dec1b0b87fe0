#include "shell/doctor/judge.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>

#include "shell/present.h"

namespace {

constexpr std::size_t kShortText = 40;

std::size_t Characters(std::string_view text)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

// Whether a text is another one less some of its bytes.
bool IsLeftOf(std::string_view sent, std::string_view came)
{
    std::size_t found = 0;
    for (std::size_t at = 0; at < sent.size() && found < came.size(); ++at) {
        if (sent[at] == came[found]) {
            ++found;
        }
    }
    return found == came.size();
}

// Text as a person can see it: in quotes, or by its code points where a terminal has no picture of
// one.
std::string Visible(std::string_view text)
{
    std::string points;
    bool is_visible = true;
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t point = -1;
        const auto size =
            utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                             static_cast<utf8proc_ssize_t>(text.size() - at), &point);
        if (size <= 0) {
            return fmt::format("\"{}\"", Printable(text));
        }
        const auto category = utf8proc_category(point);
        is_visible = is_visible && category != UTF8PROC_CATEGORY_CO &&
                     category != UTF8PROC_CATEGORY_CN && category != UTF8PROC_CATEGORY_CC;
        points += fmt::format("{}U+{:04X}", points.empty() ? "" : " ", point);
        at += static_cast<std::size_t>(size);
    }
    return is_visible ? fmt::format("\"{}\"", text) : points;
}

}  // namespace

Finding Judge(std::string_view sent, std::string_view came)
{
    if (came == sent) {
        return {"right", ""};
    }
    const bool is_short = sent.size() <= kShortText && came.size() <= kShortText;
    const std::string both = is_short ? Visible(came) + " came" : "";
    const std::size_t all = Characters(sent);
    const std::size_t left = Characters(came);
    if (came.empty()) {
        return {"lost", "nothing came"};
    }
    if (sent.starts_with(came)) {
        return {"cut", is_short ? both : fmt::format("the first {} of {} characters", left, all)};
    }
    if (left < all && IsLeftOf(sent, came)) {
        return {"lost", is_short ? both : fmt::format("{} of {} characters", all - left, all)};
    }
    const auto same =
        static_cast<std::size_t>(std::ranges::mismatch(sent, came).in1 - sent.begin());
    return {"garbled", is_short ? both
                                : fmt::format("from character {} of {} on",
                                              Characters(sent.substr(0, same)) + 1, all)};
}
