// This program in a process of its own, which shares no connection and no mode with this one.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Runs the program with these words behind the connection string, which goes through a pipe, and
/// passes on what it writes to standard output. Returns its exit code, or -1 where a signal ended
/// it. Throws std::system_error.
int RunOwnProgram(const std::vector<std::string>& words, const std::string& connection_string,
                  const std::function<void(std::string_view)>& take);
