// The chart: how much longer tasks take than the bare calls, drawn from 1 on.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "Report.h"

namespace {

constexpr double kWidth = 860;
constexpr double kLeft = 150;    // the position of 1
constexpr double kRight = 700;   // the end of the scale; figures follow
constexpr double kBar = 15;      // height of a bar
constexpr double kStep = 21;     // from bar to bar
constexpr double kHeading = 30;  // height of a group's name

constexpr const char* kReached = "#2a9d8f";
constexpr const char* kMissed = "#e9a23b";
constexpr const char* kOther = "#8d99ae";

const char* ColorOf(const Bar& bar)
{
    if (bar.goal == 0) {
        return kOther;
    }
    return bar.ratio.median <= bar.goal ? kReached : kMissed;
}

/// Bars on one scale, one below the other.
class Panel {
public:
    Panel(double top, const std::vector<Bar>& bars) : y_(top)
    {
        double most = 1.01;
        for (const Bar& bar : bars) {
            most = std::max({most, bar.ratio.high, bar.goal});
        }
        const double span = 1.05 * (most - 1);
        // Five to ten lines, at round figures.
        tick_ = std::pow(10, std::floor(std::log10(span)));
        for (const double part : {0.1, 0.2, 0.5}) {
            if (span / (part * tick_) <= 10) {
                tick_ *= part;
                break;
            }
        }
        end_ = 1 + span;
    }

    void Draw(const std::string& title, const std::vector<Bar>& bars)
    {
        body_ += fmt::format(R"(<text x="20" y="{}" class="title">{}</text>)", y_ + 18, title);
        y_ += 50;
        const double top = y_ - 6;
        std::string group;
        std::string drawn;
        for (const Bar& bar : bars) {
            if (bar.group != group) {
                group = bar.group;
                y_ += kHeading;
                drawn += fmt::format(R"(<text x="{}" y="{}" class="group">{}</text>)", kLeft,
                                     y_ - 8, group);
            }
            drawn += DrawBar(bar);
            y_ += kStep;
        }
        body_ += Scale(top) + drawn;
        y_ += 30;
    }

    double Bottom() const { return y_; }
    const std::string& Body() const { return body_; }

private:
    double X(double ratio) const { return kLeft + (ratio - 1) / (end_ - 1) * (kRight - kLeft); }

    std::string Scale(double top) const
    {
        std::string lines;
        for (int i = 0; 1 + i * tick_ <= end_; ++i) {
            const double ratio = 1 + i * tick_;
            lines += fmt::format(
                R"(<line x1="{0:.1f}" x2="{0:.1f}" y1="{1}" y2="{2}" class="{3}"/>)"
                R"(<text x="{0:.1f}" y="{4}" class="scale">{5:.{6}f}</text>)",
                X(ratio), top, y_, i == 0 ? "one" : "grid", top - 5, ratio, tick_ < 0.1 ? 2 : 1);
        }
        return lines;
    }

    std::string DrawBar(const Bar& bar) const
    {
        const double middle = y_ + kBar / 2;
        const double end = X(std::max(bar.ratio.median, 1.0));
        std::string drawn = fmt::format(
            R"(<text x="{:.1f}" y="{:.1f}" class="label">{}</text>)"
            R"(<rect x="{}" y="{}" width="{:.1f}" height="{}" rx="2" fill="{}"/>)"
            R"(<line x1="{:.1f}" x2="{:.1f}" y1="{:.1f}" y2="{:.1f}" class="quartiles"/>)",
            kLeft - 10, middle + 4, bar.label, kLeft, y_, end - kLeft, kBar, ColorOf(bar),
            X(std::max(bar.ratio.low, 1.0)), X(std::max(bar.ratio.high, 1.0)), middle, middle);
        if (bar.goal != 0) {
            drawn +=
                fmt::format(R"(<line x1="{0:.1f}" x2="{0:.1f}" y1="{1}" y2="{2}" class="goal"/>)",
                            X(bar.goal), y_ - 2, y_ + kBar + 2);
        }
        const double behind = std::max({end, X(bar.ratio.high), bar.goal != 0 ? X(bar.goal) : 0});
        return drawn + fmt::format(R"(<text x="{:.1f}" y="{:.1f}" class="value">{:.2f}</text>)",
                                   behind + 8, middle + 4, bar.ratio.median);
    }

    double y_;
    double tick_;
    double end_;
    std::string body_;
};

// The gateway's bar of a task, followed by those of its rivals.
std::vector<Bar> BesideRivals(const Report& report)
{
    std::vector<Bar> bars;
    std::string task;
    for (const Rival& rival : report.rivals) {
        if (rival.task != task) {
            task = rival.task;
            const auto own = std::ranges::find_if(report.bars, [&](const Bar& bar) {
                return bar.group == task && bar.label == kDefault.name;
            });
            if (own != report.bars.end()) {
                bars.push_back({task, "gateway", own->ratio, own->goal});
            }
        }
        bars.push_back({task, rival.name, rival.ratio, 0});
    }
    return bars;
}

std::string Legend(double y, bool has_rivals)
{
    std::string legend;
    double x = 20;
    const auto add = [&](const std::string& sign, const char* text, double width) {
        legend += fmt::format(
            R"svg(<g transform="translate({} {})">{}<text x="24" y="11" class="legend">{}</text></g>)svg",
            x, y, sign, text);
        x += width;
    };
    const auto box = [](const char* color) {
        return fmt::format(R"(<rect width="16" height="13" rx="2" fill="{}"/>)", color);
    };
    add(box(kReached), "gateway, goal reached", 180);
    add(box(kMissed), "gateway, goal not reached", 200);
    if (has_rivals) {
        add(box(kOther), "others", 90);
    }
    add(R"(<line x1="8" x2="8" y1="-1" y2="14" class="goal"/>)", "goal", 80);
    add(R"(<line x1="0" x2="16" y1="7" y2="7" class="quartiles"/>)", "quartiles of the pairs", 0);
    return legend;
}

constexpr const char* kStyle = R"(<style>
text { font-family: "Helvetica Neue", Helvetica, Arial, "DejaVu Sans", sans-serif; fill: #22303c }
.title { font-size: 16px; font-weight: 600 }
.group { font-size: 13px; font-weight: 600 }
.label { font-size: 12px; text-anchor: end }
.value { font-size: 12px }
.scale { font-size: 11px; fill: #66727d; text-anchor: middle }
.legend { font-size: 12px }
.grid { stroke: #e1e6ea }
.one { stroke: #66727d }
.quartiles { stroke: #22303c; stroke-width: 1.5; stroke-opacity: 0.55 }
.goal { stroke: #c1121f; stroke-width: 2 }
</style>)";

}  // namespace

std::string Chart(const Report& report)
{
    constexpr double kTop = 44;
    std::string body;
    double bottom = kTop;
    const auto draw = [&](const char* title, const std::vector<Bar>& bars) {
        if (!bars.empty()) {
            Panel panel(bottom, bars);
            panel.Draw(title, bars);
            body += panel.Body();
            bottom = panel.Bottom();
        }
    };
    draw("Time through the gateway; the same ODBC calls made directly = 1 (SQLite)", report.bars);
    const std::vector<Bar> beside = BesideRivals(report);
    draw("pyodbc and DBD::ODBC, each compared with bare calls through its driver manager", beside);
    return fmt::format(
        R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {0} {1}" width="{0}" height="{1}">)"
        "\n{2}\n"
        R"(<rect width="{0}" height="{1}" fill="#ffffff"/>)"
        "\n{3}\n{4}\n</svg>\n",
        kWidth, bottom, kStyle, Legend(18, !beside.empty()), body);
}
