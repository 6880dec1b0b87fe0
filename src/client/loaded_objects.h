// The shared objects of this process, and which of them are ODBC drivers.
#pragma once

#include <string>
#include <vector>

/// The files of all loaded shared objects, in the order in which they were loaded.
std::vector<std::string> LoadedObjects();

/// Whether the loaded library itself, not one that it needs, defines a function of that name.
/// library: a handle of dlopen, or null.
bool Defines(void* library, const char* function);

/// The same of a loaded object's file.
bool Defines(const std::string& object, const char* function);

/// The ODBC driver behind a connection: the first one that was loaded while it was made, or else
/// the one that the same words led to before. Made before connecting.
class DriverWatch {
public:
    DriverWatch() : before_(LoadedObjects()) {}

    /// The driver's file, once the connection is there. words: of the connection string, that name
    /// the driver or the data source. Empty: no driver is found.
    std::string Found(const std::string& words) const;

private:
    std::vector<std::string> before_;
};
