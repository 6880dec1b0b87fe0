// The parts of a report that no data source has a part in: the gateway, the driver manager, the
// locale.
#pragma once

#include <string>

#include "client/Gateway.h"
#include "doctor/DoctorReport.h"

/// Reports that the driver manager itself crashes or hangs, which a child process tries by making
/// an environment and reading the configuration. Returns whether it survives that. library: the
/// gateway's file; where it can't be loaded nothing is tried.
bool SurvivesDriverManager(const std::string& library, const DoctorReport& report);

/// Reports the gateway's file and versions, and the driver manager that was loaded with it. Returns
/// the file, with links resolved.
std::string ReportLibrary(const Gateway& gateway, const DoctorReport& report);

void ReportUnusableLibrary(const std::string& library, const std::string& reason,
                           const DoctorReport& report);

void ReportLocale(const DoctorReport& report);
