#include "client/own_files.h"

#include <system_error>

namespace fs = std::filesystem;

fs::path FindOwnFile(const fs::path& folder, const std::string& name,
                     const fs::path& installed_folder)
{
    for (const fs::path& place : {folder / name, folder / installed_folder / name}) {
        std::error_code none;
        if (fs::exists(place, none)) {
            return place.lexically_normal();
        }
    }
    return {};
}
