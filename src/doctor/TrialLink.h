// The shim of the narrow functions, tried on a driver.
#pragma once

#include <filesystem>
#include <string>

#include "client/TemporaryPath.h"

/// A link to the shim in a temporary folder of its own, which goes with this object or with the
/// process.
class TrialLink {
public:
    /// shim: the shim's own file.
    TrialLink(const std::filesystem::path& shim, const std::filesystem::path& driver);

    /// The link, empty where no folder can be written.
    const std::string& File() const { return link_.Path(); }

private:
    TemporaryPath folder_;
    TemporaryPath link_;
    TemporaryPath driver_;
};
