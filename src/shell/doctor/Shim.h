// The shim of the narrow functions, as a cure for a driver.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "shell/TemporaryPath.h"

/// The shim, and the link to it by which it finds one driver.
class Shim {
public:
    /// library: the gateway's file, beside which the shim lies.
    Shim(const std::filesystem::path& library, const std::filesystem::path& driver);

    /// Whether the shim is there.
    bool IsBuilt() const;

    const std::filesystem::path& File() const { return shim_; }

    /// Where the link belongs: beside the library, or beside a driver that lies in a folder of its
    /// own.
    const std::filesystem::path& Link() const { return link_; }
    bool IsLinked() const;

    /// Where a driver file is a link to the shim or a copy, and named after a driver: that driver,
    /// as the shim looks for it. It need not be there.
    static std::optional<std::filesystem::path> DriverBehind(const std::filesystem::path& driver);

    /// Whether a driver file is the shim, and named after no driver.
    static bool IsNameless(const std::filesystem::path& driver);

private:
    std::filesystem::path shim_;
    std::filesystem::path link_;
};

/// A link to the shim in a temporary folder of its own, which goes with this object or with the
/// process.
class TrialLink {
public:
    TrialLink(const Shim& shim, const std::filesystem::path& driver);

    /// The link, empty where no folder can be written.
    const std::string& File() const { return link_.Path(); }

private:
    TemporaryPath folder_;
    TemporaryPath link_;
    TemporaryPath driver_;
};
