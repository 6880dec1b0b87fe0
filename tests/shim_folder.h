// A folder for the files of a test's shims.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

/// Links and copies in a folder that goes with it. Two links to a shim are one to the loader.
class ShimFolder {
public:
    ShimFolder() { std::filesystem::create_directory(path); }
    ~ShimFolder() { std::filesystem::remove_all(path); }
    ShimFolder(const ShimFolder&) = delete;
    ShimFolder& operator=(const ShimFolder&) = delete;

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

    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("orvelgw-shims-" + std::to_string(::getpid()));
};
