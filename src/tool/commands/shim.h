// orvelgw shim.
#pragma once

#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// Makes a shim and prints its DRIVER= for a connection string.
ExitCode PrintShim(const CommandLine& command);
