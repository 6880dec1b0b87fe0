#include "shell/driver_kind.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::vector<std::string> LoadedObjects()
{
    std::vector<std::string> names;
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t /*size*/, void* found) {
            static_cast<std::vector<std::string>*>(found)->emplace_back(info->dlpi_name);
            return 0;
        },
        &names);
    return names;
}

// Whether the object itself, not one that it needs, has a function of that name.
bool Defines(const std::string& object, const char* function)
{
    const std::unique_ptr<void, int (*)(void*)> loaded(
        dlopen(object.c_str(), RTLD_LAZY | RTLD_NOLOAD), &dlclose);
    const void* address = loaded != nullptr ? dlsym(loaded.get(), function) : nullptr;
    Dl_info info{};
    return address != nullptr && dladdr(address, &info) != 0 && object == info.dli_fname;
}

bool IsDriver(const std::string& object)
{
    return !object.empty() && object.find("libiodbc") == std::string::npos &&
           Defines(object, "SQLFetch");
}

}  // namespace

bool DriverIsNarrow()
{
    const auto objects = LoadedObjects();
    const auto driver = std::ranges::find_if(objects, &IsDriver);
    return driver != objects.end() && !Defines(*driver, "SQLConnectW");
}
