// Why a connection failed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/DataSource.h"
#include "drivers/driver_kind.h"
#include "drivers/server.h"

/// A cause in a word and in a line, and what to do about it.
struct Cause {
    std::string word;
    std::string what;
    std::vector<std::string> advice;
};

/// What to do about a library that can't be loaded, by the loader's reason.
std::vector<std::string> AdviceOnLoading(const std::string& file, const std::string& reason);

/// The cause that shows before anything connects: of a source or a driver that isn't there or can't
/// be used.
std::optional<Cause> CauseInFiles(const DataSource& source, const DriverKind& kind,
                                  const Profiles& profiles);

/// The cause that shows in the network, where the server was tried. is_silent: its driver waited
/// for it in vain.
std::optional<Cause> CauseInNetwork(const Server& server, const Reach& reach, bool is_silent);

/// The cause that the driver's diagnostics tell.
Cause CauseInWords(const std::vector<std::string>& diagnostics);
