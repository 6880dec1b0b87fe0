#include "shell/doctor/Shim.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

#include "shell/driver_kind.h"

namespace fs = std::filesystem;

namespace {

constexpr char kShimName[] = "liborvelnarrow.so";
constexpr char kPrefix[] = "narrow-";

bool IsInDriverFolder(const fs::path& driver)
{
    return driver.parent_path() == ORVELGW_DRIVER_FOLDER;
}

// Links and copies of the shim have its name inside.
bool IsShim(const fs::path& file)
{
    std::error_code none;
    if (!fs::is_regular_file(file, none)) {
        return false;
    }
    std::ifstream in(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    return bytes.find(kShimName) != std::string::npos;
}

// Empty where there is no folder, or no link can be made in it.
std::string MadeLink(const fs::path& target, const std::string& folder, const std::string& name)
{
    const fs::path link = fs::path(folder) / name;
    std::error_code error;
    if (!folder.empty()) {
        fs::create_symlink(target, link, error);
    }
    return folder.empty() || error ? "" : link.string();
}

std::string MadeFolder()
{
    std::error_code error;
    std::string folder = fs::temp_directory_path(error) / "orvelgw-XXXXXX";
    return error || ::mkdtemp(folder.data()) == nullptr ? "" : folder;
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
    if (!name.starts_with(kPrefix) || !IsShim(driver)) {
        return std::nullopt;
    }
    const std::string real = name.substr(sizeof kPrefix - 1);
    std::error_code none;
    const fs::path beside = driver.parent_path() / real;
    return fs::exists(beside, none) ? beside : fs::path(ORVELGW_DRIVER_FOLDER) / real;
}

bool Shim::IsNameless(const fs::path& driver)
{
    return !driver.filename().string().starts_with(kPrefix) && IsShim(driver);
}

TrialLink::TrialLink(const Shim& shim, const fs::path& driver)
    : folder_(&MadeFolder),
      link_([&] {
          return MadeLink(Resolved(shim.File()), folder_.Path(),
                          kPrefix + driver.filename().string());
      }),
      driver_([&] { return MadeLink(fs::absolute(driver), folder_.Path(), driver.filename()); })
{}
