// The driver manager that came into the process with the gateway.
#pragma once

#include <string>

struct DriverManager {
    std::string file;     // links resolved; empty: none is loaded
    std::string version;  // empty: it doesn't tell
};

DriverManager LoadedDriverManager();
