#include "circumstances.h"

#include <gnu/libc-version.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <fstream>

#include "Bare.h"

namespace {

std::string Processor()
{
    std::ifstream lines("/proc/cpuinfo");
    std::string line;
    while (std::getline(lines, line)) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

std::string Today()
{
    const std::time_t now = std::time(nullptr);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d", std::gmtime(&now));
    return text.data();
}

std::string Kernel()
{
    utsname names{};
    uname(&names);
    return std::string(names.sysname) + " " + names.release;
}

std::string Information(const BareConnection& connection, SQLUSMALLINT type)
{
    std::array<char, 128> text{};
    SQLGetInfo(connection.Handle(), type, text.data(), text.size() - 1, nullptr);
    return text.data();
}

}  // namespace

std::vector<std::pair<std::string, std::string>> Circumstances(const Source& source,
                                                               const std::string& command)
{
    const BareConnection connection(source, kDefault);
    return {
        {"Date", Today()},
        {"Command", "`" + command + "`"},
        {"Machine", Processor() + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) +
                        " processors, " + Kernel()},
        {"Built by", "GCC " __VERSION__ ", C library " + std::string(gnu_get_libc_version())},
        {"Driver manager", "iODBC " + Information(connection, SQL_DM_VER)},
        {"SQLite", Information(connection, SQL_DBMS_VER) + ", driver " +
                       Information(connection, SQL_DRIVER_VER)},
    };
}
