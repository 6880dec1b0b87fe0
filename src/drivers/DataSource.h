// Where a connection string leads, before anything connects.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "drivers/ConnectionString.h"
#include "drivers/Profiles.h"

/// Why a connection string leads to no driver file.
enum class SourceFault {
    kNone,
    kNoConfiguration,  // it has a name, and no configuration can be read
    kMalformed,        // it has keys, and the gateway takes it for a name
    kBlanks,           // DRIVER, DSN or its value has blanks around it, which belong to it
    kUnknownSource,    // the configuration has no such data source
    kNoDriver,         // the data source names no driver
    kUnknownDriver,    // the driver's name is neither that of a driver nor that of a file
    kBraces,           // a file name is in braces, which belong to it
    kMissingFile,
    kDanglingLink,
    kLinkLoop,
    kUnreachableFile
};

/// The driver file that the driver manager opens for a connection string, and why that one.
class DataSource {
public:
    DataSource(const ConnectionString& string, const Profiles& profiles);

    /// The file, empty if none is named.
    const std::string& DriverFile() const { return file_; }

    SourceFault Fault() const { return fault_; }

    /// The name that leads nowhere.
    const std::string& Name() const { return name_; }

    /// Why a file is unreachable, or the target of a dangling link.
    const std::string& Reason() const { return reason_; }

    /// How the file was found, step by step.
    const std::vector<std::string>& Steps() const { return steps_; }

    /// The section of the data source, empty if none is used, and its file.
    const std::string& Section() const { return section_; }
    const std::string& SectionFile() const { return section_file_; }

    /// The value of the string's keys, or else of the keys of the data source's section.
    std::string Value(std::span<const char* const> keys,
                      std::span<const char* const> section_keys) const;

    /// A connection string for the same place through another driver.
    std::string Through(const std::string& driver) const;

private:
    void FindDriver();
    void FindFile(const std::string& driver);
    std::string SectionValue(const char* key) const;
    SourceFault FaultOfFile(const std::string& driver, bool is_in_configuration);
    SourceFault FaultOfMissing(const std::string& file);
    bool IsUnresolved() const;

    const ConnectionString& string_;
    const Profiles& profiles_;
    std::string section_;
    std::string section_file_;
    std::string file_;
    std::string name_;
    std::string reason_;
    SourceFault fault_ = SourceFault::kNone;
    std::vector<std::string> steps_;
};
