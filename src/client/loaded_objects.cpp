#include "client/loaded_objects.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string_view>

namespace {

bool IsDriver(const std::string& object)
{
    return !object.empty() && object.find("libiodbc") == std::string::npos &&
           Defines(object, "SQLFetch");
}

// Drivers that stay loaded between connections, by the words that led to them.
std::map<std::string, std::string>& KnownDrivers()
{
    static std::map<std::string, std::string> drivers;
    return drivers;
}

}  // namespace

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

bool Defines(void* library, const char* function)
{
    const link_map* map = nullptr;
    const void* address = library != nullptr ? dlsym(library, function) : nullptr;
    Dl_info info{};
    return address != nullptr && dladdr(address, &info) != 0 &&
           dlinfo(library, RTLD_DI_LINKMAP, &map) == 0 &&
           std::string_view(map->l_name) == info.dli_fname;
}

bool Defines(const std::string& object, const char* function)
{
    const std::unique_ptr<void, int (*)(void*)> loaded(
        dlopen(object.c_str(), RTLD_LAZY | RTLD_NOLOAD), &dlclose);
    return Defines(loaded.get(), function);
}

std::string DriverWatch::Found(const std::string& words) const
{
    const auto objects = LoadedObjects();
    const auto is_new = [&](const std::string& object) {
        return std::ranges::find(before_, object) == before_.end() && IsDriver(object);
    };
    auto& known = KnownDrivers();
    if (const auto found = std::ranges::find_if(objects, is_new); found != objects.end()) {
        return known[words] = *found;
    }
    if (const auto found = known.find(words);
        found != known.end() && std::ranges::find(objects, found->second) != objects.end()) {
        return found->second;
    }
    const auto any = std::ranges::find_if(objects, &IsDriver);
    return any != objects.end() ? *any : "";
}
