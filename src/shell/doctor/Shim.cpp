#include "shell/doctor/Shim.h"

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

#include "shell/driver_kind.h"

namespace fs = std::filesystem;

namespace {

constexpr char kShimName[] = "liborvelnarrow.so";
constexpr char kPrefix[] = "narrow-";

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

bool IsInDriverFolder(const fs::path& driver)
{
    return driver.parent_path() == ORVELGW_DRIVER_FOLDER;
}

// Links and copies of the shim have its name inside.
bool IsShim(const fs::path& file)
{
    std::error_code none;
    if (!fs::is_regular_file(file, none)) {
        return false;
    }
    std::ifstream in(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    return bytes.find(kShimName) != std::string::npos;
}

// What a handler of signals can reach: the folder, the link to the shim and that to the driver.
struct TrialFiles {
    char folder[PATH_MAX];
    char link[PATH_MAX];
    char driver[PATH_MAX];
};
TrialFiles trial_files;

void RemoveTrialFiles()
{
    ::unlink(trial_files.link);
    ::unlink(trial_files.driver);
    ::rmdir(trial_files.folder);
}

// The signal comes with its usual action as the handler returns.
void RemoveAndEnd(int signal)
{
    RemoveTrialFiles();
    ::raise(signal);
}

// What a program is to ignore, it ignores on.
void HandleEndingSignals()
{
    for (const int signal : kEndingSignals) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_DFL) {
            action.sa_handler = &RemoveAndEnd;
            action.sa_flags = static_cast<int>(SA_RESETHAND);
            ::sigaction(signal, &action, nullptr);
        }
    }
}

void LeaveEndingSignals()
{
    for (const int signal : kEndingSignals) {
        struct sigaction action {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == &RemoveAndEnd) {
            std::signal(signal, SIG_DFL);
        }
    }
}

bool Keep(const fs::path& path, char (&kept)[PATH_MAX])
{
    const std::string& text = path.native();
    const bool fits = text.size() < PATH_MAX;
    kept[fits ? text.copy(kept, text.size()) : 0] = '\0';
    return fits;
}

}  // namespace

Shim::Shim(const fs::path& library, const fs::path& driver)
    : shim_(library.parent_path() / kShimName),
      link_((IsInDriverFolder(driver) ? library : driver).parent_path() /
            (kPrefix + driver.filename().string()))
{}

bool Shim::IsBuilt() const
{
    std::error_code none;
    return fs::exists(shim_, none);
}

bool Shim::IsLinked() const
{
    std::error_code none;
    return fs::equivalent(shim_, link_, none);
}

std::optional<fs::path> Shim::DriverBehind(const fs::path& driver)
{
    const std::string name = driver.filename();
    if (!name.starts_with(kPrefix) || !IsShim(driver)) {
        return std::nullopt;
    }
    const std::string real = name.substr(sizeof kPrefix - 1);
    std::error_code none;
    const fs::path beside = driver.parent_path() / real;
    return fs::exists(beside, none) ? beside : fs::path(ORVELGW_DRIVER_FOLDER) / real;
}

bool Shim::IsNameless(const fs::path& driver)
{
    return !driver.filename().string().starts_with(kPrefix) && IsShim(driver);
}

TrialLink::TrialLink(const Shim& shim, const fs::path& driver)
{
    HandleEndingSignals();
    trial_files = {};
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    if (error || !Keep(parent / "orvelgw-XXXXXX", trial_files.folder) ||
        ::mkdtemp(trial_files.folder) == nullptr) {
        trial_files = {};
        return;
    }
    const fs::path folder = trial_files.folder;
    link_ = folder / (kPrefix + driver.filename().string());
    if (Keep(link_, trial_files.link) && Keep(folder / driver.filename(), trial_files.driver)) {
        fs::create_symlink(Resolved(shim.File()), trial_files.link, error);
        fs::create_symlink(fs::absolute(driver, error), trial_files.driver, error);
    }
}

TrialLink::~TrialLink()
{
    RemoveTrialFiles();
    LeaveEndingSignals();
}
