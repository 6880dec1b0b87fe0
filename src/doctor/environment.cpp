#include "doctor/environment.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <chrono>
#include <clocale>
#include <cstdint>

#include "client/utf8_locale.h"
#include "client/version.h"
#include "doctor/cause.h"
#include "drivers/Profiles.h"
#include "drivers/child_process.h"
#include "drivers/driver_kind.h"

namespace {

constexpr std::chrono::seconds kManagerLimit{10};
constexpr std::int32_t kFirst = 2;  // SQL_FETCH_FIRST

void UseDriverManager(const std::string& library, const Send& send)
{
    try {
        const Gateway gateway(library);
        send(LoadedDriverManager().Text());
        gateway.Call("DataSources", {kFirst});
        const auto sources = Profiles().Sections(Profiles::kSources);
    } catch (const LoadError&) {
        // The next one to load it reports that.
    }
}

std::string FileOf(const void* address)
{
    Dl_info info{};
    return dladdr(address, &info) != 0 ? Resolved(info.dli_fname) : "";
}

}  // namespace

bool SurvivesDriverManager(const std::string& library, const DoctorReport& report)
{
    const ChildResult child =
        RunInChild(kManagerLimit, [&](const Send& send) { UseDriverManager(library, send); });
    if (child.end == ChildResult::kFinished) {
        return true;
    }
    const bool timed_out = child.end == ChildResult::kTimedOut;
    const char* word = timed_out ? "timed out" : "crashed";
    report.Line("driver manager", word, child.output);
    report.Line("cause", word,
                "the driver manager itself " +
                    (timed_out ? "does not return" : "crashes: " + child.reason));
    report.Advise("use another version of it; docs/drivers.md names one that crashes, and why");
    return false;
}

std::string ReportLibrary(const Gateway& gateway, const DoctorReport& report)
{
    std::string file = FileOf(reinterpret_cast<const void*>(gateway.Table()->function));
    report.Line("library", "ok",
                fmt::format("{}, interface {}, package {}", file,
                            gateway.Call("GetGTWVersion").code, kVersion));
    const DriverManager manager = LoadedDriverManager();
    if (manager.file.empty()) {
        report.Line("driver manager", "missing", "the process has no libiodbc");
    } else {
        report.Line("driver manager", manager.version.empty() ? "unknown" : "ok", manager.Text());
    }
    return file;
}

void ReportUnusableLibrary(const std::string& library, const std::string& reason,
                           const DoctorReport& report)
{
    report.Line("library", "unusable", reason);
    if (library.find('/') != std::string::npos) {
        const Cause cause = CauseInObject(library, reason);
        if (cause.what != reason) {
            report.More(cause.what);
        }
        for (const std::string& advice : cause.advice) {
            report.Advise(advice);
        }
    }
    report.Advise("--library names another");
}

void ReportLocale(const DoctorReport& report)
{
    report.Line("LC_CTYPE", "ok", std::setlocale(LC_CTYPE, nullptr));
    if (const std::string other = EncodingOfEnvironment(); other != "UTF-8") {
        report.More("the tool's own choice; an engine started in this environment has " + other);
        report.Advise("start the engine with LC_ALL or LC_CTYPE set to a UTF-8 locale, as C.UTF-8");
    }
}
