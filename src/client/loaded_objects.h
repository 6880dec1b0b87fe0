// The shared objects of this process, and which of them are ODBC drivers.
#pragma once

#include <string>
#include <vector>

/// The files of all loaded shared objects, in the order of loading.
std::vector<std::string> LoadedObjects();

/// Whether the loaded library itself, not one that it depends on, defines a function of that name.
/// library: a handle of dlopen, or null.
bool Defines(void* library, const char* function);

/// The same for a loaded object's file.
bool Defines(const std::string& object, const char* function);

/// The ODBC driver of a connection: the first one loaded while connecting, or else the one that the
/// same words led to before. Constructed before connecting.
class DriverWatch {
public:
    DriverWatch() : before_(LoadedObjects()) {}

    /// The driver's file, once connected; empty if none is found. words: the part of the connection
    /// string that names the driver or the data source.
    std::string Found(const std::string& words) const;

private:
    std::vector<std::string> before_;
};
