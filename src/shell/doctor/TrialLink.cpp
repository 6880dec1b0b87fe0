#include "shell/doctor/TrialLink.h"

#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>

#include "shell/driver_kind.h"
#include "shell/shims.h"

namespace fs = std::filesystem;

namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

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

TrialLink::TrialLink(const fs::path& shim, const fs::path& driver)
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
    link_ = folder / (FaceOf("narrow").prefix + driver.filename().string());
    if (Keep(link_, trial_files.link) && Keep(folder / driver.filename(), trial_files.driver)) {
        fs::create_symlink(Resolved(shim), trial_files.link, error);
        fs::create_symlink(fs::absolute(driver, error), trial_files.driver, error);
    }
}

TrialLink::~TrialLink()
{
    RemoveTrialFiles();
    LeaveEndingSignals();
}
