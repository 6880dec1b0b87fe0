#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "Measurement.h"
#include "Report.h"
#include "circumstances.h"
#include "encoding.h"
#include "process.h"

namespace {

struct Options {
    std::string filter;
    std::string folder = "build/bench";
    std::vector<std::string> servers;
    std::vector<std::string> rivals;
    std::string command = "orvelgw-bench";
    bool quick = false;
};

/// Measures what the filter lets through, prints it line by line and keeps it for the report.
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
        MakeTables(sqlite);
        report_.circumstances = Circumstances(sqlite, options_.command);
        Begin("SQLite, 500,000 rows of 6 columns");
        MeasureProcess(sqlite);
        std::vector<Case> cases = QueryCases();
        std::ranges::move(CallCases(), std::back_inserter(cases));
        MeasureCases(sqlite, cases);
        MeasureAdded(sqlite, cases);
        for (const std::string& server : options_.servers) {
            const auto equals = server.find('=');
            const Source source{server.substr(0, equals), server.substr(equals + 1), 20'000};
            MakeTables(source);
            Begin(source.name + ", 20,000 rows");
            MeasureCases(source, QueryCases());
        }
        MeasureRivals(sqlite);
        if (Selected("encoding")) {
            report_.encoding = MeasureEncoding(options_.quick);
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

    void Begin(const std::string& title) { report_.sections.push_back({title, {}}); }

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

    // First of all: the children have the memory that this process has by then.
    void MeasureProcess(const Source& source)
    {
        if (!Selected("memory")) {
            return;
        }
        const Memory memory = MeasureMemory(source);
        constexpr double kMegabyte = 1 << 20;
        Add(LineOf("memory, loaded", memory.loaded / kMegabyte, " MB", 12));
        Add(LineOf("memory, connected", memory.connected / kMegabyte, " MB", 12));
        Add(LineOf("memory, a million calls later", memory.after_million_calls / kMegabyte, " MB",
                   12));
        Add(LineOf("memory, growth since 10,000 calls",
                   (memory.after_million_calls - memory.after_first_calls) / kMegabyte, " MB", 0));
    }

    void MeasureCases(const Source& source, const std::vector<Case>& cases)
    {
        const Effort effort = options_.quick ? Effort{0.5, 7, 500} : Effort{2, 15, 1'000};
        for (const Case& c : cases) {
            if (!Selected(c.name + ", " + c.mode.name)) {
                continue;
            }
            const bool has_number = c.pairs != 0 && !options_.quick;
            const Measurement measured =
                Measure(c.make(source, c.mode), has_number ? Effort{0, c.pairs, c.pairs} : effort);
            Add(LineOf(c, measured));
            // The chart shows the first source.
            if (c.goal.kind == Goal::kRatio && report_.sections.size() == 1) {
                report_.bars.push_back({c.name, c.mode.name, measured.ratio, c.goal.limit});
            }
            if (std::string_view(c.unit) == "row") {
                most_allocations_ = std::max(most_allocations_, measured.allocations);
            }
        }
    }

    // The most that the library adds in any case.
    void MeasureAdded(const Source& source, std::vector<Case> cases)
    {
        if (most_allocations_ >= 0) {
            Add(LineOf("allocations added a row", most_allocations_, "", 0));
        }
        if (Selected("system calls")) {
            std::erase_if(cases, [](const Case& c) { return !c.base_is_bare; });
            const std::vector<double> added = AddedSystemCalls(cases, source);
            Add(LineOf("system calls added a call", *std::ranges::max_element(added), "", 0));
        }
    }

    void MeasureRivals(const Source& source)
    {
        if (options_.rivals.empty() || !Selected("rivals")) {
            return;
        }
        std::printf("\nOthers over SQLite, against bare calls over their driver manager\n\n");
        for (const std::string& command : options_.rivals) {
            for (const Rival& rival : RunRival(command, source, options_.quick ? 0.5 : 3)) {
                Print(LineOf(rival));
                // Task by task, rivals in their order.
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
    CLI::App app("Measures the gateway beside the same ODBC calls made bare");
    app.add_option("--filter", options.filter, "only cases with this in their name or mode");
    app.add_option("--folder", options.folder,
                   "where the data is made and the results are written");
    app.add_option("--server", options.servers,
                   "NAME=CONNECTION STRING of a source to measure, too");
    app.add_option("--rival", options.rivals, "a command that measures another way to the rows");
    app.add_option("--command", options.command, "the command that the results name");
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
