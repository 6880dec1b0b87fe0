// Whether the driver manager survives being used at all.
#pragma once

#include <optional>
#include <string>

/// How the driver manager failed before there was a driver.
struct ManagerFailure {
    std::string manager;  // version and file, as far as they were known by then
    std::string word;     // crashed, silent
    std::string how;      // "crashes: Aborted"
};

/// Has the gateway ask the driver manager for its data sources, and the configuration read, in a
/// process of its own. Nothing where that ends well, or where the gateway can't be loaded.
std::optional<ManagerFailure> FailureOfDriverManager(const std::string& library);
