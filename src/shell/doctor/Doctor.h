// A diagnosis of a data source.
#pragma once

#include <optional>
#include <string>

#include "shell/CommandLine.h"
#include "shell/Gateway.h"
#include "shell/doctor/ConnectionString.h"
#include "shell/doctor/DataSource.h"
#include "shell/doctor/DoctorReport.h"
#include "shell/doctor/Profiles.h"
#include "shell/doctor/cause.h"
#include "shell/doctor/round_trips.h"
#include "shell/doctor/server.h"
#include "shell/driver_kind.h"
#include "shell/shims.h"

/// Reports what there is between this machine and a data source, whether or not it can be reached:
/// library, driver manager, driver and its kind, connection, and what comes back of round trips.
/// Whatever a driver does, it does in a process of its own.
class Doctor {
public:
    /// library: the gateway's file; data_source: a connection string or the name of a data source.
    Doctor(std::string library, const std::string& data_source, std::FILE* out);

    /// Done: all text comes back right in one mode at least.
    ExitCode Run();

private:
    void ReportLibrary();
    void ReportLocale() const;
    void ReportSource() const;
    void ReportDriver();
    void ReportKind() const;
    void ReportServer();
    bool IsMisused() const { return kind_.form == DriverKind::kWide && kind_.character_width == 2; }
    void AdviseShims() const;
    void AdviseShim(const char* face) const;
    void ReportConnection(const char* subject, const ModeTrial& trial) const;
    void ReportCause(const char* subject, const Cause& cause) const;
    void ReportCauses(const ModeTrial& trial) const;
    Cause CauseBeyondDriver(const ModeTrial& trial) const;
    void ReportMisuse() const;
    std::optional<ModeTrial> TryShim() const;
    ExitCode TryRoundTrips(ModeTrial first) const;

    std::string library_;
    std::string text_;
    ConnectionString string_;
    Profiles profiles_;
    DataSource source_;
    DriverKind kind_;
    std::optional<ShimFile> shim_;      // where the driver is a shim
    std::optional<DriverKind> behind_;  // the kind of the driver behind it
    std::optional<Server> server_;      // where one is named
    Reach reach_;
    DoctorReport report_;
    std::optional<Gateway> gateway_;
};

/// The doctor's whole report. library: the gateway's file; data_source: a connection string or the
/// name of a data source. Comes to the doctor only where the driver manager survives being used.
ExitCode Diagnose(const std::string& library, const std::string& data_source, std::FILE* out);
