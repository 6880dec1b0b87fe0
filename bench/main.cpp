#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <utility>

#include "Host.h"
#include "Measurement.h"
#include "Report.h"
#include "encoding.h"
#include "process.h"

namespace {

struct Options {
    std::string filter;
    std::string folder = "build/bench";
    std::vector<std::string> servers;
    std::vector<std::string> rivals;
    std::vector<std::string> circumstances;
    bool quick = false;
};

std::pair<std::string, std::string> NameAndValue(const std::string& text)
{
    const auto equals = text.find('=');
    Require(equals != std::string::npos, text + " is not NAME=VALUE");
    return {text.substr(0, equals), text.substr(equals + 1)};
}

/// Measures what the filter selects, prints it line by line and keeps it for the report.
class Bench {
public:
    explicit Bench(const Options& options) : options_(options)
    {
        std::filesystem::create_directories(options.folder);
    }

    void Run()
    {
        const Source sqlite{"SQLite", "DRIVER={SQLite3};Database=" + options_.folder + "/bench.db",
                            500'000};
        for (const std::string& circumstance : options_.circumstances) {
            report_.circumstances.push_back(NameAndValue(circumstance));
        }
        report_.circumstances.emplace_back("Compiler", "GCC " __VERSION__);
        Begin(sqlite);
        MeasureProcess(sqlite);
        std::vector<Case> cases = QueryCases();
        std::ranges::move(CallCases(), std::back_inserter(cases));
        for (const Case& c : Selected(cases)) {
            const Measurement measured = MeasureCase(c, sqlite, 3);
            Add(LineOf(c, measured, true));
            if (c.goal.kind == Goal::kRatio && c.base_is_bare) {
                report_.bars.push_back({c.name, c.mode.name, measured.ratio, c.goal.limit});
            }
        }
        MeasureAdded(sqlite, cases);
        for (const std::string& server : options_.servers) {
            const auto [name, connection_string] = NameAndValue(server);
            const Source source{name, connection_string, 20'000};
            Begin(source);
            for (const Case& c : Selected(QueryCases())) {
                Add(LineOf(c, MeasureCase(c, source, 1), false));
            }
        }
        MeasureRivals(sqlite);
        if (Selected("encoding")) {
            report_.encoding = MeasureEncoding(options_.quick);
            std::puts(("\nThe encoding alone\n\n" + EncodingTable(report_.encoding)).c_str());
        }
    }

    void Write() const
    {
        std::ofstream(options_.folder + "/RESULTS.md") << Page(report_, "results.svg");
        std::ofstream(options_.folder + "/results.svg") << Chart(report_);
    }

private:
    bool Selected(const std::string& name) const
    {
        return name.find(options_.filter) != std::string::npos;
    }

    std::vector<Case> Selected(std::vector<Case> cases) const
    {
        std::erase_if(cases, [&](const Case& c) { return !Selected(c.name + ", " + c.mode.name); });
        return cases;
    }

    void Begin(const Source& source)
    {
        MakeTables(source);
        report_.circumstances.emplace_back(source.name, VersionOf(source));
        report_.sections.push_back({fmt::format("{}, {},000 rows of {} columns", source.name,
                                                source.rows / 1'000, kColumnCount),
                                    {}});
    }

    void Add(const Line& line)
    {
        Section& section = report_.sections.back();
        if (section.lines.empty()) {
            std::printf("\n%s\n\n", section.title.c_str());
            Print(Titles());
        }
        section.lines.push_back(line);
        Print(line);
    }

    // First, since children start with the memory that this process has by then.
    void MeasureProcess(const Source& source)
    {
        if (!Selected("memory")) {
            return;
        }
        const Memory memory = MeasureMemory(source);
        constexpr double kMegabyte = 1 << 20;
        Add(LineOf("memory, loaded", memory.loaded / kMegabyte, " MB", 12));
        Add(LineOf("memory, connected", memory.connected / kMegabyte, " MB", 12));
        Add(LineOf("memory, after a million calls", memory.after_million_calls / kMegabyte, " MB",
                   12));
        Add(LineOf("memory, growth since 10,000 calls",
                   (memory.after_million_calls - memory.after_first_calls) / kMegabyte, " MB", 0));
    }

    Measurement MeasureCase(const Case& c, const Source& source, double seconds)
    {
        Effort effort{seconds, 15, 1'000};
        if (options_.quick) {
            effort = {0.5, 7, 1'000};
        } else if (c.pairs != 0) {
            effort = {0, c.pairs, c.pairs};
        }
        const Measurement measured = Measure(c.make(source, c.mode), effort);
        if (std::string_view(c.unit) == "row") {
            most_allocations_ = std::max(most_allocations_, measured.allocations);
        }
        return measured;
    }

    // The maximum that the library adds in any case.
    void MeasureAdded(const Source& source, std::vector<Case> cases)
    {
        if (most_allocations_ >= 0) {
            Add(LineOf("allocations added per row", most_allocations_, "", 0));
        }
        if (Selected("system calls")) {
            std::erase_if(cases, [](const Case& c) { return !c.base_is_bare; });
            const std::vector<double> added = AddedSystemCalls(cases, source);
            Add(LineOf("system calls added per call", *std::ranges::max_element(added), "", 0));
        }
    }

    void MeasureRivals(const Source& source)
    {
        if (options_.rivals.empty() || !Selected("rivals")) {
            return;
        }
        std::printf(
            "\nOther ways over SQLite, compared with bare calls through their driver manager\n\n");
        for (const std::string& command : options_.rivals) {
            for (const Rival& rival : RunRival(command, source, options_.quick ? 0.5 : 3)) {
                Print(LineOf(rival));
                // By task, rivals in their order.
                const auto last =
                    std::find_if(report_.rivals.rbegin(), report_.rivals.rend(),
                                 [&](const Rival& other) { return other.task == rival.task; });
                const bool is_first = last == report_.rivals.rend();
                report_.rivals.insert(is_first ? report_.rivals.end() : last.base(), rival);
            }
        }
    }

    const Options& options_;
    Report report_;
    double most_allocations_ = -1;
};

}  // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    Options options;
    CLI::App app("Measures the gateway against the same ODBC calls made directly");
    app.add_option("--filter", options.filter, "only cases whose name or mode contains this");
    app.add_option("--folder", options.folder, "the folder for the data and the results");
    app.add_option("--server", options.servers,
                   "NAME=CONNECTION STRING of another source to measure");
    app.add_option("--rival", options.rivals, "a command that measures another way to the rows");
    app.add_option("--circumstance", options.circumstances, "NAME=VALUE for the results");
    app.add_flag("--quick", options.quick, "fewer pairs");
    CLI11_PARSE(app, argc, argv);
    try {
        Bench bench(options);
        bench.Run();
        bench.Write();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvelgw-bench: %s\n", error.what());
        return 1;
    }
}
