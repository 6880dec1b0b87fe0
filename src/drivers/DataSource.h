// Where a connection string leads, before anything connects.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "drivers/ConnectionString.h"
#include "drivers/Profiles.h"

/// The driver file that the driver manager opens for a connection string, and why that one.
class DataSource {
public:
    enum Fault {
        kNone,
        kUnread,         // a name, and no configuration can be read
        kMisread,        // the string has keys, and the gateway takes it for a name
        kBlanks,         // blanks around DRIVER, DSN or its value, which belong to them
        kUnknownSource,  // the configuration has no such data source
        kNoDriver,       // the data source names no driver
        kUnknownDriver,  // no driver has the name, and no file
        kBraces,         // a file in braces, which belong to its name
        kMissingFile,
        kUnreachedFile
    };

    DataSource(const ConnectionString& string, const Profiles& profiles);

    /// The file, empty where none is named.
    const std::string& DriverFile() const { return file_; }

    Fault WhatIsWrong() const { return fault_; }

    /// The name that leads nowhere, of a fault.
    const std::string& Name() const { return name_; }

    /// The system's reason, of a file that can't be reached.
    const std::string& Reason() const { return reason_; }

    /// How the file was found, a step a line.
    const std::vector<std::string>& Steps() const { return steps_; }

    /// The section of the data source, empty where none is used, and its file.
    const std::string& Section() const { return section_; }
    const std::string& SectionFile() const { return section_file_; }

    /// What the string says by its keys, or else the data source by those of its section.
    std::string Value(std::span<const char* const> keys,
                      std::span<const char* const> section_keys) const;

    /// A connection string for the same place through another driver.
    std::string Through(const std::string& driver) const;

private:
    void Find();
    void Follow(const std::string& driver);
    std::string SectionValue(const char* key) const;
    Fault FaultOfFile(const std::string& driver, bool is_named);

    const ConnectionString& string_;
    const Profiles& profiles_;
    std::string section_;
    std::string section_file_;
    std::string file_;
    std::string name_;
    std::string reason_;
    Fault fault_ = kNone;
    std::vector<std::string> steps_;
};
