// Why a connection failed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "drivers/DataSource.h"
#include "drivers/Profiles.h"
#include "drivers/driver_kind.h"
#include "drivers/server.h"

/// A cause in a word and in a line, and what to do about it.
struct Cause {
    std::string word;
    std::string what;
    std::vector<std::string> advice;
};

/// Why a shared object can't be loaded. reason: the loader's.
Cause CauseInObject(const std::string& file, const std::string& reason);

/// A cause that shows before anything connects: a data source or a driver that is missing or can't
/// be used.
std::optional<Cause> CauseInFiles(const DataSource& source, const DriverKind& kind,
                                  const Profiles& profiles);

/// A cause that shows in the network. timed_out: whether the driver got no answer.
std::optional<Cause> CauseInNetwork(const Server& server, const ServerProbe& probe, bool timed_out);

/// Why SQLite can't open the file that the data source names; its driver only says that it can't.
std::optional<Cause> CauseInDatabaseFile(const DataSource& source);

/// The cause that the driver's diagnostics name.
Cause CauseInDiagnostics(const std::vector<std::string>& diagnostics);
