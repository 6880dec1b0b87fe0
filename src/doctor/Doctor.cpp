#include "doctor/Doctor.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "client/Session.h"
#include "client/utf8_locale.h"
#include "client/version.h"
#include "doctor/TrialLink.h"
#include "doctor/driver_manager.h"

namespace {

std::string FileOf(const void* address)
{
    Dl_info info{};
    return dladdr(address, &info) != 0 ? Resolved(info.dli_fname) : "";
}

// Some drivers read data sources by the functions of another maker.
bool MayBeReadElsewhere(const std::string& file)
{
    const char* named = std::getenv("ODBCINI");
    return named != nullptr && file == named && ::access(named, W_OK) != 0;
}

bool IsUsable(const DriverKind& kind)
{
    return kind.form == DriverKind::kNarrow || kind.form == DriverKind::kWide;
}

/// A kind in a word and in a line.
struct KindWords {
    std::string verdict;
    std::string text;
};

KindWords WordsOf(const DriverKind& kind)
{
    switch (kind.form) {
        case DriverKind::kUnloadable:
            return {"unloadable", kind.reason};
        case DriverKind::kNoDriver:
            return {"no driver", "no ODBC functions"};
        case DriverKind::kDriverManager:
            return {"no driver", "a driver manager, which would load itself for ever"};
        case DriverKind::kNarrow:
            return {"right", "narrow functions only; the driver manager converts wide text"};
        case DriverKind::kWide:
            break;
    }
    if (kind.character_width == 0) {
        return {"unknown", "wide functions, of characters that it doesn't tell the width of"};
    }
    return {kind.character_width == 4 ? "right" : "misused",
            fmt::format("wide functions, of {}-byte characters", kind.character_width)};
}

}  // namespace

Diagnosis Diagnose(const std::string& library, const std::string& data_source, std::FILE* out)
{
    if (const auto failure = FailureOfDriverManager(library)) {
        const DoctorReport report(out);
        report.Line("driver manager", failure->word, failure->manager);
        report.Line("cause", failure->word, "the driver manager itself " + failure->how);
        report.Advise("use another version of it; docs/drivers.md names one that crashes, and why");
        return Diagnosis::kConnectionFailed;
    }
    return Doctor(library, data_source, out).Run();
}

Doctor::Doctor(std::string library, const std::string& data_source, std::FILE* out)
    : library_(std::move(library)),
      text_(data_source),
      string_(data_source),
      source_(string_, profiles_),
      report_(out)
{}

Diagnosis Doctor::Run()
{
    try {
        ReportLibrary();
    } catch (const LoadError& error) {
        report_.Line("library", "unusable", error.what());
        for (const std::string& advice : AdviceOnLoading(library_, error.what())) {
            report_.Advise(advice);
        }
        report_.Advise("--library names another");
        return Diagnosis::kGatewayUnusable;
    }
    ReportLocale();
    ReportSource();
    ReportDriver();
    if (source_.WhatIsWrong() == DataSource::kNone) {
        kind_ = KindOfDriver(source_.DriverFile());
        ReportKind();
        if (kind_.form == DriverKind::kDriverManager) {
            ReportCauses({});
            return Diagnosis::kConnectionFailed;
        }
        ReportServer();
    }
    ModeTrial trial = TryMode(*gateway_, kModes[0].options, text_);
    ReportConnection("connection", trial);
    if (trial.is_connected) {
        if (IsMisused()) {
            AdviseShims();
        }
        return TryRoundTrips(std::move(trial));
    }
    ReportCauses(trial);
    return Diagnosis::kConnectionFailed;
}

void Doctor::ReportLibrary()
{
    gateway_.emplace(library_);
    library_ = FileOf(reinterpret_cast<const void*>(gateway_->Table()->function));
    report_.Line("library", "right",
                 fmt::format("{}, interface {}, package {}", library_,
                             gateway_->Call("GetGTWVersion").code, kVersion));
    const DriverManager manager = LoadedDriverManager();
    if (manager.file.empty()) {
        report_.Line("driver manager", "missing", "no libiodbc is in the process");
    } else {
        report_.Line("driver manager", manager.version.empty() ? "unknown" : "right",
                     manager.Text());
    }
}

void Doctor::ReportLocale() const
{
    report_.Line("LC_CTYPE", "right", std::setlocale(LC_CTYPE, nullptr));
    if (const std::string other = EncodingOfEnvironment(); other != "UTF-8") {
        report_.More("the tool's own choice; an engine started in this environment has " + other);
        report_.Advise("start the engine with LC_ALL or LC_CTYPE of a UTF-8 locale, as C.UTF-8");
    }
}

void Doctor::ReportSource() const
{
    report_.Line("data source",
                 source_.Steps().empty() && source_.DriverFile().empty() ? "unknown" : "found",
                 string_.Masked());
    if (!profiles_.IsThere()) {
        report_.More("odbc.ini and odbcinst.ini are not read: libiodbcinst.so.2 can't be loaded");
    }
    for (const std::string& step : source_.Steps()) {
        report_.More(step);
    }
    if (!source_.Steps().empty() && MayBeReadElsewhere(source_.SectionFile())) {
        report_.Advise(
            "this user can't write ODBCINI, so that some drivers read /etc/odbc.ini instead: put "
            "the keys into the string");
    }
}

void Doctor::ReportDriver()
{
    const auto fault = source_.WhatIsWrong();
    if (source_.DriverFile().empty()) {
        report_.Line("driver", "unknown",
                     fault == DataSource::kUnread ? "the configuration tells" : "none is named");
        return;
    }
    report_.Line("driver",
                 fault == DataSource::kNone            ? "found"
                 : fault == DataSource::kUnreachedFile ? "unreached"
                                                       : "missing",
                 source_.DriverFile());
    if (fault != DataSource::kNone) {
        return;
    }
    if (const auto shim = AsShim(source_.DriverFile())) {
        shim_.emplace(*shim);
        behind_ = KindOfDriver(shim->driver);
        const auto [verdict, text] = WordsOf(*behind_);
        report_.More(fmt::format("the shim {}, for {}", shim->face.name, shim->face.modes));
        report_.Line("behind the shim", IsUsable(*behind_) ? "found" : verdict,
                     shim->driver.string());
        report_.More(text);
    }
}

void Doctor::ReportKind() const
{
    const auto [verdict, text] = WordsOf(kind_);
    report_.Line("kind", verdict, text);
    if (IsMisused()) {
        report_.More("this driver manager takes them for 4-byte ones; the cure is a shim");
    } else if (kind_.form == DriverKind::kWide && kind_.character_width == 0) {
        report_.Advise(
            "the driver manager takes them for 4-byte characters; garbled diagnostics "
            "mean 2-byte ones, for which there are shims");
        AdviseShims();
    } else if (kind_.form == DriverKind::kNarrow) {
        AdviseShim("utf16");
    }
}

// Before the driver connects, which may take long.
void Doctor::ReportServer()
{
    server_ = ServerOf(source_);
    if (server_ && IsUsable(kind_)) {
        reach_ = TryToReach(*server_);
        const bool is_reached = reach_.outcome == Reach::kListens;
        report_.Line("server", is_reached ? "right" : "unreached",
                     server_->Text() + ": " + (is_reached ? "somebody listens" : reach_.reason));
    }
}

void Doctor::AdviseShims() const
{
    for (const ShimFace& face : kShimFaces) {
        AdviseShim(face.name);
    }
    report_.Advise(string_.Has("DRIVER")
                       ? std::string("then take the DRIVER= that it prints")
                       : fmt::format("then write what it prints behind DRIVER= as Driver = in [{}] "
                                     "of {}",
                                     source_.Section(), source_.SectionFile()));
}

// A driver that is behind a shim already may have another one.
void Doctor::AdviseShim(const char* face) const
{
    report_.Advise(fmt::format("for {}: orvelgw shim {} {}", FaceOf(face).modes, face,
                               shim_ ? shim_->driver.string() : source_.DriverFile()));
}

void Doctor::ReportConnection(const char* subject, const ModeTrial& trial) const
{
    if (trial.is_connected) {
        report_.Line(subject, "right", trial.product);
    } else {
        report_.Line(subject, trial.refusal, trial.diagnostics);
    }
}

void Doctor::ReportCause(const char* subject, const Cause& cause) const
{
    report_.Line(subject, cause.word, cause.what);
    for (const std::string& advice : cause.advice) {
        report_.Advise(advice);
    }
}

std::optional<ModeTrial> Doctor::TryShim() const
{
    const std::filesystem::path shim =
        std::filesystem::path(library_).parent_path() / FaceOf("narrow").library;
    std::error_code none;
    if (!std::filesystem::exists(shim, none)) {
        return std::nullopt;
    }
    const TrialLink link(shim, source_.DriverFile());
    const std::string through = source_.Through(link.File());
    if (link.File().empty() || through.size() > Session::kLongestConnectionString) {
        return std::nullopt;
    }
    return TryMode(*gateway_, kModes[0].options, through);
}

// The cause that shows first, and behind a misused driver the next one.
void Doctor::ReportCauses(const ModeTrial& trial) const
{
    if (const auto cause = CauseInFiles(source_, kind_, profiles_)) {
        ReportCause("cause", *cause);
    } else if (behind_ && !IsUsable(*behind_)) {
        const auto [verdict, text] = WordsOf(*behind_);
        ReportCause("cause", {verdict,
                              "behind the shim: " + text,
                              {"install the driver's package, or correct the shim's name"}});
    } else if (!IsMisused()) {
        ReportCause("cause", CauseBeyondDriver(trial));
    } else {
        ReportMisuse();
    }
}

void Doctor::ReportMisuse() const
{
    const auto shimmed = TryShim();
    if (shimmed) {
        ReportConnection("with the shim", *shimmed);
    }
    ReportCause("cause",
                {"misused", "its wide functions take 2-byte characters, and get 4-byte ones", {}});
    AdviseShims();
    if (shimmed && !shimmed->is_connected) {
        ReportCause("  behind it", CauseBeyondDriver(*shimmed));
    }
}

Cause Doctor::CauseBeyondDriver(const ModeTrial& trial) const
{
    if (server_) {
        if (auto cause = CauseInNetwork(*server_, reach_, trial.refusal == "silent")) {
            return *cause;
        }
    }
    return trial.refusal == "refused" ? CauseInWords(trial.diagnostics)
                                      : Cause{trial.refusal, trial.diagnostics.front(), {}};
}

Diagnosis Doctor::TryRoundTrips(ModeTrial first) const
{
    std::vector<ModeTrial> trials;
    trials.push_back(std::move(first));
    for (std::size_t mode = 1; mode < std::size(kModes); ++mode) {
        trials.push_back(TryMode(*gateway_, kModes[mode].options, text_));
    }
    return ReportRoundTrips(trials, report_) ? Diagnosis::kAllRight : Diagnosis::kTextWrong;
}
