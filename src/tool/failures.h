// What a failure says, and the exit code that it ends in.
#pragma once

#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// Reports the exception that is being handled on stderr, the driver's own words first.
ExitCode ReportFailure(const CommandLine& command);
