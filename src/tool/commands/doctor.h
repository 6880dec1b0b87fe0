// orvelgw doctor.
#pragma once

#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// Prints what there is between this machine and the data source.
ExitCode PrintDiagnosis(const CommandLine& command);
