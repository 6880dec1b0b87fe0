// Whether a server is listening, found without its driver.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "drivers/DataSource.h"

/// A server's address, as a connection string or a data source has it.
struct Server {
    std::string host;
    std::string port;

    std::string Text() const { return host + " port " + port; }
};

/// The server that a data source names to its driver, if it names one and a port is known.
std::optional<Server> ServerOf(const DataSource& source);

/// The outcome of a TCP connection to it, the best one of several addresses.
struct ServerProbe {
    // The best one first.
    enum Outcome { kListening, kRefused, kNoAnswer, kUnreachable, kLookupFailed, kUnknownHost };

    Outcome outcome = kNoAnswer;
    std::string reason;  // the system's, if there is one
};

/// Connects by TCP and closes the connection. Waits up to the timeout for each address, and without
/// a limit for the lookup of the name.
ServerProbe ProbeServer(const Server& server,
                        std::chrono::milliseconds patience = std::chrono::seconds(3));
