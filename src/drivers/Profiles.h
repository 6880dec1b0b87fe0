// The configuration of ODBC: odbc.ini and odbcinst.ini.
#pragma once

#include <memory>
#include <string>
#include <vector>

/// Reads data sources and drivers by the functions of iODBC itself, in the files that it reads,
/// wherever ODBCINI and its kin put them. Those functions are kept out of the process's reach: some
/// drivers look for functions of the same names, of another maker.
class Profiles {
public:
    static constexpr char kSources[] = "odbc.ini";
    static constexpr char kDrivers[] = "odbcinst.ini";

    /// library: the file of iODBC's functions.
    explicit Profiles(const char* library = "libiodbcinst.so.2");

    /// Whether there is a configuration to read.
    bool IsThere() const { return read_ != nullptr; }

    /// The value of a key; empty where there is none.
    std::string Value(const std::string& section, const std::string& key,
                      const char* profile) const;

    bool Has(const std::string& section, const char* profile) const;

    /// The keys of a section.
    std::vector<std::string> Keys(const std::string& section, const char* profile) const;

    /// The data sources, or the drivers, of the user and of the system.
    std::vector<std::string> Sections(const char* profile) const;

    /// The file that has a section: the user's, or else that of the system.
    std::string FileOf(const std::string& section, const char* profile) const;

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
