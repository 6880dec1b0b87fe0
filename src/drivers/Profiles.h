// The configuration of ODBC: odbc.ini and odbcinst.ini.
#pragma once

#include <memory>
#include <string>
#include <vector>

/// A file that iODBC looks at, and whether it reads it.
struct ConfigurationFile {
    enum State { kRead, kMissing, kUnreadable, kDirectory };

    std::string path;
    std::string variable;  // the environment variable that names it; empty: a default
    State state = kMissing;
    std::string reason;  // the system's, of an unreadable file
};

/// Reads data sources and drivers with the functions of iODBC itself, and so from the same files.
/// Those functions are not exported to the process: some drivers look for functions of the same
/// names from unixODBC.
class Profiles {
public:
    static constexpr char kSources[] = "odbc.ini";
    static constexpr char kDrivers[] = "odbcinst.ini";

    /// library: the shared object that has these functions.
    explicit Profiles(const char* library = "libiodbcinst.so.2");

    /// Whether the library could be loaded, without which nothing is read.
    bool IsAvailable() const { return read_ != nullptr; }

    /// The value of a key; empty if there is none.
    std::string Value(const std::string& section, const std::string& key,
                      const char* profile) const;

    bool Has(const std::string& section, const char* profile) const;

    /// The keys of a section.
    std::vector<std::string> Keys(const std::string& section, const char* profile) const;

    /// The data sources, or the drivers, of the user and the system.
    std::vector<std::string> Sections(const char* profile) const;

    /// The file that has a section: the user's, or else the system's.
    std::string FileOf(const std::string& section, const char* profile) const;

    /// The files that iODBC looks at, the user's first, in its order. It takes the first of the
    /// user's, and the first of the system's, that this user may read, even if it is a directory.
    static std::vector<ConfigurationFile> Files(const char* profile);

private:
    using Read = int (*)(const char* section, const char* key, const char* preset, char* buffer,
                         int size, const char* profile);
    using SetConfigMode = int (*)(unsigned short mode);

    std::vector<std::string> Names(const char* section, const char* profile) const;
    void SetMode(unsigned short mode) const;

    std::unique_ptr<void, int (*)(void*)> library_;
    Read read_ = nullptr;
    SetConfigMode set_mode_ = nullptr;
};
