#include "doctor/TrialLink.h"

#include <cstdlib>
#include <system_error>

#include "drivers/driver_kind.h"
#include "drivers/shims.h"

namespace fs = std::filesystem;

namespace {

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

TrialLink::TrialLink(const fs::path& shim, const fs::path& driver)
    : folder_(&MadeFolder),
      link_([&] {
          return MadeLink(Resolved(shim), folder_.Path(),
                          FaceOf("narrow").prefix + driver.filename().string());
      }),
      driver_([&] { return MadeLink(fs::absolute(driver), folder_.Path(), driver.filename()); })
{}
