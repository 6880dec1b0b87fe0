// The shim of the narrow functions, tried on a driver.
#pragma once

#include <filesystem>

/// A link to the shim in a temporary folder of its own, which goes with this object, or with the
/// process where INT, TERM or HUP ends it. There is one such object at a time.
class TrialLink {
public:
    /// shim: the shim's own file.
    TrialLink(const std::filesystem::path& shim, const std::filesystem::path& driver);
    ~TrialLink();
    TrialLink(const TrialLink&) = delete;
    TrialLink& operator=(const TrialLink&) = delete;

    /// The link, empty where no folder can be written.
    const std::filesystem::path& File() const { return link_; }

private:
    std::filesystem::path link_;
};
