// Exit codes.
#pragma once

/// Exit codes of the program.
enum ExitCode : int {
    kDone = 0,
    kSqlFailed = 1,
    kWrongUsage = 2,
    kLibraryUnusable = 3,
    kConnectionFailed = 4
};
