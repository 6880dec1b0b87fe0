#include "doctor/driver_manager.h"

#include <cstdint>

#include "client/Gateway.h"
#include "drivers/Profiles.h"
#include "drivers/child_process.h"
#include "drivers/driver_kind.h"

namespace {

constexpr int kSeconds = 10;
constexpr std::int32_t kFirst = 2;  // SQL_FETCH_FIRST

void Use(const std::string& library, const Say& say)
{
    try {
        const Gateway gateway(library);
        say(LoadedDriverManager().Text());
        gateway.Call("DataSources", {kFirst});
        const auto sources = Profiles().Sections(Profiles::kSources);
    } catch (const LoadError&) {
        // Whoever loads it next says so.
    }
}

}  // namespace

std::optional<ManagerFailure> FailureOfDriverManager(const std::string& library)
{
    const Apart apart = RunApart(kSeconds, [&](const Say& say) { Use(library, say); });
    switch (apart.end) {
        case Apart::kCrashed:
            return ManagerFailure{apart.said, "crashed", "crashes: " + apart.reason};
        case Apart::kOutOfTime:
            return ManagerFailure{apart.said, "silent", "does not come back"};
        case Apart::kDone:
            break;
    }
    return std::nullopt;
}
