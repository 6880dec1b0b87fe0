// The words for data that goes out and comes in: formats, files, import and export.
#pragma once

#include <CLI/CLI.hpp>

#include "tool/CommandLine.h"

void AddDataOptions(CLI::App& app, CommandLine& command);

/// Refuses options that the task has no use for, or that don't go together. Throws
/// CLI::ValidationError.
void CheckDataOptions(const CLI::App& app, const CommandLine& command);
