#include "shell/doctor/cause.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>

#include "shell/doctor/diagnostic.h"

namespace {

std::string Listed(const char* what, const std::vector<std::string>& names)
{
    return names.empty() ? fmt::format("the configuration has no {}", what)
                         : fmt::format("{} of the configuration: {}", what, fmt::join(names, ", "));
}

std::string SmallLetters(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
    });
    return text;
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
    const std::string text = SmallLetters(line);
    return StateOf(line).starts_with("28") || std::ranges::any_of(kWords, [&](const char* words) {
               return text.find(words) != std::string::npos;
           });
}

Cause UnknownSource(const DataSource& source, const Profiles& profiles)
{
    return {"unknown",
            source.Name() == "default" ? "neither a driver nor a data source is named"
                                       : "no data source has the name " + source.Name(),
            {Listed("data sources", profiles.Sections(Profiles::kSources)),
             Listed("drivers", profiles.Sections(Profiles::kDrivers))}};
}

}  // namespace

std::optional<Cause> CauseInFiles(const DataSource& source, const DriverKind& kind,
                                  const Profiles& profiles)
{
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
            return Cause{"unknown",
                         "no driver has the name " + source.Name() + ", and there is no file " +
                             source.DriverFile(),
                         {Listed("drivers", profiles.Sections(Profiles::kDrivers))}};
        case DataSource::kMissingFile:
            return Cause{"missing",
                         "there is no file " + source.DriverFile(),
                         {"install the driver's package, or correct the path"}};
        case DataSource::kNone:
            break;
    }
    if (kind.form == DriverKind::kUnloadable) {
        return Cause{"unloadable", kind.reason, {"ldd tells which libraries the file lacks"}};
    }
    if (kind.form == DriverKind::kNoDriver) {
        return Cause{"no driver",
                     source.DriverFile() + " is a library without ODBC functions",
                     {"name the driver's own file; setup libraries (lib...S.so) are none"}};
    }
    return std::nullopt;
}

std::optional<Cause> CauseInNetwork(const Server& server, const Reach& reach)
{
    const std::string correct = "correct the server's name and port in the connection string";
    switch (reach.outcome) {
        case Reach::kListens:
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
        case Reach::kUnreachable:
            return Cause{"unreachable", server.Text() + ": " + reach.reason, {correct}};
    }
    return std::nullopt;
}

Cause CauseInWords(const std::vector<std::string>& diagnostics)
{
    if (std::ranges::any_of(diagnostics, &IsAboutUser)) {
        return {"refused",
                "the server is there, and refuses the user or the password",
                {"check UID and PWD, and what the server allows this user from this machine"}};
    }
    return {"refused", "in the driver's words: " + MessageOf(diagnostics.front()), {}};
}
