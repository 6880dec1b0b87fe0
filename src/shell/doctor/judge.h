// What has become of a text on its way.
#pragma once

#include <string>
#include <string_view>

/// A verdict in a word, and what was seen where it isn't "right".
struct Finding {
    std::string verdict;
    std::string seen;

    bool IsRight() const { return verdict == "right"; }
};

/// Compares UTF-8 text that came with what was sent: right; cut, where the end is missing; lost,
/// where characters are missing elsewhere; garbled.
Finding Judge(std::string_view sent, std::string_view came);
