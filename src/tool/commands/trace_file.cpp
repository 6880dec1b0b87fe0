#include "tool/commands/trace_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <system_error>

#include "client/TextTable.h"
#include "client/ascii.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/output/format.h"

namespace {

using Json = nlohmann::ordered_json;

TracedCall CallOf(const std::string& line)
{
    const Json json = Json::parse(line);
    TracedCall call;
    json.at("at").get_to(call.at);
    json.at("entry").get_to(call.entry);
    json.at("handle").get_to(call.handle);
    json.at("arguments").get_to(call.arguments);
    json.at("outcome").get_to(call.outcome);
    json.at("ms").get_to(call.milliseconds);
    json.at("failed").get_to(call.failed);
    return call;
}

bool IsWanted(const TraceFilter& filter, const TracedCall& call)
{
    return (filter.entry.empty() || EqualsIgnoringCase(filter.entry, call.entry)) &&
           (filter.handle.empty() || filter.handle == call.handle) &&
           call.milliseconds >= filter.least_milliseconds && (!filter.failed || call.failed);
}

struct Total {
    std::string entry;
    std::uint64_t calls = 0;
    std::uint64_t errors = 0;
    double milliseconds = 0;
    double longest = 0;
};

void Add(std::vector<Total>& totals, const TracedCall& call)
{
    auto total = std::ranges::find(totals, call.entry, &Total::entry);
    if (total == totals.end()) {
        total = totals.insert(totals.end(), Total{call.entry});
    }
    ++total->calls;
    total->errors += call.failed ? 1 : 0;
    total->milliseconds += call.milliseconds;
    total->longest = std::max(total->longest, call.milliseconds);
}

// The entries that took longest first.
void PrintSummary(std::vector<Total> totals, const OutputSettings& settings)
{
    std::ranges::stable_sort(totals, std::ranges::greater{}, &Total::milliseconds);
    TextTable table({"entry", "calls", "errors", "ms", "ms a call", "longest"}, 1);
    for (const Total& total : totals) {
        table.Add({Printable(total.entry), std::to_string(total.calls),
                   std::to_string(total.errors), fmt::format("{:.3f}", total.milliseconds),
                   fmt::format("{:.3f}", total.milliseconds / static_cast<double>(total.calls)),
                   fmt::format("{:.3f}", total.longest)});
    }
    table.PassTo(*MakeSink(settings, stdout));
}

}  // namespace

std::string JsonLine(const TracedCall& call)
{
    constexpr double kMicro = 1e6;
    const Json json{{"at", std::round(call.at * kMicro) / kMicro},
                    {"entry", call.entry},
                    {"handle", call.handle},
                    {"arguments", call.arguments},
                    {"outcome", call.outcome},
                    {"ms", std::round(call.milliseconds * kMicro) / kMicro},
                    {"failed", call.failed}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string CallLine(const TracedCall& call)
{
    return fmt::format("{:>9.3f} ms  {}({}){}{}{}", call.milliseconds, Printable(call.entry),
                       Printable(call.arguments), call.outcome.empty() ? "" : " -> ",
                       Printable(call.outcome), call.failed ? "  FAILED" : "");
}

ExitCode PrintTrace(const CommandLine& command)
{
    const TraceFilter& filter = command.trace;
    std::ifstream in(filter.file);
    if (!in) {
        throw std::system_error(errno, std::generic_category(), filter.file);
    }
    std::vector<Total> totals;
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        TracedCall call;
        try {
            call = CallOf(line);
        } catch (const Json::exception&) {
            throw UsageError(
                fmt::format("{}: line {} is no call of a trace; \\trace FILE writes them",
                            filter.file, number));
        }
        if (!IsWanted(filter, call)) {
            continue;
        }
        if (filter.is_summary) {
            Add(totals, call);
        } else {
            fmt::print("{:>12.6f}  {}\n", call.at, CallLine(call));
        }
    }
    if (filter.is_summary) {
        PrintSummary(std::move(totals), command.output);
    }
    return kDone;
}
