// The round trips of all modes as a table, and what to do about those that aren't right.
#pragma once

#include <string>
#include <vector>

#include "shell/doctor/DoctorReport.h"
#include "shell/doctor/mode_trial.h"

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

/// One trial a mode, in their order; encoding is that of the first mode with another connection
/// string, which names encoding_key, or null where none was tried.
struct RoundTrips {
    std::vector<ModeTrial> trials;
    std::string encoding_key;
    const ModeTrial* with_encoding = nullptr;
};

/// Whether text that isn't right is wrong in every mode, so that another encoding may be the cure.
bool WantsEncoding(const std::vector<ModeTrial>& trials);

/// Returns whether every check is right in one mode at least.
bool ReportRoundTrips(const RoundTrips& trips, const DoctorReport& report);
