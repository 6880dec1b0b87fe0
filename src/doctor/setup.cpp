#include "doctor/setup.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// Some drivers read data sources with the functions of unixODBC.
bool MayBeReadElsewhere(const std::string& file)
{
    const char* named = std::getenv("ODBCINI");
    return named != nullptr && file == named && ::access(named, W_OK) != 0;
}

const char* VerdictOf(const ConfigurationFile& file)
{
    switch (file.state) {
        case ConfigurationFile::kRead:
            return "read";
        case ConfigurationFile::kMissing:
            return "missing";
        case ConfigurationFile::kUnreadable:
            return "unreadable";
        case ConfigurationFile::kDirectory:
            break;
    }
    return "directory";
}

void ReportFiles(const char* profile, const DoctorReport& report)
{
    const char* subject = profile;
    for (const ConfigurationFile& file : Profiles::Files(profile)) {
        report.Line(subject, VerdictOf(file),
                    file.path + (file.variable.empty() ? "" : ", from " + file.variable) +
                        (file.reason.empty() ? "" : ": " + file.reason));
        subject = "";
    }
}

// A driver behind a shim may get another one.
void AdviseShim(const char* face, const Setup& setup, const DoctorReport& report)
{
    report.Advise(
        fmt::format("for {}: orvelgw shim {} {}", FaceOf(face).modes, face,
                    setup.shim ? setup.shim->driver.string() : setup.source.DriverFile()));
}

const char* VerdictOfDriver(SourceFault fault)
{
    switch (fault) {
        case SourceFault::kNone:
            return "found";
        case SourceFault::kLinkLoop:
        case SourceFault::kUnreachableFile:
            return "unreachable";
        default:
            return "missing";
    }
}

}  // namespace

KindText TextOf(const DriverKind& kind)
{
    switch (kind.form) {
        case DriverKind::kUnloadable:
        case DriverKind::kFailsWhileLoading:
            return {"unloadable", kind.reason};
        case DriverKind::kNotADriver:
            return {"not a driver", "no ODBC functions"};
        case DriverKind::kDriverManager:
            return {"not a driver", "a driver manager, which would load itself without end"};
        case DriverKind::kNarrow:
            return {"ok", "narrow functions only; the driver manager converts wide text"};
        case DriverKind::kWide:
            break;
    }
    if (kind.character_width == 0) {
        return {"unknown", "wide functions, with characters of unknown width"};
    }
    return {kind.HasWrongWidth() ? "wrong width" : "ok",
            fmt::format("wide functions, with {}-byte characters", kind.character_width)};
}

void ReportSource(const Setup& setup, const DoctorReport& report)
{
    const DataSource& source = setup.source;
    const bool is_unknown = source.Steps().empty() && source.DriverFile().empty();
    report.Line("data source", is_unknown ? "unknown" : "found", setup.string.Masked());
    for (const std::string& step : source.Steps()) {
        report.More(step);
    }
    if (!source.Steps().empty() && MayBeReadElsewhere(source.SectionFile())) {
        report.Advise(
            "this user can't write the file in ODBCINI, and some drivers then read /etc/odbc.ini "
            "instead: put the keys in the connection string");
    }
    if (!setup.profiles.IsAvailable()) {
        report.Line("odbc.ini", "unreadable", "libiodbcinst.so.2 can't be loaded");
        return;
    }
    ReportFiles(Profiles::kSources, report);
    ReportFiles(Profiles::kDrivers, report);
}

void ReportDriver(Setup& setup, const DoctorReport& report)
{
    const DataSource& source = setup.source;
    if (source.DriverFile().empty()) {
        report.Line("driver", "unknown", "no driver is named");
        return;
    }
    report.Line("driver", VerdictOfDriver(source.Fault()), source.DriverFile());
    setup.shim = AsShim(source.DriverFile());
    if (setup.shim) {
        setup.kind_of_shimmed = KindOfDriver(setup.shim->driver);
        const auto [verdict, what] = TextOf(*setup.kind_of_shimmed);
        report.More(
            fmt::format("the shim {}, for {}", setup.shim->face->name, setup.shim->face->modes));
        report.Line("behind the shim", setup.kind_of_shimmed->IsDriver() ? "found" : verdict,
                    setup.shim->driver.string());
        report.More(what);
    }
}

void ReportKind(Setup& setup, const DoctorReport& report)
{
    setup.kind = KindOfDriver(setup.source.DriverFile());
    const auto [verdict, what] = TextOf(setup.kind);
    report.Line("kind", verdict, what);
    if (setup.kind.HasWrongWidth()) {
        report.More("the driver manager takes them for 4-byte characters; a shim solves that");
    } else if (setup.kind.form == DriverKind::kWide && setup.kind.character_width == 0) {
        report.Advise(
            "the driver manager takes them for 4-byte characters; if diagnostics are garbled they "
            "have 2 bytes, and a shim solves that");
        AdviseShims(setup, report);
    } else if (setup.kind.form == DriverKind::kNarrow) {
        AdviseShim("utf16", setup, report);
    }
}

void ReportServer(Setup& setup, const DoctorReport& report)
{
    setup.server = ServerOf(setup.source);
    if (setup.server && setup.kind.IsDriver()) {
        setup.probe = ProbeServer(*setup.server);
        const bool is_listening = setup.probe.outcome == ServerProbe::kListening;
        report.Line(
            "server", is_listening ? "ok" : "unreachable",
            setup.server->Text() + ": " + (is_listening ? "listening" : setup.probe.reason));
    }
}

void AdviseShims(const Setup& setup, const DoctorReport& report)
{
    for (const ShimFace& face : kShimFaces) {
        AdviseShim(face.name, setup, report);
    }
    report.Advise(setup.string.Has("DRIVER")
                      ? std::string("then use the DRIVER= that it prints")
                      : fmt::format("then set Driver in [{}] of {} to the file that it prints",
                                    setup.source.Section(), setup.source.SectionFile()));
}
