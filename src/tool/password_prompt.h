// A password, typed.
#pragma once

#include <string>

/// What is typed at the terminal of the process, without echo. Throws UsageError where there is no
/// terminal or nothing is typed.
std::string AskPassword(const std::string& prompt);
