// The connection string, put together from the words, files and the environment.
#pragma once

#include <optional>
#include <string>

#include "tool/CommandLine.h"

/// Whether the words or the environment (ORVELGW_DSN) name a data source.
bool NamesConnection(const ConnectionWords& words);

/// The connection string with its password, nothing where no data source is named. The password
/// comes from a prompt, a file or the environment (ORVELGW_PASSWORD), which the string's own goes
/// before. Throws UsageError, and std::system_error for a file that can't be read.
std::optional<std::string> WholeConnectionString(const ConnectionWords& words);

/// How a person names the same connection again, without the password: "-d 'DRIVER=...'".
std::string WordsForConnection(const ConnectionWords& words);

/// Overwrites those of the process's words that hold a password, as every user can see them.
void HideSecrets(char** process_words);
