#include "shell/doctor/round_trips.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>

#include "shell/doctor/checks.h"

namespace {

constexpr std::size_t kNameWidth = 30;
constexpr std::size_t kCellWidth = 11;

/// What one check came to in all modes.
class Row {
public:
    Row(const RoundTrips& trips, std::size_t check) : trips_(trips), check_(check) {}

    const Finding& At(std::size_t mode) const
    {
        static const Finding untried{"-", ""};
        const auto& findings = trips_.trials[mode].findings;
        return check_ < findings.size() ? findings[check_] : untried;
    }

    bool IsRightAnywhere() const { return !RightModes().empty(); }

    // What is right instead, as far as the round trips show it.
    std::string Advice(std::size_t mode) const
    {
        const Check& check = Checks()[check_];
        if (kModes[mode].options.unicode && check.subject == Check::kLong && At(0).IsRight()) {
            return "narrow text (C type 1) is right";
        }
        if (const auto right = RightModes(); !right.empty()) {
            return "right in " + right;
        }
        if (const auto national = NationalModes();
            check.subject == Check::kPlainText && !national.empty()) {
            return fmt::format("right as {}'...' in {}, as below", kNational, national);
        }
        if (trips_.with_encoding != nullptr && check_ < trips_.with_encoding->findings.size() &&
            trips_.with_encoding->findings[check_].IsRight()) {
            return "right with " + trips_.encoding_key + " in the connection string";
        }
        return OtherWay();
    }

private:
    static std::string Listed(const std::vector<std::string>& names)
    {
        return fmt::format("{}", fmt::join(names, " and "));
    }

    std::string RightModes() const
    {
        std::vector<std::string> names;
        for (std::size_t mode = 0; mode < trips_.trials.size(); ++mode) {
            if (At(mode).IsRight()) {
                names.emplace_back(kModes[mode].name);
            }
        }
        return Listed(names);
    }

    std::string NationalModes() const
    {
        std::vector<std::string> names;
        for (std::size_t mode = 0; mode < trips_.trials.size(); ++mode) {
            if (trips_.trials[mode].is_national) {
                names.emplace_back(kModes[mode].name);
            }
        }
        return Listed(names);
    }

    // Another check of the same text that is right somewhere. A parameter stands behind its
    // literal.
    std::string OtherWay() const
    {
        const auto checks = Checks();
        for (std::size_t other = 0; other < checks.size(); ++other) {
            const bool are_long =
                checks[check_].subject == Check::kLong && checks[other].subject == Check::kLong;
            const std::size_t literal = std::min(check_, other);
            const bool are_same = std::max(check_, other) == literal + 1 &&
                                  checks[literal + 1].subject == Check::kParameter &&
                                  checks[literal].subject != Check::kParameter;
            const Row row(trips_, other);
            if (other != check_ && (are_long || are_same) && row.IsRightAnywhere()) {
                return fmt::format("\"{}\" is right in {}", checks[other].name, row.RightModes());
            }
        }
        return "this source, as it is set up, does not carry it";
    }

private:
    const RoundTrips& trips_;
    std::size_t check_;
};

bool HasOneThatTakesSelect(const RoundTrips& trips)
{
    return std::ranges::any_of(trips.trials, [](const ModeTrial& trial) {
        return trial.is_connected && trial.untaken.empty();
    });
}

std::string Heading()
{
    std::string line = DoctorReport::Padded("round trips", kNameWidth);
    for (const Mode& mode : kModes) {
        line += DoctorReport::Padded(mode.name, kCellWidth);
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

void ReportTable(const RoundTrips& trips, const DoctorReport& report)
{
    report.Text(Heading());
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        const Row row(trips, check);
        std::string line = "  " + DoctorReport::Padded(Checks()[check].name, kNameWidth - 2);
        for (std::size_t mode = 0; mode < std::size(kModes); ++mode) {
            line += DoctorReport::Padded(row.At(mode).verdict, kCellWidth);
        }
        report.Text(line.substr(0, line.find_last_not_of(' ') + 1));
    }
}

/// What is wrong in the same way, of one check or of several.
struct Wrong {
    std::vector<std::string> checks;
    std::vector<std::string> modes;
    std::string seen;
    std::string advice;
};

// What is wrong of a check, one for the modes in which it is the same.
std::vector<Wrong> WrongOf(const RoundTrips& trips, std::size_t check)
{
    const Row row(trips, check);
    std::vector<Wrong> found;
    for (std::size_t mode = 0; mode < trips.trials.size(); ++mode) {
        const Finding& finding = row.At(mode);
        if (finding.IsRight() || finding.seen.empty()) {
            continue;
        }
        const std::string advice = row.Advice(mode);
        const auto same = std::ranges::find_if(found, [&](const Wrong& wrong) {
            return wrong.seen == finding.seen && wrong.advice == advice;
        });
        if (same != found.end()) {
            same->modes.emplace_back(kModes[mode].name);
        } else {
            found.push_back({{Checks()[check].name}, {kModes[mode].name}, finding.seen, advice});
        }
    }
    return found;
}

// One line for all checks that are wrong in the same way.
void AdviseOnWrong(const RoundTrips& trips, const DoctorReport& report)
{
    std::vector<Wrong> all;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        for (const Wrong& wrong : WrongOf(trips, check)) {
            const auto same = std::ranges::find_if(all, [&](const Wrong& other) {
                return wrong.seen == other.seen && wrong.advice == other.advice &&
                       wrong.modes == other.modes;
            });
            if (same != all.end()) {
                same->checks.push_back(wrong.checks.front());
            } else {
                all.push_back(wrong);
            }
        }
    }
    for (const Wrong& wrong : all) {
        report.Note(fmt::format("{}, {}: {}; {}", fmt::join(wrong.checks, " and "),
                                fmt::join(wrong.modes, " and "), wrong.seen, wrong.advice));
    }
}

}  // namespace

bool WantsEncoding(const std::vector<ModeTrial>& trials)
{
    RoundTrips trips;
    trips.trials = trials;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        if (Checks()[check].subject != Check::kNullness && !Row(trips, check).IsRightAnywhere()) {
            return true;
        }
    }
    return false;
}

bool ReportRoundTrips(const RoundTrips& trips, const DoctorReport& report)
{
    for (std::size_t mode = 0; mode < trips.trials.size(); ++mode) {
        const ModeTrial& trial = trips.trials[mode];
        if (!trial.is_connected) {
            report.Line(std::string("connection ") + kModes[mode].name, trial.refusal,
                        trial.diagnostics);
        } else if (!trial.untaken.empty()) {
            report.Line(std::string("SELECT ") + kModes[mode].name, "refused",
                        std::vector{trial.untaken});
        }
    }
    if (!HasOneThatTakesSelect(trips)) {
        report.Advise("this source takes no SELECT without FROM, so nothing can be tried");
        report.Advise("read a table of its own: orvelgw -d STRING -c 'SELECT ... FROM ...'");
        return false;
    }
    ReportTable(trips, report);
    AdviseOnWrong(trips, report);
    bool is_each_right = true;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        is_each_right = is_each_right && Row(trips, check).IsRightAnywhere();
    }
    return is_each_right;
}
