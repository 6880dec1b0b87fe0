#include "Report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdio>
#include <tuple>

namespace {

std::string Time(double nanoseconds)
{
    const double size = nanoseconds < 0 ? -nanoseconds : nanoseconds;
    if (size < 1'000) {
        return fmt::format("{:.{}f} ns", nanoseconds, size < 100 ? 1 : 0);
    }
    return size < 1e6 ? fmt::format("{:.1f} µs", nanoseconds / 1e3)
                      : fmt::format("{:.2f} ms", nanoseconds / 1e6);
}

std::string Ratio(const Quartiles& ratio)
{
    return fmt::format("{:.3f} ({:.3f}–{:.3f})", ratio.median, ratio.low, ratio.high);
}

std::string Verdict(bool reached)
{
    return reached ? "✓" : "✗";
}

std::string MarkdownTable(const std::vector<Line>& lines)
{
    std::string table =
        fmt::format("| {} |\n|---|---|--:|--:|--:|--:|--:|---|\n", fmt::join(Titles(), " | "));
    for (const Line& line : lines) {
        table += fmt::format("| {} |\n", fmt::join(line, " | "));
    }
    return table;
}

std::string RivalTable(const std::vector<Rival>& rivals)
{
    std::string table = "| | | bare | with it | ratio |\n|---|---|--:|--:|--:|\n";
    for (const Rival& rival : rivals) {
        table += fmt::format("| {} | {} | {} | {} | {} |\n", rival.task, rival.name,
                             Time(rival.base), Time(rival.time), Ratio(rival.ratio));
    }
    return table;
}

}  // namespace

Line Titles()
{
    return {"", "text", "bare calls", "gateway", "ratio", "pairs", "goal", ""};
}

Line LineOf(const Case& of, const Measurement& measured, bool has_goal)
{
    const std::string each = std::string("/") + of.unit;
    Line line{of.name, of.mode.name, measured.base > 0 ? Time(measured.base) + each : "",
              Time(measured.gateway) + each};
    auto& [what, mode, base, gateway, figure, pairs, goal, verdict] = line;
    pairs = std::to_string(measured.pairs);
    double reached = measured.gateway;
    if (of.goal.kind == Goal::kRatio) {
        reached = measured.ratio.median;
        figure = Ratio(measured.ratio);
        goal = fmt::format("{:.2f}", of.goal.limit);
    } else if (of.goal.kind == Goal::kAbove) {
        reached = measured.difference.median;
        figure = "+ " + Time(reached);
        goal = "+ " + Time(of.goal.limit);
    } else {
        goal = Time(of.goal.limit);
    }
    if (has_goal) {
        verdict = Verdict(reached <= of.goal.limit);
    } else {
        goal.clear();
    }
    return line;
}

Line LineOf(const std::string& what, double figure, const std::string& unit, double limit)
{
    Line line{what};
    line[3] = fmt::format("{:.4g}{}", figure, unit);
    line[6] = fmt::format("{}{}", limit, unit);
    line[7] = Verdict(figure <= limit);
    return line;
}

Line LineOf(const Rival& rival)
{
    return {rival.task, rival.name, Time(rival.base), Time(rival.time), Ratio(rival.ratio)};
}

void Print(const Line& line)
{
    const auto print = [](const auto&... cells) {
        fmt::print("{:33} {:15} {:>15} {:>15} {:>21} {:>5} {:>9} {}\n", cells...);
    };
    std::apply(print, line);
    std::fflush(stdout);
}

std::string EncodingTable(const std::vector<EncodingFigure>& figures)
{
    std::string table = "| | per value | read | allocations per value |\n|---|--:|--:|--:|\n";
    for (const EncodingFigure& figure : figures) {
        table +=
            fmt::format("| {} | {} | {:.2f} GB/s | {:.4g} |\n", figure.name,
                        Time(figure.nanoseconds), figure.gigabytes_a_second, figure.allocations);
    }
    return table;
}

std::string Page(const Report& report, const std::string& chart)
{
    std::string page = "# What the gateway costs\n\n";
    for (const auto& [name, value] : report.circumstances) {
        page += fmt::format("- {}: {}\n", name, value);
    }
    page += fmt::format(
        "\n![Time of the gateway and others, bare ODBC calls = 1]({})\n\n"
        "Thread CPU time, with gateway and bare calls alternating in one process, each on its own "
        "connection;\nthe median of the pairs' ratios, with their quartiles.\n",
        chart);
    for (const Section& section : report.sections) {
        page += fmt::format("\n## {}\n\n{}", section.title, MarkdownTable(section.lines));
    }
    if (!report.rivals.empty()) {
        page +=
            "\n## Other ways to the same rows\n\n"
            "pyodbc and DBD::ODBC as packaged by Debian, through unixODBC, each in its own "
            "process; \"bare\"\nis what the same ODBC calls take there, also through unixODBC, "
            "with narrow text. They create values\nof their languages, the gateway creates "
            "lists.\n\n" +
            RivalTable(report.rivals);
    }
    if (!report.encoding.empty()) {
        page += "\n## The encoding alone\n\n" + EncodingTable(report.encoding);
    }
    return page;
}
