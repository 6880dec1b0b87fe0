#include "tool/commands/data_sources.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "client/HostList.h"
#include "client/TextTable.h"
#include "drivers/Profiles.h"

namespace {

struct Source {
    std::string name;
    std::string description;
};

std::vector<Source> AllSources(const Gateway& gateway)
{
    constexpr std::int32_t kFirst = 2;
    constexpr std::int32_t kNext = 1;
    std::vector<Source> sources;
    for (std::int32_t direction = kFirst;; direction = kNext) {
        const Reply reply = gateway.Call("DataSources", {direction});
        const auto list = DecodeList(reply.Bytes());
        if (list.size() != 2) {
            return sources;
        }
        sources.push_back({list[0].Text(), list[1].Text()});
        for (std::string* text : {&sources.back().name, &sources.back().description}) {
            text->resize(std::min(text->find('\0'), text->size()));
        }
    }
}

}  // namespace

void ListSources(const Gateway& gateway, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter)
{
    TextTable table({"source", "description"});
    for (const auto& [name, description] : AllSources(gateway)) {
        if (pattern.Matches(name)) {
            table.Add({name, description});
        }
    }
    table.PassTo(sink, reporter);
}

void ListDrivers(const NamePattern& pattern, ResultSink& sink, Reporter& reporter)
{
    const Profiles profiles;
    TextTable table({"driver", "file"});
    for (const std::string& name : profiles.Sections(Profiles::kDrivers)) {
        if (pattern.Matches(name)) {
            table.Add({name, profiles.Value(name, "Driver", Profiles::kDrivers)});
        }
    }
    table.PassTo(sink, reporter);
}

std::vector<std::string> SourceNames(const Gateway& gateway)
{
    std::vector<std::string> names;
    for (Source& source : AllSources(gateway)) {
        names.push_back(std::move(source.name));
    }
    return names;
}
