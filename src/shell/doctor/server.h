// Whether a server is there at all, asked without its driver.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "shell/doctor/DataSource.h"

/// What a driver file's name tells of the product behind it.
struct Product {
    const char* file_part;                     // of the file's name
    const char* port;                          // where its server listens unless told otherwise
    std::span<const char* const> server_keys;  // by which it is told the server
    const char* section_key;                   // another, of data sources only; null: none
};

/// Null for a driver that isn't known.
const Product* ProductOf(const std::string& driver_file);

/// A place in a network.
struct Server {
    std::string host;
    std::string port;

    std::string Text() const { return host + " port " + port; }
};

/// The server that a data source names, if it names one and a port is known.
std::optional<Server> ServerOf(const DataSource& source, const Product* product);

/// What came of a try to reach it.
struct Reach {
    enum Outcome { kListens, kNobodyListens, kSilent, kUnknownHost, kUnresolved, kUnreachable };

    Outcome outcome = kSilent;
    std::string reason;  // the system's, where there is one
};

/// Connects by TCP, and closes again. Takes some seconds at the most, and what looking up the name
/// takes.
Reach TryToReach(const Server& server);
