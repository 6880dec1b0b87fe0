// Why a connection failed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "shell/doctor/DataSource.h"
#include "shell/doctor/server.h"
#include "shell/driver_kind.h"

/// A cause in a word and in a line, and what to do about it.
struct Cause {
    std::string word;
    std::string what;
    std::vector<std::string> advice;
};

/// The cause that shows before anything connects: of a source or a driver that isn't there or can't
/// be used.
std::optional<Cause> CauseInFiles(const DataSource& source, const DriverKind& kind,
                                  const Profiles& profiles);

/// The cause that shows in the network, where the server was tried.
std::optional<Cause> CauseInNetwork(const Server& server, const Reach& reach);

/// The cause that the driver's diagnostics tell.
Cause CauseInWords(const std::vector<std::string>& diagnostics);
