#include "drivers/DataSource.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "client/ascii.h"

namespace {

// Debian's iODBC looks for all but paths in one folder, whatever the loader's path.
std::string InFolder(const std::string& driver)
{
    const bool is_path = driver.starts_with('/') || driver.starts_with('.');
    return is_path ? driver : ORVELGW_DRIVER_FOLDER "/" + driver;
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
    if (string.Has("DSN")) {
        const std::string source = string.First("DSN");
        section_ = source.empty() ? "default" : source;
        section_file_ = profiles.FileOf(section_, Profiles::kSources);
    }
    Find();
    const bool is_lost = fault_ != kNone && fault_ != kNoDriver && fault_ != kUnreachedFile;
    if (is_lost && string.IsMisread()) {
        fault_ = kMisread;
    } else if (is_lost && string.HasBlanks()) {
        fault_ = kBlanks;
    }
}

void DataSource::Find()
{
    if (const std::string driver = string_.First("DRIVER"); !driver.empty()) {
        Follow(driver);
        return;
    }
    name_ = section_;
    if (!profiles_.Has(section_, Profiles::kSources)) {
        fault_ = profiles_.IsThere() ? kUnknownSource : kUnread;
        return;
    }
    steps_.push_back("data source [" + section_ + "] of " + section_file_);
    const std::string driver = SectionValue("Driver");
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
    name_ = bare;
    file_ = InFolder(named.empty() ? driver : named);
    fault_ = FaultOfFile(driver, !named.empty());
}

DataSource::Fault DataSource::FaultOfFile(const std::string& driver, bool is_named)
{
    std::error_code error;
    if (std::filesystem::exists(file_, error)) {
        return kNone;
    }
    if (error) {
        reason_ = error.message();
        return kUnreachedFile;
    }
    if (is_named) {
        return kMissingFile;
    }
    if (name_ != driver && Exists(InFolder(name_))) {
        return kBraces;
    }
    if (name_.find('/') == std::string::npos) {
        if (profiles_.IsThere()) {
            return kUnknownDriver;
        }
        file_.clear();
        return kUnread;
    }
    file_ = InFolder(name_);
    return kMissingFile;
}

std::string DataSource::Value(std::span<const char* const> keys,
                              std::span<const char* const> section_keys) const
{
    if (const auto value = string_.Last(keys)) {
        return WithoutBraces(*value);
    }
    for (const char* key : section_keys) {
        if (std::string value = SectionValue(key); !value.empty()) {
            return value;
        }
    }
    return "";
}

std::string DataSource::SectionValue(const char* key) const
{
    return section_.empty() ? "" : profiles_.Value(section_, key, Profiles::kSources);
}

// Some drivers leave the data source aside where the string names a driver, so that its keys have
// to be in the string.
std::string DataSource::Through(const std::string& driver) const
{
    std::vector<std::pair<std::string, std::string>> keys;
    if (!section_.empty() && !string_.Has("DRIVER")) {
        for (const std::string& key : profiles_.Keys(section_, Profiles::kSources)) {
            if (!EqualsIgnoringCase(key, "Driver")) {
                keys.emplace_back(key, SectionValue(key.c_str()));
            }
        }
    }
    return string_.Through(driver, keys);
}
