#include "shell/doctor/driver_manager.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

namespace {

int TakeDriverManager(dl_phdr_info* info, std::size_t /*size*/, void* found)
{
    const std::string_view name(info->dlpi_name);
    if (name.find("/libiodbc.so") == std::string_view::npos) {
        return 0;
    }
    *static_cast<std::string*>(found) = name;
    return 1;
}

// iODBC exports the text that its own trace begins with.
std::string VersionOf(const std::string& file)
{
    const std::unique_ptr<void, int (*)(void*)> library(
        dlopen(file.c_str(), RTLD_LAZY | RTLD_NOLOAD), &dlclose);
    const void* const version =
        library != nullptr ? dlsym(library.get(), "iodbc_version") : nullptr;
    return version != nullptr ? *static_cast<const char* const*>(version) : "";
}

}  // namespace

DriverManager LoadedDriverManager()
{
    std::string file;
    dl_iterate_phdr(&TakeDriverManager, &file);
    if (file.empty()) {
        return {};
    }
    std::error_code none;
    const auto resolved = std::filesystem::canonical(file, none);
    return {none ? file : resolved.string(), VersionOf(file)};
}
