// Completion of the command line by a shell.
#pragma once

#include <CLI/App.hpp>
#include <string>

/// A script for bash that completes the options and the subcommands which the parser knows, the
/// names of entries behind "call", and files elsewhere.
std::string BashCompletion(const CLI::App& app);
