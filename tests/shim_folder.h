// A folder for the files of a test's shims.
#pragma once

#include <filesystem>
#include <string>

#include "TemporaryFolder.h"

/// Links and copies in a folder that is removed with them. Two links to a shim are one file to the
/// loader.
class ShimFolder : public TemporaryFolder {
public:
    std::string Link(const std::filesystem::path& file, const std::string& name) const
    {
        std::filesystem::create_symlink(std::filesystem::canonical(file), path / name);
        return path / name;
    }
    std::string Copy(const std::filesystem::path& file, const std::string& name) const
    {
        std::filesystem::copy_file(file, path / name);
        return path / name;
    }
};
