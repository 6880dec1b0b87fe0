#include "shell/doctor/DataSource.h"

#include <filesystem>
#include <system_error>

namespace {

std::string WithoutBraces(const std::string& text)
{
    const bool has_braces = text.size() >= 2 && text.front() == '{' && text.back() == '}';
    return has_braces ? text.substr(1, text.size() - 2) : text;
}

bool IsPath(const std::string& driver)
{
    return driver.starts_with('/') || driver.starts_with('.');
}

// Debian's iODBC looks for all else in one folder, whatever the loader's path.
std::string InFolder(const std::string& driver)
{
    return IsPath(driver) ? driver : ORVELGW_DRIVER_FOLDER "/" + driver;
}

bool Exists(const std::string& file)
{
    std::error_code none;
    return std::filesystem::exists(file, none);
}

}  // namespace

DataSource::DataSource(const ConnectionString& string, const Profiles& profiles)
    : string_(string), profiles_(profiles)
{
    if (const std::string source = string.Value("DSN"); string.Has("DSN")) {
        section_ = source.empty() ? "default" : source;
        section_file_ = profiles.FileOf(section_, Profiles::kSources);
    }
    Find();
}

void DataSource::Find()
{
    if (const std::string driver = string_.Value("DRIVER"); !driver.empty()) {
        Follow(driver);
        return;
    }
    name_ = section_;
    if (section_.empty() || !profiles_.Has(section_, Profiles::kSources)) {
        fault_ = kUnknownSource;
        return;
    }
    steps_.push_back("data source [" + section_ + "] of " + section_file_);
    const std::string driver = profiles_.Value(section_, "Driver", Profiles::kSources);
    if (driver.empty()) {
        fault_ = kNoDriver;
    } else {
        Follow(driver);
    }
}

void DataSource::Follow(const std::string& driver)
{
    const std::string bare = WithoutBraces(driver);
    const std::string named = profiles_.Value(bare, "Driver", Profiles::kDrivers);
    if (!named.empty()) {
        steps_.push_back("driver [" + bare + "] of " + profiles_.FileOf(bare, Profiles::kDrivers));
    }
    file_ = InFolder(named.empty() ? driver : named);
    name_ = named.empty() ? bare : named;
    if (Exists(file_)) {
        return;
    }
    if (named.empty() && bare != driver && (IsPath(bare) || Exists(InFolder(bare)))) {
        fault_ = kBraces;
    } else if (named.empty() && bare.find('/') == std::string::npos) {
        fault_ = kUnknownDriver;
    } else {
        fault_ = kMissingFile;
    }
}

std::string DataSource::Value(std::string_view key) const
{
    if (string_.Has(key)) {
        return WithoutBraces(string_.Value(key));
    }
    return section_.empty() ? "" : profiles_.Value(section_, std::string(key), Profiles::kSources);
}
