// A diagnosis of a data source.
#pragma once

#include <optional>
#include <string>

#include "client/Gateway.h"
#include "doctor/DoctorReport.h"
#include "doctor/cause.h"
#include "doctor/round_trips.h"
#include "drivers/ConnectionString.h"
#include "drivers/DataSource.h"
#include "drivers/Profiles.h"
#include "drivers/driver_kind.h"
#include "drivers/server.h"
#include "drivers/shims.h"

/// What a diagnosis comes to.
enum class Diagnosis {
    kAllRight,  // all text comes back right, each kind in one mode at least
    kTextWrong,
    kGatewayUnusable,
    kConnectionFailed
};

/// Reports what there is between this machine and a data source, whether or not it can be reached:
/// library, driver manager, driver and its kind, connection, and what comes back of round trips.
/// Whatever a driver does, it does in a process of its own.
class Doctor {
public:
    /// library: the gateway's file; data_source: a connection string or the name of a data source.
    Doctor(std::string library, const std::string& data_source, std::FILE* out);

    Diagnosis Run();

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
    Diagnosis TryRoundTrips(ModeTrial first) const;

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
Diagnosis Diagnose(const std::string& library, const std::string& data_source, std::FILE* out);
