#include "doctor/cause.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstring>

#include "client/Session.h"
#include "drivers/shims.h"

namespace {

std::string Listed(const char* what, const std::vector<std::string>& names)
{
    return names.empty() ? fmt::format("the configuration has no {}", what)
                         : fmt::format("{} of the configuration: {}", what, fmt::join(names, ", "));
}

bool Mentions(const std::string& line, const char* words)
{
    return ::strcasestr(line.c_str(), words) != nullptr;
}

bool IsAboutUser(const std::string& line)
{
    static constexpr const char* kWords[] = {
        "authentication failed",
        "password supplied",
        "no pg_hba.conf entry",
        "access denied",
        "login failed",
        "login incorrect",
        "bad login",
        "invalid user",
    };
    return StateOf(line).starts_with("28") ||
           std::ranges::any_of(kWords, [&](const char* words) { return Mentions(line, words); });
}

// A name with an equals sign may hold a password.
Cause UnknownSource(const DataSource& source, const Profiles& profiles)
{
    const std::string& name = source.Name();
    Cause cause{"unknown",
                "no data source has the name " + name,
                {Listed("data sources", profiles.Sections(Profiles::kSources)),
                 Listed("drivers", profiles.Sections(Profiles::kDrivers))}};
    if (name.empty() || name == "default") {
        cause.what = "neither a driver nor a data source is named";
    } else if (name.find('=') != std::string::npos) {
        cause.what = "no data source has the name behind DSN=, which has an equals sign";
        cause.advice.insert(cause.advice.begin(), "part keys by semicolons");
    }
    return cause;
}

std::optional<Cause> CauseInString(const DataSource& source)
{
    const std::vector<std::string> advice{"begin with DRIVER= or DSN=, without blanks around ="};
    if (source.WhatIsWrong() == DataSource::kMisread) {
        return Cause{"misread",
                     "the string begins with neither DRIVER= nor DSN=, so all up to the first "
                     "semicolon is taken for a data source's name",
                     advice};
    }
    if (source.WhatIsWrong() == DataSource::kBlanks) {
        return Cause{"misread", "blanks belong to the key or the value that they stand beside",
                     advice};
    }
    return std::nullopt;
}

std::optional<Cause> CauseInSource(const DataSource& source, const Profiles& profiles)
{
    const std::string& file = source.DriverFile();
    switch (source.WhatIsWrong()) {
        case DataSource::kUnknownSource:
            return UnknownSource(source, profiles);
        case DataSource::kNoDriver:
            return Cause{"incomplete",
                         "the data source " + source.Name() + " names no driver",
                         {fmt::format("write Driver = ... into [{}] of {}", source.Section(),
                                      source.SectionFile())}};
        case DataSource::kBraces:
            return Cause{"braces",
                         "around a file's path braces count as part of it",
                         {"write DRIVER=" + source.Name()}};
        case DataSource::kUnknownDriver:
            return Cause{
                "unknown",
                "no driver has the name " + source.Name() + ", and there is no file " + file,
                {Listed("drivers", profiles.Sections(Profiles::kDrivers))}};
        case DataSource::kMissingFile:
            return Cause{"missing",
                         "there is no file " + file,
                         {"install the driver's package, or correct the path"}};
        case DataSource::kUnreachedFile:
            return Cause{"unreached",
                         file + " can't be reached: " + source.Reason(),
                         {"let this user search the folders above it"}};
        default:
            return CauseInString(source);
    }
}

}  // namespace

// The loader begins with the file's name unless another one is missing.
std::vector<std::string> AdviceOnLoading(const std::string& file, const std::string& reason)
{
    const bool is_own = reason.starts_with(file + ": ") && !Mentions(reason, "undefined symbol");
    if (reason.starts_with(kWhileLoading) || (is_own && Mentions(reason, "no such file"))) {
        return {};
    }
    return {is_own ? "it is no library for this machine, or not readable by this user"
                   : "ldd -r tells what it needs and does not find"};
}

std::optional<Cause> CauseInFiles(const DataSource& source, const DriverKind& kind,
                                  const Profiles& profiles)
{
    const std::string& file = source.DriverFile();
    if (source.WhatIsWrong() != DataSource::kNone) {
        return CauseInSource(source, profiles);
    }
    if (kind.form == DriverKind::kUnloadable) {
        return Cause{"unloadable", kind.reason, AdviceOnLoading(file, kind.reason)};
    }
    if (IsShim(file) && !AsShim(file)) {
        return Cause{"no driver",
                     file + " is the shim, which finds a driver by its own file's name",
                     {"orvelgw shim makes one that is named after a driver"}};
    }
    if (kind.form == DriverKind::kNoDriver) {
        return Cause{"no driver",
                     file + " is a library without ODBC functions",
                     {"name the driver's own file; setup libraries (lib...S.so) are none"}};
    }
    if (kind.form == DriverKind::kDriverManager) {
        return Cause{"no driver", file + " is a driver manager", {"name the driver's own file"}};
    }
    return std::nullopt;
}

std::optional<Cause> CauseInNetwork(const Server& server, const Reach& reach, bool is_silent)
{
    const std::string correct = "correct the server's name and port in the connection string";
    switch (reach.outcome) {
        case Reach::kListens:
            if (is_silent) {
                return Cause{"silent",
                             server.Text() + " takes connections and does not answer the driver",
                             {"another kind of server, or one that hangs: check the port and the "
                              "server's log"}};
            }
            return std::nullopt;
        case Reach::kNobodyListens:
            return Cause{"stopped",
                         "nobody listens at " + server.Text(),
                         {"start the server, or " + correct}};
        case Reach::kSilent:
            return Cause{"silent",
                         server.Text() + " does not answer",
                         {"is the machine up, is there a firewall? Or " + correct}};
        case Reach::kUnknownHost:
            return Cause{"unknown",
                         "no host has the name " + server.host + " (" + reach.reason + ")",
                         {correct}};
        case Reach::kUnresolved:
            return Cause{"unreached",
                         server.host + " can't be looked up now (" + reach.reason + ")",
                         {"is there a name server? Or " + correct}};
        case Reach::kUnreachable:
            return Cause{"unreached", server.Text() + ": " + reach.reason, {correct}};
    }
    return std::nullopt;
}

Cause CauseInWords(const std::vector<std::string>& diagnostics)
{
    if (std::ranges::any_of(diagnostics, &IsAboutUser)) {
        const bool may_be_rights = std::ranges::any_of(
            diagnostics, [](const std::string& line) { return Mentions(line, "to database"); });
        return {"refused",
                may_be_rights ? "the server is there, and refuses the user, the password, or what "
                                "the user may do"
                              : "the server is there, and refuses the user or the password",
                {"check UID and PWD, and what the server allows this user from this machine"}};
    }
    return {"refused", "in the driver's words: " + MessageOf(diagnostics.front()), {}};
}
