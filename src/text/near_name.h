// The name that was probably meant.
#pragma once

#include <string_view>
#include <vector>

/// The name that is nearest to one that there isn't, letters compared without regard to case: it
/// differs in at most a third of the letters typed. Empty where none is so near.
std::string_view NearName(std::string_view typed, const std::vector<std::string_view>& names);
