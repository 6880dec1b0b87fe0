#include "drivers/Profiles.h"

#include <dlfcn.h>
#include <pwd.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <system_error>

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

ConfigurationFile Examined(const std::string& path, const std::string& variable)
{
    if (::access(path.c_str(), R_OK) != 0) {
        const bool is_missing = errno == ENOENT;
        return {path, variable,
                is_missing ? ConfigurationFile::kMissing : ConfigurationFile::kUnreadable,
                is_missing ? "" : std::generic_category().message(errno)};
    }
    std::error_code none;
    return {path, variable,
            std::filesystem::is_directory(path, none) ? ConfigurationFile::kDirectory
                                                      : ConfigurationFile::kRead,
            ""};
}

// The files of one scope up to the one that iODBC takes: that of the variable, if it is set, and
// the default.
std::vector<ConfigurationFile> FilesOfScope(const std::string& variable, const std::string& preset)
{
    std::vector<ConfigurationFile> files;
    if (const std::string named = Environment(variable.c_str()); !named.empty()) {
        files.push_back(Examined(named, variable));
    }
    const bool is_found = !files.empty() && (files[0].state == ConfigurationFile::kRead ||
                                             files[0].state == ConfigurationFile::kDirectory);
    if (!is_found) {
        files.push_back(Examined(preset, ""));
    }
    return files;
}

std::vector<ConfigurationFile> FilesOfUser(const std::string& profile)
{
    return FilesOfScope(profile == Profiles::kSources ? "ODBCINI" : "ODBCINSTINI",
                        HomeFolder() + "/." + profile);
}

std::vector<ConfigurationFile> FilesOfSystem(const std::string& profile)
{
    return FilesOfScope(profile == Profiles::kSources ? "SYSODBCINI" : "SYSODBCINSTINI",
                        "/etc/" + profile);
}

// Whether a section describes neither a data source nor a driver.
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
    if (!IsAvailable()) {
        return "";
    }
    std::string value(kBufferSize, '\0');
    read_(section.c_str(), key.c_str(), "", value.data(), kBufferSize - 1, profile);
    value.resize(std::min(value.find('\0'), value.size()));
    return value;
}

// The keys of a section, or, with no section, the names of all sections. Each ends with a zero.
std::vector<std::string> Profiles::Names(const char* section, const char* profile) const
{
    std::vector<std::string> names;
    if (!IsAvailable()) {
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
    // In this mode iODBC reads the system's drivers, too, if the user has no file.
    const ConfigurationFile user = FilesOfUser(profile).back();
    if (set_mode_ != nullptr && user.state == ConfigurationFile::kRead) {
        SetMode(kUserConfiguration);
        const bool is_users = Has(section, profile);
        SetMode(kBothConfigurations);
        if (is_users) {
            return user.path;
        }
    }
    return FilesOfSystem(profile).back().path;
}

std::vector<ConfigurationFile> Profiles::Files(const char* profile)
{
    std::vector<ConfigurationFile> files = FilesOfUser(profile);
    std::ranges::copy(FilesOfSystem(profile), std::back_inserter(files));
    return files;
}
