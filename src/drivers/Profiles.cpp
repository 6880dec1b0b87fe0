#include "drivers/Profiles.h"

#include <dlfcn.h>
#include <pwd.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace {

constexpr int kBufferSize = 60'000;

constexpr unsigned short kBothConfigurations = 0;   // ODBC_BOTH_DSN
constexpr unsigned short kUserConfiguration = 1;    // ODBC_USER_DSN
constexpr unsigned short kSystemConfiguration = 2;  // ODBC_SYSTEM_DSN

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string HomeFolder()
{
    const std::string home = Environment("HOME");
    const passwd* user = home.empty() ? ::getpwuid(::getuid()) : nullptr;
    return user != nullptr ? user->pw_dir : home;
}

bool IsReadable(const std::string& file)
{
    return !file.empty() && ::access(file.c_str(), R_OK) == 0;
}

// Sections that describe neither a data source nor a driver.
bool IsListing(const std::string& section)
{
    return strncasecmp(section.c_str(), "ODBC", 4) == 0 &&
           (section.size() == 4 || section[4] == ' ');
}

}  // namespace

Profiles::Profiles(const char* library)
    : library_(dlopen(library, RTLD_LAZY | RTLD_LOCAL), &dlclose)
{
    if (library_ != nullptr) {
        read_ = reinterpret_cast<Read>(dlsym(library_.get(), "SQLGetPrivateProfileString"));
        set_mode_ = reinterpret_cast<SetConfigMode>(dlsym(library_.get(), "SQLSetConfigMode"));
    }
}

std::string Profiles::Value(const std::string& section, const std::string& key,
                            const char* profile) const
{
    if (!IsThere()) {
        return "";
    }
    std::string value(kBufferSize, '\0');
    read_(section.c_str(), key.c_str(), "", value.data(), kBufferSize - 1, profile);
    value.resize(std::min(value.find('\0'), value.size()));
    return value;
}

// Names end in a zero each. No section: those of the sections themselves; else of a section's keys.
std::vector<std::string> Profiles::Names(const char* section, const char* profile) const
{
    std::vector<std::string> names;
    if (!IsThere()) {
        return names;
    }
    std::string buffer(kBufferSize, '\0');
    read_(section, nullptr, "", buffer.data(), kBufferSize - 1, profile);
    for (const char* name = buffer.c_str(); *name != '\0'; name += names.back().size() + 1) {
        names.emplace_back(name);
    }
    return names;
}

bool Profiles::Has(const std::string& section, const char* profile) const
{
    return !section.empty() && !Keys(section, profile).empty();
}

std::vector<std::string> Profiles::Keys(const std::string& section, const char* profile) const
{
    return Names(section.c_str(), profile);
}

void Profiles::SetMode(unsigned short mode) const
{
    if (set_mode_ != nullptr) {
        set_mode_(mode);
    }
}

std::vector<std::string> Profiles::Sections(const char* profile) const
{
    std::vector<std::string> sections;
    for (const auto mode : {kUserConfiguration, kSystemConfiguration}) {
        SetMode(mode);
        for (const std::string& section : Names(nullptr, profile)) {
            if (!IsListing(section) && std::ranges::find(sections, section) == sections.end()) {
                sections.push_back(section);
            }
        }
    }
    SetMode(kBothConfigurations);
    return sections;
}

std::string Profiles::FileOf(const std::string& section, const char* profile) const
{
    const bool is_sources = std::string_view(profile) == kSources;
    const std::string named = Environment(is_sources ? "ODBCINI" : "ODBCINSTINI");
    std::string user = IsReadable(named) ? named : HomeFolder() + "/." + profile;
    if (set_mode_ != nullptr && IsReadable(user)) {
        SetMode(kUserConfiguration);
        const bool is_users = Has(section, profile);
        SetMode(kBothConfigurations);
        if (is_users) {
            return user;
        }
    }
    const std::string system = Environment(is_sources ? "SYSODBCINI" : "SYSODBCINSTINI");
    return IsReadable(system) ? system : std::string("/etc/") + profile;
}
