// All round trips of one mode of the gateway.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "shell/Session.h"
#include "shell/doctor/judge.h"

/// What came of connecting and of the round trips, as far as they came.
struct ModeTrial {
    bool is_connected = false;
    std::string refusal;                   // in a word, where it isn't: refused, crashed, silent
    std::vector<std::string> diagnostics;  // the driver's, or one line of why there are none

    std::string product;            // what the driver says of itself and its server
    std::string untaken;            // why the source takes no SELECT without FROM; empty: it does
    bool is_national = false;       // literals are right only as N'...', as later checks send them
    std::vector<Finding> findings;  // in the order of the checks
};

/// Connects and carries out the checks, in a process of its own.
ModeTrial TryMode(const Gateway& gateway, const SessionOptions& options,
                  const std::string& connection_string);
