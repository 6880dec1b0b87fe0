#include "doctor/Doctor.h"

#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "client/Gateway.h"
#include "client/Session.h"
#include "doctor/DoctorReport.h"
#include "doctor/TrialLink.h"
#include "doctor/cause.h"
#include "doctor/environment.h"
#include "doctor/round_trips.h"
#include "doctor/setup.h"

namespace {

void ReportConnection(const char* subject, const ModeTrial& trial, const DoctorReport& report)
{
    if (trial.is_connected) {
        report.Line(subject, "ok", trial.product);
    } else {
        report.Line(subject, trial.refusal, trial.diagnostics);
    }
}

void ReportCause(const char* subject, const Cause& cause, const DoctorReport& report)
{
    report.Line(subject, cause.word, cause.what);
    for (const std::string& advice : cause.advice) {
        report.Advise(advice);
    }
}

// Why a driver that can be used did not connect.
Cause CauseBeyondDriver(const Setup& setup, const ModeTrial& trial)
{
    if (setup.server) {
        const bool timed_out = trial.refusal == ModeTrial::kTimedOut;
        if (auto cause = CauseInNetwork(*setup.server, setup.probe, timed_out)) {
            return *cause;
        }
    }
    if (trial.refusal != ModeTrial::kRefused) {
        return {trial.refusal, trial.diagnostics.front(), {}};
    }
    return CauseInDatabaseFile(setup.source).value_or(CauseInDiagnostics(trial.diagnostics));
}

// The narrow functions of a driver, tried without making a shim for good. Nothing where that can't
// be done.
std::optional<ModeTrial> TryThroughShim(const Gateway& gateway,
                                        const std::filesystem::path& library,
                                        const DataSource& source)
{
    const auto shim = library.parent_path() / FaceOf("narrow").library;
    std::error_code none;
    if (!std::filesystem::exists(shim, none)) {
        return std::nullopt;
    }
    const TrialLink link(shim, source.DriverFile());
    const std::string through = source.Through(link.File());
    if (link.File().empty() || through.size() > Session::kLongestConnectionString) {
        return std::nullopt;
    }
    return TryMode(gateway, kModes[0].options, through);
}

// The wrong width hides the next cause, if there is one.
void ReportWrongWidth(const Gateway& gateway, const std::string& library, const Setup& setup,
                      const DoctorReport& report)
{
    const auto shimmed = TryThroughShim(gateway, library, setup.source);
    if (shimmed) {
        ReportConnection("with the shim", *shimmed, report);
    }
    ReportCause("cause",
                {"wrong width",
                 "the driver's wide functions expect 2-byte characters and get 4-byte ones",
                 {}},
                report);
    AdviseShims(setup, report);
    if (shimmed && !shimmed->is_connected) {
        ReportCause("  after that", CauseBeyondDriver(setup, *shimmed), report);
    }
}

std::optional<Cause> CauseInSetup(const Setup& setup)
{
    if (auto cause = CauseInFiles(setup.source, setup.kind, setup.profiles)) {
        return cause;
    }
    if (setup.kind_of_shimmed && !setup.kind_of_shimmed->IsDriver()) {
        const auto [verdict, what] = TextOf(*setup.kind_of_shimmed);
        return Cause{verdict,
                     "behind the shim: " + what,
                     {"install the driver's package, or correct the shim's name"}};
    }
    return std::nullopt;
}

std::vector<ModeTrial> TryOtherModes(const Gateway& gateway, const Setup& setup, ModeTrial first)
{
    std::vector<ModeTrial> trials;
    trials.push_back(std::move(first));
    for (std::size_t mode = 1; mode < std::size(kModes); ++mode) {
        trials.push_back(TryMode(gateway, kModes[mode].options, setup.text));
    }
    return trials;
}

Diagnosis DiagnoseConnection(const Gateway& gateway, const std::string& library, const Setup& setup,
                             const DoctorReport& report)
{
    ModeTrial trial = TryMode(gateway, kModes[0].options, setup.text);
    ReportConnection("connection", trial, report);
    if (trial.is_connected) {
        if (setup.kind.HasWrongWidth()) {
            AdviseShims(setup, report);
        }
        const auto trials = TryOtherModes(gateway, setup, std::move(trial));
        return ReportRoundTrips(trials, report) ? Diagnosis::kAllRight : Diagnosis::kTextWrong;
    }
    if (const auto cause = CauseInSetup(setup)) {
        ReportCause("cause", *cause, report);
    } else if (setup.kind.HasWrongWidth()) {
        ReportWrongWidth(gateway, library, setup, report);
    } else {
        ReportCause("cause", CauseBeyondDriver(setup, trial), report);
    }
    return Diagnosis::kConnectionFailed;
}

Diagnosis DiagnoseSource(const Gateway& gateway, const std::string& library,
                         const std::string& data_source, const DoctorReport& report)
{
    Setup setup(data_source);
    ReportSource(setup, report);
    ReportDriver(setup, report);
    if (setup.source.Fault() == SourceFault::kNone) {
        ReportKind(setup, report);
        ReportServer(setup, report);
    }
    if (setup.kind.form == DriverKind::kDriverManager) {
        ReportCause("cause", CauseInSetup(setup).value(), report);
        return Diagnosis::kConnectionFailed;
    }
    return DiagnoseConnection(gateway, library, setup, report);
}

}  // namespace

Diagnosis Diagnose(const std::string& library, const std::string& data_source, std::FILE* out)
{
    const DoctorReport report(out);
    if (!SurvivesDriverManager(library, report)) {
        return Diagnosis::kConnectionFailed;
    }
    std::optional<Gateway> gateway;
    try {
        gateway.emplace(library);
    } catch (const LoadError& error) {
        ReportUnusableLibrary(library, error.what(), report);
        return Diagnosis::kGatewayUnusable;
    }
    const std::string file = ReportLibrary(*gateway, report);
    ReportLocale(report);
    return DiagnoseSource(*gateway, file, data_source, report);
}
