// Whether a server is there at all, asked without its driver.
#pragma once

#include <optional>
#include <string>

#include "drivers/DataSource.h"

/// A place in a network.
struct Server {
    std::string host;
    std::string port;

    std::string Text() const { return host + " port " + port; }
};

/// The server that a data source names to its driver, if it names one and a port is known.
std::optional<Server> ServerOf(const DataSource& source);

/// What came of a try to reach it.
struct Reach {
    enum Outcome { kListens, kNobodyListens, kSilent, kUnknownHost, kUnresolved, kUnreachable };

    Outcome outcome = kSilent;
    std::string reason;  // the system's, where there is one
};

/// Connects by TCP, and closes again. Takes some seconds at the most, and what looking up the name
/// takes.
Reach TryToReach(const Server& server);
