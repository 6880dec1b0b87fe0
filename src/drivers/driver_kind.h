// What a driver file is, and which driver manager this process has.
#pragma once

#include <string>

/// The driver manager that was loaded with the gateway.
struct DriverManager {
    std::string file;     // with links resolved; empty: none is loaded
    std::string version;  // empty: it reports none

    std::string Text() const { return "iODBC " + version + ", " + file; }
};

DriverManager LoadedDriverManager();

/// A path with links resolved, or the path unchanged if that fails.
std::string Resolved(const std::string& file);

/// What a driver file is, as loading it in a child process shows.
struct DriverKind {
    enum Form { kUnloadable, kFailsWhileLoading, kNotADriver, kDriverManager, kNarrow, kWide };

    Form form = kUnloadable;
    std::string reason;       // why it can't be loaded, or how it fails
    int character_width = 0;  // of its wide functions, in bytes; 0: unknown

    bool IsDriver() const { return form == kNarrow || form == kWide; }

    /// Whether iODBC, whose wide characters have 4 bytes, would misread those of the driver.
    bool HasWrongWidth() const { return form == kWide && character_width == 2; }
};

/// Throws std::system_error if no child process can be started.
DriverKind KindOfDriver(const std::string& file);
