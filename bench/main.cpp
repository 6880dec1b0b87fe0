#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>

#include "Measurement.h"

namespace {

struct Options {
    std::string filter;
    std::string database = "bench.db";
    bool quick = false;
};

int Run(const Options& options)
{
    const Source sqlite{"SQLite", "DRIVER={SQLite3};Database=" + options.database, 500'000};
    MakeTables(sqlite);
    const Effort effort = options.quick ? Effort{0.5, 11, 200} : Effort{2.0, 31, 500};
    for (const Case& c : QueryCases()) {
        if ((c.name + ", " + c.mode.name).find(options.filter) == std::string::npos) {
            continue;
        }
        const Measurement m = Measure(c.make(sqlite, c.mode), effort);
        std::printf("%-32s %-8s %9.0f %9.0f  %5.3f (%5.3f-%5.3f) <= %.2f  alloc %.4f  pairs %zu\n",
                    c.name.c_str(), c.mode.name, m.bare, m.gateway, m.ratio.median, m.ratio.low,
                    m.ratio.high, c.goal.limit, m.allocations, m.pairs);
        std::fflush(stdout);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_ALL, "C.UTF-8");
    Options options;
    CLI::App app("Measures the gateway beside the same ODBC calls made bare");
    app.add_option("--filter", options.filter, "only cases whose name has this in it");
    app.add_option("--database", options.database, "SQLite's file, made where it isn't there");
    app.add_flag("--quick", options.quick, "fewer pairs");
    CLI11_PARSE(app, argc, argv);
    try {
        return Run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "orvelgw-bench: %s\n", error.what());
        return 1;
    }
}
