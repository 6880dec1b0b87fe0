#include "drivers/shims.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "client/own_files.h"
#include "drivers/driver_kind.h"

namespace fs = std::filesystem;

namespace {

bool IsSame(const fs::path& one, const fs::path& other)
{
    std::error_code none;
    return fs::equivalent(one, other, none);
}

// The driver file that a shim at this path loads.
fs::path DriverFoundFrom(const fs::path& shim, const std::string& driver_name)
{
    std::error_code none;
    const fs::path beside = shim.parent_path() / driver_name;
    return fs::exists(beside, none) ? beside : fs::path(ORVELGW_DRIVER_FOLDER) / driver_name;
}

// The shim that is copied.
fs::path OriginalOf(const ShimFace& face, const fs::path& library)
{
    const fs::path found =
        FindOwnFile(library.parent_path(), face.library, ORVELGW_SHIM_FOLDER_FROM_LIBRARY);
    return found.empty() ? library.parent_path() / face.library : found;
}

// Why a driver can't have this shim; empty: it can.
std::string Objection(const ShimFace& face, const fs::path& driver)
{
    std::error_code none;
    if (!fs::exists(driver, none)) {
        return "no such file";
    }
    if (IsShim(driver)) {
        return "this is already a shim";
    }
    const DriverKind kind = KindOfDriver(driver);
    switch (kind.form) {
        case DriverKind::kUnloadable:
        case DriverKind::kFailsWhileLoading:
            return kind.reason;
        case DriverKind::kNotADriver:
            return "not an ODBC driver";
        case DriverKind::kDriverManager:
            return "a driver manager, not a driver";
        case DriverKind::kNarrow:
            return face.library == FaceOf("narrow").library
                       ? "it has narrow functions only; make a wide or utf16 shim instead"
                       : "";
        case DriverKind::kWide:
            return kind.character_width == 4
                       ? "its wide characters have 4 bytes, so it needs no shim"
                       : "";
    }
    return "";
}

[[noreturn]] void Refuse(const fs::path& file, const std::string& why)
{
    throw std::runtime_error(file.string() + ": " + why);
}

// A process that has the old file open keeps it.
void Replace(const fs::path& from, const fs::path& to)
{
    const fs::path made = to.string() + "." + std::to_string(::getpid());
    std::error_code error;
    fs::copy_file(from, made, fs::copy_options::overwrite_existing, error);
    if (!error) {
        fs::rename(made, to, error);
    }
    if (error) {
        std::error_code none;
        fs::remove(made, none);
        Refuse(to, error.message());
    }
}

}  // namespace

const ShimFace& FaceOf(const std::string& name)
{
    const auto* found =
        std::ranges::find_if(kShimFaces, [&](const ShimFace& face) { return name == face.name; });
    if (found == std::end(kShimFaces)) {
        throw std::out_of_range("there is no shim called " + name);
    }
    return *found;
}

// The name of the shim's library is in its bytes, and so in every copy.
bool IsShim(const fs::path& file)
{
    std::error_code none;
    if (!fs::is_regular_file(file, none)) {
        return false;
    }
    std::ifstream in(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    return std::ranges::any_of(kShimFaces, [&](const ShimFace& face) {
        return bytes.find(face.library) != std::string::npos;
    });
}

std::optional<ShimFile> AsShim(const fs::path& file)
{
    const std::string name = file.filename();
    for (const ShimFace& face : kShimFaces) {
        if (name.starts_with(face.prefix) && IsShim(file)) {
            const std::string driver = name.substr(std::string(face.prefix).size());
            return ShimFile{&face, DriverFoundFrom(file, driver)};
        }
    }
    return std::nullopt;
}

fs::path ShimPath(const ShimFace& face, const fs::path& library, const fs::path& driver,
                  const fs::path& folder)
{
    const fs::path own = driver.parent_path() == ORVELGW_DRIVER_FOLDER
                             ? OriginalOf(face, library).parent_path()
                             : driver.parent_path();
    return (folder.empty() ? own : folder) / (face.prefix + driver.filename().string());
}

fs::path DriverNamed(const std::string& words)
{
    return words.find('/') == std::string::npos ? fs::path(ORVELGW_DRIVER_FOLDER) / words
                                                : fs::absolute(words).lexically_normal();
}

fs::path MakeShim(const ShimFace& face, const fs::path& library, const fs::path& driver,
                  const fs::path& folder)
{
    if (const std::string why = Objection(face, driver); !why.empty()) {
        Refuse(driver, why);
    }
    const fs::path shim = OriginalOf(face, library);
    fs::path made = fs::absolute(ShimPath(face, library, driver, folder)).lexically_normal();
    std::error_code none;
    if (!fs::exists(shim, none)) {
        Refuse(shim, "no such file; cmake --build makes it");
    }
    if (fs::exists(fs::symlink_status(made, none)) && !IsShim(made)) {
        Refuse(made, "a file of that name exists and is not a shim");
    }
    if (const fs::path seen = DriverFoundFrom(made, driver.filename()); !IsSame(seen, driver)) {
        Refuse(made, "a shim here would look for its driver at " + seen.string() +
                         "; make it beside the driver, or put a link to the driver there");
    }
    Replace(shim, made);
    return made;
}
