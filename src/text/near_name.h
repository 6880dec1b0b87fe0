// The name that was probably meant.
#pragma once

#include <string_view>
#include <vector>

/// The known name that is nearest to an unknown one, letters compared without regard to case: it
/// differs in at most a third of the letters typed. Empty if none is that near.
std::string_view NearName(std::string_view typed, const std::vector<std::string_view>& names);
