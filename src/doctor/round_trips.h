// What round trips bring back in each mode of the gateway, as a table with advice.
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

/// The outcome of connecting in a mode, and of its round trips as far as they got.
struct ModeTrial {
    static constexpr char kRefused[] = "refused";
    static constexpr char kCrashed[] = "crashed";
    static constexpr char kTimedOut[] = "timed out";

    bool is_connected = false;
    std::string refusal;                   // why it isn't connected: one of these
    std::vector<std::string> diagnostics;  // the driver's, or one line that says why there are none

    std::string product;         // what the driver reports of itself and its server
    std::string select_refusal;  // why the source refuses a SELECT without FROM, if it does
    bool is_national = false;    // plain literals are wrong and N'...' right; later checks use it
    std::vector<Finding> findings;  // in the order of the checks
};

/// Connects and runs the checks, in a child process.
ModeTrial TryMode(const Gateway& gateway, const SessionOptions& options,
                  const std::string& connection_string);

/// Reports the trials, one for each mode and in their order. Returns whether every check is right
/// in at least one mode.
bool ReportRoundTrips(const std::vector<ModeTrial>& trials, const DoctorReport& report);
