// What a crash inside a driver leaves behind: a word about where it was.
#pragma once

#include <string>

/// From here on a crash says first, on stderr, which entry was running over which driver.
void ReportCrashes();

/// The driver as far as it is known, by its name or its file; empty: not at all.
void NameDriverOfCrashes(const std::string& driver);
