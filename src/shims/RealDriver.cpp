#include "shims/RealDriver.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "shims/self.h"

namespace {

// Keeps the driver's calls of ODBC functions inside it, although a program or a driver manager has
// functions of the same names. AddressSanitizer rejects the flag.
#ifdef __SANITIZE_ADDRESS__
constexpr int kLoadFlags = RTLD_NOW | RTLD_LOCAL;
#else
constexpr int kLoadFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

// Whether both addresses are in one file, as opposed to a library that it depends on.
bool HasOneFile(const void* first, const void* second)
{
    Dl_info one{};
    Dl_info other{};
    return dladdr(first, &one) != 0 && dladdr(second, &other) != 0 &&
           one.dli_fbase == other.dli_fbase;
}

std::filesystem::path OwnFile()
{
    Dl_info info{};
    const auto* here = reinterpret_cast<const void*>(&OwnFile);
    return dladdr(here, &info) != 0 ? info.dli_fname : "";
}

}  // namespace

const RealDriver& RealDriver::Instance()
{
    static const RealDriver driver;
    return driver;
}

RealDriver::RealDriver()
{
    const auto shim = OwnFile();
    const std::string file = shim.filename();
    for (const std::string_view prefix : Prefixes()) {
        if (file.starts_with(prefix) && file.size() > prefix.size()) {
            prefix_ = prefix;
            name_ = file.substr(prefix.size());
        }
    }
    if (name_.empty()) {
        failure_ = shim.string() + ": a driver is named by a link to it, such as " +
                   std::string(Prefixes().front()) + "libmaodbc.so";
        return;
    }
    Try(shim.parent_path() / name_, shim);
    if (!IsLoaded()) {
        Try(std::filesystem::path(ORVELGW_DRIVER_FOLDER) / name_, shim);
    }
}

void RealDriver::Try(const std::string& file, const std::string& shim)
{
    std::error_code none;
    std::string reason;
    if (std::filesystem::equivalent(file, shim, none)) {
        reason = file + ": this is the shim itself";
    } else {
        library_.reset(dlopen(file.c_str(), kLoadFlags));
        reason = IsLoaded() ? file + ": no ODBC driver, as it has no SQLConnect" : dlerror();
        if (IsLoaded() && Find("SQLConnect") == nullptr) {
            library_.reset();
        } else if (IsLoaded() && HasOneFile(Find("SQLConnect"), Find("iodbc_version"))) {
            library_.reset();
            reason = file + ": this is a driver manager, which would load the shim again";
        }
    }
    failure_ += (failure_.empty() ? "" : "; ") + reason;
}

void* RealDriver::Find(const char* function) const
{
    return IsLoaded() ? dlsym(library_.get(), function) : nullptr;
}

void RealDriver::Unload::operator()(void* library) const
{
    dlclose(library);
}
