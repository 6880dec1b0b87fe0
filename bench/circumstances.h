// On what, when and by which command something was measured.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Source.h"

std::vector<std::pair<std::string, std::string>> Circumstances(const std::string& command);

/// The versions of a source and its driver.
std::string VersionOf(const Source& source);
