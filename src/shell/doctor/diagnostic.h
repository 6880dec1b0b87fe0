// The parts of a diagnostic as the gateway words it: "  SQLState: (28000) NativeError: [1] Message:
// Login failed".
#pragma once

#include <string>

/// The SQLSTATE, empty where the line has none.
std::string StateOf(const std::string& line);

/// The driver's message, or the whole line where it has none.
std::string MessageOf(const std::string& line);
