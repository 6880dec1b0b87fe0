#include "drivers/DataSource.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "client/ascii.h"

namespace {

// Debian's iODBC looks for a driver file without a path in one folder, ignoring the loader's path.
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
    FindDriver();
    if (IsUnresolved() && string.IsMalformed()) {
        fault_ = SourceFault::kMalformed;
    } else if (IsUnresolved() && string.HasBlanks()) {
        fault_ = SourceFault::kBlanks;
    }
}

// Whether a name leads nowhere, which may be due to how the string is written.
bool DataSource::IsUnresolved() const
{
    switch (fault_) {
        case SourceFault::kNoConfiguration:
        case SourceFault::kUnknownSource:
        case SourceFault::kUnknownDriver:
        case SourceFault::kBraces:
        case SourceFault::kMissingFile:
            return true;
        default:
            return false;
    }
}

void DataSource::FindDriver()
{
    if (const std::string driver = string_.First("DRIVER"); !driver.empty()) {
        FindFile(driver);
        return;
    }
    name_ = section_;
    if (!profiles_.Has(section_, Profiles::kSources)) {
        fault_ =
            profiles_.IsAvailable() ? SourceFault::kUnknownSource : SourceFault::kNoConfiguration;
        return;
    }
    steps_.push_back("data source [" + section_ + "] in " + section_file_);
    const std::string driver = SectionValue("Driver");
    if (driver.empty()) {
        fault_ = SourceFault::kNoDriver;
    } else {
        FindFile(driver);
    }
}

void DataSource::FindFile(const std::string& driver)
{
    const std::string bare = WithoutBraces(driver);
    const std::string named = profiles_.Value(bare, "Driver", Profiles::kDrivers);
    if (!named.empty()) {
        steps_.push_back("driver [" + bare + "] in " + profiles_.FileOf(bare, Profiles::kDrivers));
    }
    name_ = bare;
    file_ = InFolder(named.empty() ? driver : named);
    fault_ = FaultOfFile(driver, !named.empty());
}

SourceFault DataSource::FaultOfFile(const std::string& driver, bool is_in_configuration)
{
    const SourceFault fault = FaultOfMissing(file_);
    if (fault != SourceFault::kMissingFile || is_in_configuration) {
        return fault;
    }
    if (name_ != driver && Exists(InFolder(name_))) {
        return SourceFault::kBraces;
    }
    if (name_.find('/') == std::string::npos) {
        if (profiles_.IsAvailable()) {
            return SourceFault::kUnknownDriver;
        }
        file_.clear();
        return SourceFault::kNoConfiguration;
    }
    file_ = InFolder(name_);
    return FaultOfMissing(file_);
}

// None if the file is there.
SourceFault DataSource::FaultOfMissing(const std::string& file)
{
    std::error_code error;
    if (std::filesystem::exists(file, error)) {
        return SourceFault::kNone;
    }
    if (error == std::errc::too_many_symbolic_link_levels) {
        return SourceFault::kLinkLoop;
    }
    if (error) {
        reason_ = error.message();
        return SourceFault::kUnreachableFile;
    }
    if (const auto target = std::filesystem::read_symlink(file, error); !error) {
        reason_ = target.string();
        return SourceFault::kDanglingLink;
    }
    return SourceFault::kMissingFile;
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

// Some drivers ignore the data source if the string names a driver, so its keys go into the string.
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
