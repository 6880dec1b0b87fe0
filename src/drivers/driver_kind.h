// What kind of driver a file or this process has.
#pragma once

#include <string>

/// The driver manager that came into the process with the gateway.
struct DriverManager {
    std::string file;     // links resolved; empty: none is loaded
    std::string version;  // empty: it doesn't tell

    std::string Text() const { return "iODBC " + version + ", " + file; }
};

DriverManager LoadedDriverManager();

/// A file's path with links resolved, or as it is where that fails.
std::string Resolved(const std::string& file);

/// What a driver file is, found out by loading it in a process of its own.
struct DriverKind {
    enum Form { kUnloadable, kNoDriver, kDriverManager, kNarrow, kWide };

    Form form = kUnloadable;
    std::string reason;       // why it can't be loaded
    int character_width = 0;  // of its wide functions, in bytes; 0: it doesn't tell
};

/// What the reason begins with where loading crashes or hangs.
inline constexpr char kWhileLoading[] = "loading it ";

/// Throws std::system_error where there is no process to be had.
DriverKind KindOfDriver(const std::string& file);
