// What a failure says, and the exit code that it ends in.
#pragma once

#include "client/Session.h"
#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// Says on stderr what failed, the driver's own words first.
void Report(const SqlError& error);

/// Reports the exception that is being handled on stderr, the driver's own words first.
ExitCode ReportFailure(const CommandLine& command);
