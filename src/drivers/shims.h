// The shims that come with the gateway, and what they are for.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

/// What a shim can make of a driver, by the name of the shim's file.
struct ShimFace {
    const char* name;     // as a person calls it
    const char* prefix;   // in front of the driver's file name
    const char* library;  // the shared object that is copied
    const char* modes;    // of the gateway, that it is for
};

inline constexpr ShimFace kShimFaces[] = {
    {"narrow", "narrow-", "liborvelnarrow.so", "narrow and -l, as bytes of the driver's own"},
    {"wide", "wide-", "liborvelwide.so", "narrow and -l, and -u up to U+FFFF"},
    {"utf16", "utf16-", "liborvelwide.so", "-u"},
};

/// The face of a name; throws std::out_of_range where there is none.
const ShimFace& FaceOf(const std::string& name);

/// Where a driver file is a shim that is named after a driver: its face, and that driver as the
/// shim looks for it, which need not be there.
struct ShimFile {
    const ShimFace& face;
    std::filesystem::path driver;
};
std::optional<ShimFile> AsShim(const std::filesystem::path& file);

/// Whether a file is a shim, whatever its name: a copy of one, or a link to one.
bool IsShim(const std::filesystem::path& file);

/// The file that a driver's shim has in a folder; no folder: beside the shims, or
/// beside a driver that lies in a folder of its own, where the shim looks for it.
std::filesystem::path ShimPath(const ShimFace& face, const std::filesystem::path& library,
                               const std::filesystem::path& driver,
                               const std::filesystem::path& folder = {});

/// A driver as a person names it, by its path or by its name in Debian's folder of ODBC drivers.
std::filesystem::path DriverNamed(const std::string& words);

/// Copies the shim that belongs to a gateway's library and returns the copy's path. Throws
/// std::runtime_error where the driver is not there or needs no such shim, where the copy would not
/// find it, and where something else has the copy's name.
std::filesystem::path MakeShim(const ShimFace& face, const std::filesystem::path& library,
                               const std::filesystem::path& driver,
                               const std::filesystem::path& folder);
