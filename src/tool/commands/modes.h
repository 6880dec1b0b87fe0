// What an engine gets of a query in a mode.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/Session.h"
#include "client/host_rows.h"
#include "tool/ExitCode.h"

/// The first rows of a query, by the row entry, or why there are none.
struct ModeRows {
    std::vector<std::string> titles;
    std::vector<HostRow> rows;
    std::string error;  // empty: none
};

/// Runs a query in the session's mode and writes what comes to standard output, for another process
/// of this program.
ExitCode WriteModeRows(const Session& session, const std::string& sql);

/// Reads that. Throws ListError.
ModeRows ModeRowsOf(std::string_view written);
