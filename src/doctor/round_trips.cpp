#include "doctor/round_trips.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "client/HostList.h"
#include "client/odbc_numbers.h"
#include "drivers/child_process.h"

namespace {

constexpr int kSecondsForMode = 40;

// What a child says, each with the texts behind it as one list.
constexpr char kRefused[] = "refused";      // the diagnostics
constexpr char kConnected[] = "connected";  // the product
constexpr char kNoSelect[] = "no select";   // why
constexpr char kNational[] = "national";    // nothing
constexpr char kFound[] = "found";          // verdict, what was seen

void SayList(const Say& say, const std::vector<std::string>& texts)
{
    std::vector<ListValue> values(texts.begin(), texts.end());
    say(EncodeList({EncodeList(values)}));
}

// Some drivers don't tell.
std::string Told(const Session& session, std::int32_t type)
{
    try {
        return session.Information(type);
    } catch (const std::runtime_error&) {
        return "";
    }
}

std::string ProductText(const Session& session)
{
    const std::string server = Told(session, kDbmsName) + " " + Told(session, kDbmsVersion);
    const std::string driver = Told(session, kDriverName) + " " + Told(session, kDriverVersion);
    return (server == " " ? "a server without a name" : server) +
           (driver == " " ? "" : ", driver " + driver);
}

void TryChecks(const Session& session, const Say& say)
{
    std::string prefix;
    for (const Check& check : Checks()) {
        const Finding finding = CarryOut(check, session, prefix);
        SayList(say, {kFound, finding.verdict, finding.seen});
        if (check.subject == Check::kPlainText && check.is_literal && !finding.IsRight() &&
            CarryOut(check, session, kNationalPrefix).IsRight()) {
            prefix = kNationalPrefix;
            SayList(say, {kNational});
        }
    }
}

void Try(const Gateway& gateway, const SessionOptions& options, const std::string& string,
         const Say& say)
{
    try {
        const Session session(gateway, options, string);
        SayList(say, {kConnected, ProductText(session)});
        if (const std::string refusal = RefusalOfSelect(session); !refusal.empty()) {
            SayList(say, {kNoSelect, refusal});
        } else {
            TryChecks(session, say);
        }
    } catch (const ConnectError& error) {
        std::vector<std::string> texts{kRefused};
        texts.insert(texts.end(), error.diagnostics.begin(), error.diagnostics.end());
        if (error.diagnostics.empty()) {
            texts.emplace_back(error.what());
        }
        SayList(say, texts);
    }
}

void Understand(const std::vector<std::string>& texts, ModeTrial& trial)
{
    const std::string& what = texts.at(0);
    if (what == kRefused) {
        trial.refusal = kRefused;
        trial.diagnostics.assign(texts.begin() + 1, texts.end());
    } else if (what == kConnected) {
        trial.is_connected = true;
        trial.product = texts.at(1);
    } else if (what == kNoSelect) {
        trial.select_refusal = texts.at(1);
    } else if (what == kNational) {
        trial.is_national = true;
    } else {
        trial.findings.push_back({texts.at(1), texts.at(2)});
    }
}

// What the way a child ended says of what it did not say.
void Complete(const Apart& apart, ModeTrial& trial)
{
    const bool is_late = apart.end == Apart::kOutOfTime;
    const Finding last{is_late ? "silent" : "crashed",
                       is_late ? "no end within " + std::to_string(kSecondsForMode) + " seconds"
                               : "the driver crashed: " + apart.reason};
    if (!trial.is_connected && trial.refusal.empty()) {
        trial.refusal = last.verdict;
        trial.diagnostics = {last.seen};
    }
    if (trial.is_connected && trial.select_refusal.empty() &&
        trial.findings.size() < Checks().size()) {
        trial.findings.push_back(last);
        trial.findings.resize(Checks().size(), {"untried", ""});
    }
}

constexpr std::size_t kNameWidth = 30;
constexpr std::size_t kCellWidth = 11;

/// What one check came to in all modes.
class CheckRow {
public:
    CheckRow(const std::vector<ModeTrial>& trials, std::size_t check)
        : trials_(trials), check_(check)
    {}

    const Finding& At(std::size_t mode) const
    {
        static const Finding untried{"-", ""};
        const auto& findings = trials_[mode].findings;
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
        const auto national =
            Modes([this](std::size_t other) { return trials_[other].is_national; });
        if (check.subject == Check::kPlainText && check.is_literal && !national.empty()) {
            return fmt::format("right as {}'...' in {}, as below", kNationalPrefix, national);
        }
        return OtherWay();
    }

private:
    std::string RightModes() const
    {
        return Modes([this](std::size_t mode) { return At(mode).IsRight(); });
    }

    std::string Modes(const std::function<bool(std::size_t mode)>& are_wanted) const
    {
        std::vector<std::string> names;
        for (std::size_t mode = 0; mode < trials_.size(); ++mode) {
            if (are_wanted(mode)) {
                names.emplace_back(kModes[mode].name);
            }
        }
        return fmt::format("{}", fmt::join(names, " and "));
    }

    // Another check of the same text that is right somewhere.
    std::string OtherWay() const
    {
        for (std::size_t other = 0; other < Checks().size(); ++other) {
            const CheckRow row(trials_, other);
            if (Checks()[other].subject == Checks()[check_].subject && row.IsRightAnywhere()) {
                return fmt::format("\"{}\" is right in {}", Checks()[other].name, row.RightModes());
            }
        }
        return "this source, as it is set up, does not carry it";
    }

    const std::vector<ModeTrial>& trials_;
    std::size_t check_;
};

std::string TableLine(std::string line, const std::function<std::string(std::size_t mode)>& cell)
{
    line = DoctorReport::Padded(line, kNameWidth);
    for (std::size_t mode = 0; mode < std::size(kModes); ++mode) {
        line += DoctorReport::Padded(cell(mode), kCellWidth);
    }
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

void ReportTable(const std::vector<ModeTrial>& trials, const DoctorReport& report)
{
    report.Text(TableLine("round trips", [](std::size_t mode) { return kModes[mode].name; }));
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        const CheckRow row(trials, check);
        report.Text(TableLine(std::string("  ") + Checks()[check].name,
                              [&](std::size_t mode) { return row.At(mode).verdict; }));
    }
}

/// What is wrong of some checks in some modes.
struct Wrong {
    std::string checks;
    std::string modes;
    std::string seen;
    std::string advice;

    bool operator==(const Wrong& other) const = default;
};

// Adds to a list, or to the names of what is else the same there.
void Add(const Wrong& wrong, std::string Wrong::*names, std::vector<Wrong>& all)
{
    const auto same = std::ranges::find_if(all, [&](const Wrong& other) {
        Wrong renamed = other;
        renamed.*names = wrong.*names;
        return renamed == wrong;
    });
    if (same == all.end()) {
        all.push_back(wrong);
    } else {
        (*same).*names += " and " + wrong.*names;
    }
}

// One line for all that is wrong in the same way.
void AdviseOnWrong(const std::vector<ModeTrial>& trials, const DoctorReport& report)
{
    std::vector<Wrong> all;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        const CheckRow row(trials, check);
        std::vector<Wrong> found;
        for (std::size_t mode = 0; mode < trials.size(); ++mode) {
            if (const std::string& seen = row.At(mode).seen; !seen.empty()) {
                Add({Checks()[check].name, kModes[mode].name, seen, row.Advice(mode)},
                    &Wrong::modes, found);
            }
        }
        for (const Wrong& wrong : found) {
            Add(wrong, &Wrong::checks, all);
        }
    }
    for (const Wrong& wrong : all) {
        report.Note(
            fmt::format("{}, {}: {}; {}", wrong.checks, wrong.modes, wrong.seen, wrong.advice));
    }
}

bool TakesSelect(const ModeTrial& trial)
{
    return trial.is_connected && trial.select_refusal.empty();
}

}  // namespace

ModeTrial TryMode(const Gateway& gateway, const SessionOptions& options,
                  const std::string& connection_string)
{
    const Apart apart = RunApart(
        kSecondsForMode, [&](const Say& say) { Try(gateway, options, connection_string, say); });
    ModeTrial trial;
    try {
        for (const ListElement& message : DecodeList(apart.said)) {
            std::vector<std::string> texts;
            for (const ListElement& text : DecodeList(message.payload)) {
                texts.push_back(text.Text());
            }
            Understand(texts, trial);
        }
    } catch (const ListError&) {
        // The last message did not come whole.
    }
    Complete(apart, trial);
    return trial;
}

bool ReportRoundTrips(const std::vector<ModeTrial>& trials, const DoctorReport& report)
{
    for (std::size_t mode = 0; mode < trials.size(); ++mode) {
        const ModeTrial& trial = trials[mode];
        if (!trial.is_connected) {
            report.Line(std::string("connection ") + kModes[mode].name, trial.refusal,
                        trial.diagnostics);
        } else if (!TakesSelect(trial)) {
            report.Line(std::string("SELECT ") + kModes[mode].name, "refused",
                        trial.select_refusal);
        }
    }
    if (std::ranges::none_of(trials, &TakesSelect)) {
        report.Advise("this source takes no SELECT without FROM, so nothing can be tried");
        report.Advise("read a table of its own: orvelgw -d STRING -c 'SELECT ... FROM ...'");
        return false;
    }
    ReportTable(trials, report);
    AdviseOnWrong(trials, report);
    bool is_each_right = true;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        is_each_right = is_each_right && CheckRow(trials, check).IsRightAnywhere();
    }
    return is_each_right;
}
