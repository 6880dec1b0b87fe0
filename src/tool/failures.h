// What a failure says, and the exit code that it ends in.
#pragma once

#include <string_view>

#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// Says on stderr, behind the program's name, what a person has to know.
void Complain(std::string_view what);

/// Reports the exception that is being handled, the driver's own words first.
ExitCode ReportFailure(const CommandLine& command);
