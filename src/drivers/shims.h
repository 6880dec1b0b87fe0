// The shims that come with the gateway, and the drivers that they are for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

/// An interface that a shim can give a driver. The name of the shim's file chooses it.
struct ShimFace {
    const char* name;     // on the command line
    const char* prefix;   // of the shim's file name, before that of the driver
    const char* library;  // the shared object that is copied
    const char* modes;    // the gateway's modes that it is for
};

inline constexpr ShimFace kShimFaces[] = {
    {"narrow", "narrow-", "liborvelnarrow.so", "narrow and -l, in the driver's own encoding"},
    {"wide", "wide-", "liborvelwide.so", "narrow and -l, and -u up to U+FFFF"},
    {"utf16", "utf16-", "liborvelwide.so", "-u"},
};

/// Throws std::out_of_range if no face has the name.
const ShimFace& FaceOf(const std::string& name);

/// A shim that is named after a driver: its face, and the driver file that it loads, which need not
/// exist.
struct ShimFile {
    const ShimFace* face;
    std::filesystem::path driver;
};

/// Nothing if the file is not such a shim.
std::optional<ShimFile> AsShim(const std::filesystem::path& file);

/// Whether a file is a copy of a shim or a link to one, whatever its name.
bool IsShim(const std::filesystem::path& file);

/// The path of a driver's shim in a folder. Without a folder it goes next to the shims or, if the
/// driver is not in Debian's folder of ODBC drivers, next to the driver.
std::filesystem::path ShimPath(const ShimFace& face, const std::filesystem::path& library,
                               const std::filesystem::path& driver,
                               const std::filesystem::path& folder = {});

/// The driver file with a path, or with a file name in Debian's folder of ODBC drivers.
std::filesystem::path DriverNamed(const std::string& words);

/// Copies the shim that belongs to a gateway's library and returns the copy's path. Throws
/// std::runtime_error if the driver is missing or needs no such shim, if the copy would not find
/// it, or if another file has the copy's name.
std::filesystem::path MakeShim(const ShimFace& face, const std::filesystem::path& library,
                               const std::filesystem::path& driver,
                               const std::filesystem::path& folder);
