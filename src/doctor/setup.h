// What lies between a connection string and a server, found without connecting.
#pragma once

#include <optional>
#include <string>

#include "doctor/DoctorReport.h"
#include "drivers/ConnectionString.h"
#include "drivers/DataSource.h"
#include "drivers/Profiles.h"
#include "drivers/driver_kind.h"
#include "drivers/server.h"
#include "drivers/shims.h"

/// What is known, as the functions below find it, each for its part of the report and in this
/// order.
struct Setup {
    explicit Setup(const std::string& data_source)
        : text(data_source), string(data_source), source(string, profiles)
    {}
    ~Setup() = default;
    Setup(const Setup&) = delete;
    Setup& operator=(const Setup&) = delete;

    std::string text;
    ConnectionString string;
    Profiles profiles;
    DataSource source;
    std::optional<ShimFile> shim;               // where the driver is a shim
    std::optional<DriverKind> kind_of_shimmed;  // the driver that the shim loads
    DriverKind kind;
    std::optional<Server> server;  // where one is named
    ServerProbe probe;
};

void ReportSource(const Setup& setup, const DoctorReport& report);

/// With the driver that a shim loads.
void ReportDriver(Setup& setup, const DoctorReport& report);

/// Only where there is a driver file.
void ReportKind(Setup& setup, const DoctorReport& report);

/// Before the driver connects, which may take long.
void ReportServer(Setup& setup, const DoctorReport& report);

/// The commands that make the driver's shims, and what to do with them.
void AdviseShims(const Setup& setup, const DoctorReport& report);

/// A kind in a word and in a line.
struct KindText {
    std::string verdict;
    std::string what;
};
KindText TextOf(const DriverKind& kind);
