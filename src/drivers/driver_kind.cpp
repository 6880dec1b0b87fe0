#include "drivers/driver_kind.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

#include "client/loaded_objects.h"
#include "drivers/child_process.h"

namespace {

// The driver's own calls of ODBC functions have to reach the driver, although the driver manager
// that came with the gateway exports functions of the same names. AddressSanitizer refuses the
// flag.
#ifdef __SANITIZE_ADDRESS__
constexpr int kLoadFlags = RTLD_LAZY | RTLD_LOCAL;
#else
constexpr int kLoadFlags = RTLD_LAZY | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

constexpr std::chrono::seconds kLoadLimit{10};

using Library = std::unique_ptr<void, int (*)(void*)>;

// iODBC exports the version that its own trace begins with.
constexpr char kVersionText[] = "iodbc_version";

std::string VersionOf(const std::string& driver_manager)
{
    const Library loaded(dlopen(driver_manager.c_str(), RTLD_LAZY | RTLD_NOLOAD), &dlclose);
    const void* const version = loaded != nullptr ? dlsym(loaded.get(), kVersionText) : nullptr;
    return version != nullptr ? *static_cast<const char* const*>(version) : "";
}

template <class Function>
Function Find(void* driver, const char* name)
{
    return reinterpret_cast<Function>(dlsym(driver, name));
}

using AllocHandle = std::int16_t (*)(std::int16_t type, void* input, void** output);
using SetEnvAttr = std::int16_t (*)(void* env, std::int32_t what, void* value, std::int32_t size);
using GetInfoW = std::int16_t (*)(void* connection, std::uint16_t what, void* value,
                                  std::int16_t capacity, std::int16_t* size);
using GetConnectAttrW = std::int16_t (*)(void* connection, std::int32_t what, void* value,
                                         std::int32_t capacity, std::int32_t* size);
using GetDiagRecW = std::int16_t (*)(std::int16_t type, void* handle, std::int16_t number,
                                     void* state, std::int32_t* native, void* message,
                                     std::int16_t capacity, std::int16_t* size);

constexpr std::int16_t kEnvironment = 1;    // SQL_HANDLE_ENV
constexpr std::int16_t kConnection = 2;     // SQL_HANDLE_DBC
constexpr std::int32_t kOdbcVersion = 200;  // SQL_ATTR_ODBC_VERSION
constexpr std::uintptr_t kVersion3 = 3;     // SQL_OV_ODBC3
constexpr std::uint16_t kNoSuchInfo = 32767;
constexpr std::int32_t kNoSuchAttribute = 32767;

// An unconnected connection of the driver itself, or null.
void* NewConnection(void* driver)
{
    const auto allocate = Find<AllocHandle>(driver, "SQLAllocHandle");
    const auto set = Find<SetEnvAttr>(driver, "SQLSetEnvAttr");
    void* environment = nullptr;
    void* connection = nullptr;
    if (allocate != nullptr && allocate(kEnvironment, nullptr, &environment) == 0) {
        if (set != nullptr) {
            set(environment, kOdbcVersion, reinterpret_cast<void*>(kVersion3), 0);
        }
        allocate(kConnection, environment, &connection);
    }
    return connection;
}

// The distance between the first characters of the connection's SQLSTATE; 0 if there is none.
int DiagnosedWidth(void* driver, void* connection)
{
    constexpr std::int16_t kMessageCharacters = 512;
    std::array<char, 256> state{};
    std::array<char, std::size_t{kMessageCharacters} * 8> message{};
    std::int32_t native = 0;
    std::int16_t size = 0;
    const auto diagnose = Find<GetDiagRecW>(driver, "SQLGetDiagRecW");
    if (diagnose != nullptr) {
        diagnose(kConnection, connection, 1, state.data(), &native, message.data(),
                 kMessageCharacters, &size);
    }
    if (state[0] == '\0' || state[1] != '\0') {
        return 0;
    }
    return state[2] != '\0' ? 2 : (state[3] == '\0' && state[4] != '\0' ? 4 : 0);
}

// Asks an unconnected driver for what it lacks, so that it has an error to report. A driver may
// count the buffer in its own characters.
int MeasuredWidth(void* driver)
{
    constexpr int kCharacters = 256;
    std::array<char, std::size_t{kCharacters} * 4> value{};
    void* connection = NewConnection(driver);
    if (connection == nullptr) {
        return 0;
    }
    if (const auto info = Find<GetInfoW>(driver, "SQLGetInfoW"); info != nullptr) {
        std::int16_t size = 0;
        info(connection, kNoSuchInfo, value.data(), kCharacters, &size);
    }
    const int width = DiagnosedWidth(driver, connection);
    const auto attribute = Find<GetConnectAttrW>(driver, "SQLGetConnectAttrW");
    if (width != 0 || attribute == nullptr) {
        return width;
    }
    std::int32_t size = 0;
    attribute(connection, kNoSuchAttribute, value.data(), kCharacters, &size);
    return DiagnosedWidth(driver, connection);
}

// What the child process sends: a letter, and what follows it.
constexpr char kUnloadable = 'U';  // the loader's reason
constexpr char kNotADriver = 'D';
constexpr char kDriverManager = 'M';
constexpr char kNarrow = 'N';
constexpr char kWide = 'W';  // the width, once it is measured

void Examine(const std::string& file, const Send& send)
{
    void* driver = dlopen(file.c_str(), kLoadFlags);
    if (driver == nullptr) {
        send(kUnloadable + std::string(dlerror()));
    } else if (!Defines(driver, "SQLConnect") && !Defines(driver, "SQLConnectW")) {
        send({&kNotADriver, 1});
    } else if (Defines(driver, kVersionText)) {
        send({&kDriverManager, 1});
    } else if (!Defines(driver, "SQLConnectW")) {
        send({&kNarrow, 1});
    } else {
        send({&kWide, 1});
        send(std::to_string(MeasuredWidth(driver)));
    }
}

DriverKind KindOf(const std::string& output)
{
    const std::string rest = output.substr(1);
    switch (output.front()) {
        case kUnloadable:
            return {DriverKind::kUnloadable, rest};
        case kNotADriver:
            return {DriverKind::kNotADriver, ""};
        case kDriverManager:
            return {DriverKind::kDriverManager, ""};
        case kNarrow:
            return {DriverKind::kNarrow, ""};
        default:
            return {DriverKind::kWide, "", rest == "2" ? 2 : (rest == "4" ? 4 : 0)};
    }
}

}  // namespace

std::string Resolved(const std::string& file)
{
    std::error_code none;
    const auto resolved = std::filesystem::canonical(file, none);
    return none ? file : resolved.string();
}

DriverManager LoadedDriverManager()
{
    const auto objects = LoadedObjects();
    const auto manager = std::ranges::find_if(objects, [](const std::string& object) {
        return object.find("/libiodbc.so") != std::string::npos;
    });
    return manager == objects.end() ? DriverManager{}
                                    : DriverManager{Resolved(*manager), VersionOf(*manager)};
}

DriverKind KindOfDriver(const std::string& file)
{
    const ChildResult child =
        RunInChild(kLoadLimit, [&](const Send& send) { Examine(file, send); });
    if (!child.output.empty()) {
        return KindOf(child.output);
    }
    return {DriverKind::kFailsWhileLoading, child.end == ChildResult::kTimedOut
                                                ? "hangs while it is loaded"
                                                : "crashes while it is loaded: " + child.reason};
}
