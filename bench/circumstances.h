// On what, when and by which command something was measured.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Source.h"

std::vector<std::pair<std::string, std::string>> Circumstances(const Source& source,
                                                               const std::string& command);
