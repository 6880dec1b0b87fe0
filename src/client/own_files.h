// Where the files of this product find each other.
#pragma once

#include <filesystem>
#include <string>

/// A file of ours: in a folder where another one stands, as the build leaves them, or else in the
/// folder that an installation has for it, as seen from there. Empty where it is in neither.
std::filesystem::path FindOwnFile(const std::filesystem::path& folder, const std::string& name,
                                  const std::filesystem::path& installed_folder);
