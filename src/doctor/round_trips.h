// What comes back of round trips in each mode of the gateway, as a table with advice.
#pragma once

#include <string>
#include <vector>

#include "client/Session.h"
#include "doctor/DoctorReport.h"
#include "doctor/checks.h"

/// The modes of the gateway: narrow, Unicode, legacy.
struct Mode {
    const char* name = "";
    SessionOptions options;
};

inline constexpr Mode kModes[] = {
    {"narrow", {}},
    {"-u", {.unicode = true}},
    {"-l", {.legacy = true}},
};

/// What came of connecting in a mode and of its round trips, as far as they came.
struct ModeTrial {
    bool is_connected = false;
    std::string refusal;                   // in a word, where it isn't: refused, crashed, silent
    std::vector<std::string> diagnostics;  // the driver's, or one line of why there are none

    std::string product;            // what the driver says of itself and its server
    std::string select_refusal;     // why the source takes no SELECT without FROM; empty: it does
    bool is_national = false;       // literals are right only as N'...', as later checks send them
    std::vector<Finding> findings;  // in the order of the checks
};

/// Connects and carries out the checks, in a process of its own.
ModeTrial TryMode(const Gateway& gateway, const SessionOptions& options,
                  const std::string& connection_string);

/// Reports the trials, one a mode in their order. Returns whether every check is right in one mode
/// at least.
bool ReportRoundTrips(const std::vector<ModeTrial>& trials, const DoctorReport& report);
