// The words for how statements and scripts run.
#pragma once

#include <CLI/CLI.hpp>

#include "tool/CommandLine.h"

void AddScriptOptions(CLI::App& app, CommandLine& command);

/// Refuses options that the task has no use for, or that don't go together. Throws
/// CLI::ValidationError.
void CheckScriptOptions(const CLI::App& app, const CommandLine& command);
