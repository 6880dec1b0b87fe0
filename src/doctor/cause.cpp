#include "doctor/cause.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <span>
#include <system_error>

#include "client/Session.h"
#include "client/ascii.h"
#include "drivers/shared_object.h"
#include "drivers/shims.h"

namespace {

std::string Listed(const char* what, const std::vector<std::string>& names)
{
    return names.empty() ? fmt::format("the configuration has no {}", what)
                         : fmt::format("{} in the configuration: {}", what, fmt::join(names, ", "));
}

bool MentionsAny(const std::string& line, std::span<const char* const> phrases)
{
    return std::ranges::any_of(phrases, [&](const char* phrase) {
        return FindIgnoringCase(line, phrase) != std::string::npos;
    });
}

bool IsAboutUser(const std::string& line)
{
    static constexpr const char* kPhrases[] = {
        "authentication failed",
        "password supplied",
        "no pg_hba.conf entry",
        "access denied",
        "login failed",
        "login incorrect",
        "bad login",
        "invalid user",
    };
    return StateOf(line).starts_with("28") || MentionsAny(line, kPhrases);
}

bool IsAboutDatabaseFile(const std::string& line)
{
    static constexpr const char* kPhrases[] = {"file is not a database",
                                               "file is encrypted or is not a database"};
    return MentionsAny(line, kPhrases);
}

Cause UnknownSource(const DataSource& source, const Profiles& profiles)
{
    const std::string& name = source.Name();
    Cause cause{"unknown",
                "there is no data source called " + name,
                {Listed("data sources", profiles.Sections(Profiles::kSources)),
                 Listed("drivers", profiles.Sections(Profiles::kDrivers))}};
    if (name.empty() || name == "default") {
        cause.what = "the string names neither a driver nor a data source";
    } else if (name.find('=') != std::string::npos) {
        cause.what = "there is no data source with the name after DSN=, which has an equals sign";
        cause.advice.insert(cause.advice.begin(), "separate keys with semicolons");
    }
    return cause;
}

Cause CauseInDriverFile(const DataSource& source)
{
    const std::string& file = source.DriverFile();
    switch (source.Fault()) {
        case SourceFault::kDanglingLink:
            return {"missing",
                    fmt::format("{} is a symbolic link to {}, which does not exist", file,
                                source.Reason()),
                    {"install the driver's package, or correct the link"}};
        case SourceFault::kLinkLoop:
            return {"unreachable",
                    file + " is in a loop of symbolic links",
                    {"name the driver's own file, or correct the links"}};
        case SourceFault::kUnreachableFile:
            return {"unreachable",
                    file + " is unreachable: " + source.Reason(),
                    {"give this user search permission on the directories above it"}};
        default:
            return {"missing",
                    "there is no file " + file,
                    {"install the driver's package, or correct the path"}};
    }
}

Cause CauseInSource(const DataSource& source, const Profiles& profiles)
{
    const std::vector<std::string> begin{"begin with DRIVER= or DSN=, without blanks around ="};
    switch (source.Fault()) {
        case SourceFault::kMalformed:
            return {"malformed",
                    "the string begins with neither DRIVER= nor DSN=, so everything up to the "
                    "first semicolon is taken for the name of a data source",
                    begin};
        case SourceFault::kBlanks:
            return {"malformed", "blanks around a key or a value are part of it", begin};
        case SourceFault::kNoConfiguration:
            return {"unknown",
                    "the configuration can't be read, and the string names no driver file",
                    {"install libiodbc2, or write DRIVER=/path/of/the/driver.so"}};
        case SourceFault::kUnknownSource:
            return UnknownSource(source, profiles);
        case SourceFault::kNoDriver:
            return {"incomplete",
                    fmt::format("data source {} names no driver", source.Name()),
                    {fmt::format("add Driver = ... to [{}] in {}", source.Section(),
                                 source.SectionFile())}};
        case SourceFault::kBraces:
            return {"malformed",
                    "braces around a file name are taken as part of it",
                    {"write DRIVER=" + source.Name()}};
        case SourceFault::kUnknownDriver:
            return {"unknown",
                    fmt::format("there is neither a driver called {} nor a file {}", source.Name(),
                                source.DriverFile()),
                    {Listed("drivers", profiles.Sections(Profiles::kDrivers))}};
        default:
            return CauseInDriverFile(source);
    }
}

}  // namespace

Cause CauseInObject(const std::string& file, const std::string& reason)
{
    const ObjectFault fault = FaultOfSharedObject(file);
    const std::vector<std::string> reinstall{"reinstall the package that it belongs to"};
    switch (fault.kind) {
        case ObjectFault::kDirectory:
            return {"unloadable", file + " is a directory", {"name a file in it"}};
        case ObjectFault::kUnreadable:
            return {"unloadable", reason, {"correct the path, or let this user read the file"}};
        case ObjectFault::kNotElf:
            return {"unloadable", file + " is not a shared object", {"name a shared object"}};
        case ObjectFault::kOtherMachine:
            return {
                "unloadable",
                fmt::format("{} is for {}, this program for {}", file, fault.detail, OwnMachine()),
                {"install the package of this program's architecture"}};
        case ObjectFault::kTruncated:
            return {"unloadable", file + " is truncated", reinstall};
        case ObjectFault::kNone:
            break;
    }
    return {"unloadable", reason, {"ldd -r shows the libraries and symbols that it lacks"}};
}

std::optional<Cause> CauseInFiles(const DataSource& source, const DriverKind& kind,
                                  const Profiles& profiles)
{
    const std::string& file = source.DriverFile();
    if (source.Fault() != SourceFault::kNone) {
        return CauseInSource(source, profiles);
    }
    if (kind.form == DriverKind::kUnloadable) {
        return CauseInObject(file, kind.reason);
    }
    if (kind.form == DriverKind::kFailsWhileLoading) {
        const bool is_sound = !FaultOfSharedObject(file);
        return is_sound ? Cause{"unloadable", file + " " + kind.reason, {}}
                        : CauseInObject(file, kind.reason);
    }
    if (IsShim(file) && !AsShim(file)) {
        return Cause{"not a driver",
                     file + " is the shim, which finds its driver by the name of its own file",
                     {"orvelgw shim makes a copy that is named after a driver"}};
    }
    if (kind.form == DriverKind::kNotADriver) {
        return Cause{"not a driver",
                     file + " is a shared object without ODBC functions",
                     {"name the driver's own file; a setup library (lib...S.so) is not one"}};
    }
    if (kind.form == DriverKind::kDriverManager) {
        return Cause{"not a driver", file + " is a driver manager", {"name the driver's own file"}};
    }
    return std::nullopt;
}

std::optional<Cause> CauseInNetwork(const Server& server, const ServerProbe& probe, bool timed_out)
{
    const std::string correct = "correct the server's name and port in the connection string";
    switch (probe.outcome) {
        case ServerProbe::kListening:
            if (timed_out) {
                return Cause{"no answer",
                             server.Text() + " accepts connections but does not answer the driver",
                             {"it may be another kind of server, or one that hangs: check the port "
                              "and the server's log"}};
            }
            return std::nullopt;
        case ServerProbe::kRefused:
            return Cause{"no server",
                         "nothing is listening on " + server.Text(),
                         {"start the server, or " + correct}};
        case ServerProbe::kNoAnswer:
            return Cause{
                "no answer",
                server.Text() + " does not answer",
                {"check that the machine is up and no firewall is in the way, or " + correct}};
        case ServerProbe::kUnknownHost:
            return Cause{"unknown",
                         fmt::format("there is no host called {} ({})", server.host, probe.reason),
                         {correct}};
        case ServerProbe::kLookupFailed:
            return Cause{"unreachable",
                         fmt::format("{} can't be looked up ({})", server.host, probe.reason),
                         {"check that a name server is reachable, or " + correct}};
        case ServerProbe::kUnreachable:
            return Cause{"unreachable", server.Text() + ": " + probe.reason, {correct}};
    }
    return std::nullopt;
}

std::optional<Cause> CauseInDatabaseFile(const DataSource& source)
{
    static constexpr const char* kDatabase[] = {"Database"};
    const std::filesystem::path file = source.Value(kDatabase, kDatabase);
    const std::string driver = std::filesystem::path(source.DriverFile()).filename();
    if (driver.find("sqlite") == std::string::npos || !file.is_absolute()) {
        return std::nullopt;
    }
    std::error_code none;
    const auto directory = file.parent_path();
    const std::vector<std::string> correct{"correct the path in Database="};
    if (std::filesystem::is_directory(file, none)) {
        return Cause{"no database", file.string() + " is a directory", correct};
    }
    if (!std::filesystem::is_directory(directory, none)) {
        return Cause{"missing", "there is no directory " + directory.string(), correct};
    }
    const bool is_new = !std::filesystem::exists(file, none);
    if (::access(is_new ? directory.c_str() : file.c_str(), is_new ? W_OK : R_OK) != 0) {
        return Cause{
            "unreachable",
            fmt::format("this user may not {} {}", is_new ? "create" : "read", file.string()),
            {"change its permissions, or correct the path in Database="}};
    }
    return std::nullopt;
}

Cause CauseInDiagnostics(const std::vector<std::string>& diagnostics)
{
    if (std::ranges::any_of(diagnostics, &IsAboutDatabaseFile)) {
        return {"no database",
                "the file that the data source names is not a database, or it is encrypted",
                {"name a database file, or a new file, in Database="}};
    }
    if (std::ranges::any_of(diagnostics, &IsAboutUser)) {
        const bool may_be_privileges =
            std::ranges::any_of(diagnostics, [](const std::string& line) {
                return MentionsAny(line, std::initializer_list<const char*>{"to database"});
            });
        return {"refused",
                may_be_privileges
                    ? "the server answers, and refuses the user, the password, or access to the "
                      "database"
                    : "the server answers, and refuses the user or the password",
                {"check UID and PWD, and what the server allows this user from this machine"}};
    }
    return {"refused", "the driver says: " + MessageOf(diagnostics.front()), {}};
}
