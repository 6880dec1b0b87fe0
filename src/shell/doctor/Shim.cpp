#include "shell/doctor/Shim.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr char kShimName[] = "liborvelnarrow.so";
constexpr char kPrefix[] = "narrow-";

bool IsInDriverFolder(const fs::path& driver)
{
    return driver.parent_path() == ORVELGW_DRIVER_FOLDER;
}

}  // namespace

Shim::Shim(const fs::path& library, const fs::path& driver)
    : shim_(library.parent_path() / kShimName),
      link_((IsInDriverFolder(driver) ? library : driver).parent_path() /
            (kPrefix + driver.filename().string()))
{}

bool Shim::IsBuilt() const
{
    std::error_code none;
    return fs::exists(shim_, none);
}

bool Shim::IsLinked() const
{
    std::error_code none;
    return fs::equivalent(shim_, link_, none);
}

std::optional<fs::path> Shim::DriverBehind(const fs::path& driver)
{
    const std::string name = driver.filename();
    if (!name.starts_with(kPrefix)) {
        return std::nullopt;
    }
    const std::string real = name.substr(sizeof kPrefix - 1);
    std::error_code none;
    const fs::path beside = driver.parent_path() / real;
    return fs::exists(beside, none) ? beside : fs::path(ORVELGW_DRIVER_FOLDER) / real;
}

TrialLink::TrialLink(const Shim& shim, const fs::path& driver)
{
    std::string name = fs::temp_directory_path() / "orvelgw-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw fs::filesystem_error(name, std::error_code(errno, std::generic_category()));
    }
    folder_ = name;
    link_ = folder_ / (kPrefix + driver.filename().string());
    std::error_code none;
    fs::create_symlink(fs::canonical(shim.File(), none), link_, none);
    fs::create_symlink(fs::absolute(driver, none), folder_ / driver.filename(), none);
}

TrialLink::~TrialLink()
{
    std::error_code none;
    fs::remove_all(folder_, none);
}
