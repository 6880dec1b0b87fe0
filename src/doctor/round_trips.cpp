#include "doctor/round_trips.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "client/HostList.h"
#include "client/odbc_numbers.h"
#include "drivers/child_process.h"

namespace {

constexpr std::chrono::seconds kModeLimit{40};

// What the child process sends: lists that begin with one of these texts, or with
// ModeTrial::kRefused and then the diagnostics.
constexpr char kConnected[] = "connected";  // the product
constexpr char kNoSelect[] = "no select";   // why
constexpr char kNational[] = "national";    // nothing
constexpr char kFound[] = "found";          // verdict, detail

void SendList(const Send& send, const std::vector<std::string>& texts)
{
    std::vector<ListValue> values(texts.begin(), texts.end());
    send(EncodeList({EncodeList(values)}));
}

// Empty where the driver does not report it.
std::string InformationOf(const Session& session, std::int32_t type)
{
    try {
        return session.Information(type);
    } catch (const std::runtime_error&) {
        return "";
    }
}

std::string ProductText(const Session& session)
{
    const std::string server =
        InformationOf(session, kDbmsName) + " " + InformationOf(session, kDbmsVersion);
    const std::string driver =
        InformationOf(session, kDriverName) + " " + InformationOf(session, kDriverVersion);
    return (server == " " ? "an unnamed server" : server) +
           (driver == " " ? "" : ", driver " + driver);
}

void RunChecks(const Session& session, const Send& send)
{
    std::string prefix;
    for (const Check& check : Checks()) {
        const Finding finding = RunCheck(check, session, prefix);
        SendList(send, {kFound, finding.verdict, finding.detail});
        if (check.subject == Check::kPlainText && check.is_literal && !finding.IsRight() &&
            RunCheck(check, session, kNationalPrefix).IsRight()) {
            prefix = kNationalPrefix;
            SendList(send, {kNational});
        }
    }
}

void RunMode(const Gateway& gateway, const SessionOptions& options, const std::string& string,
             const Send& send)
{
    try {
        const Session session(gateway, options, string);
        if (InformationOf(session, kDbmsName) == "SQLite") {
            ReadDatabaseFile(session);
        }
        SendList(send, {kConnected, ProductText(session)});
        if (const std::string refusal = RefusalOfSelect(session); !refusal.empty()) {
            SendList(send, {kNoSelect, refusal});
        } else {
            RunChecks(session, send);
        }
    } catch (const ConnectError& error) {
        std::vector<std::string> texts{ModeTrial::kRefused};
        texts.insert(texts.end(), error.diagnostics.begin(), error.diagnostics.end());
        if (error.diagnostics.empty()) {
            texts.emplace_back(error.what());
        }
        SendList(send, texts);
    }
}

void Apply(const std::vector<std::string>& texts, ModeTrial& trial)
{
    const std::string& what = texts.at(0);
    if (what == ModeTrial::kRefused) {
        trial.refusal = ModeTrial::kRefused;
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

// Fills in what the child did not send, by how it ended.
void Complete(const ChildResult& child, ModeTrial& trial)
{
    const Finding last =
        child.end == ChildResult::kTimedOut
            ? Finding{ModeTrial::kTimedOut,
                      fmt::format("no answer within {} seconds", kModeLimit.count())}
            : Finding{ModeTrial::kCrashed, "the driver crashed: " + child.reason};
    if (!trial.is_connected && trial.refusal.empty()) {
        trial.refusal = last.verdict;
        trial.diagnostics = {last.detail};
    }
    if (trial.is_connected && trial.select_refusal.empty() &&
        trial.findings.size() < Checks().size()) {
        trial.findings.push_back(last);
        trial.findings.resize(Checks().size(), {"not tried", ""});
    }
}

constexpr std::size_t kNameWidth = 30;
constexpr std::size_t kCellWidth = 11;

/// The findings of one check in all modes.
class CheckRow {
public:
    CheckRow(const std::vector<ModeTrial>& trials, std::size_t check)
        : trials_(trials), check_(check)
    {}

    const Finding& At(std::size_t mode) const
    {
        static const Finding none{"-", ""};
        const auto& findings = trials_[mode].findings;
        return check_ < findings.size() ? findings[check_] : none;
    }

    bool IsRightAnywhere() const { return !RightModes().empty(); }

    // What works instead, as far as the round trips show it.
    std::string Advice(std::size_t mode) const
    {
        const Check& check = Checks()[check_];
        if (kModes[mode].options.unicode && check.subject == Check::kLong && At(0).IsRight()) {
            return "narrow text (C type 1) is ok";
        }
        if (const auto right = RightModes(); !right.empty()) {
            return "ok in " + right;
        }
        const auto national =
            Modes([this](std::size_t other) { return trials_[other].is_national; });
        if (check.subject == Check::kPlainText && check.is_literal && !national.empty()) {
            return fmt::format("ok as {}'...' in {}, as the checks below send it", kNationalPrefix,
                               national);
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
                return fmt::format("\"{}\" is ok in {}", Checks()[other].name, row.RightModes());
            }
        }
        return "this source, as it is set up, can't carry it";
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

/// What some checks in some modes have in common.
struct Wrong {
    std::string checks;
    std::string modes;
    std::string detail;
    std::string advice;

    bool operator==(const Wrong& other) const = default;
};

// Adds to a list, or adds the names to an element that differs in nothing else.
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

// One line for everything that is wrong in the same way.
void AdviseOnWrong(const std::vector<ModeTrial>& trials, const DoctorReport& report)
{
    std::vector<Wrong> all;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        const CheckRow row(trials, check);
        std::vector<Wrong> found;
        for (std::size_t mode = 0; mode < trials.size(); ++mode) {
            if (const std::string& detail = row.At(mode).detail; !detail.empty()) {
                Add({Checks()[check].name, kModes[mode].name, detail, row.Advice(mode)},
                    &Wrong::modes, found);
            }
        }
        for (const Wrong& wrong : found) {
            Add(wrong, &Wrong::checks, all);
        }
    }
    for (const Wrong& wrong : all) {
        report.AdviseOnTable(
            fmt::format("{}, {}: {}; {}", wrong.checks, wrong.modes, wrong.detail, wrong.advice));
    }
}

bool AllowsSelect(const ModeTrial& trial)
{
    return trial.is_connected && trial.select_refusal.empty();
}

}  // namespace

ModeTrial TryMode(const Gateway& gateway, const SessionOptions& options,
                  const std::string& connection_string)
{
    const ChildResult child = RunInChild(
        kModeLimit, [&](const Send& send) { RunMode(gateway, options, connection_string, send); });
    ModeTrial trial;
    try {
        for (const ListElement& message : DecodeList(child.output)) {
            std::vector<std::string> texts;
            for (const ListElement& text : DecodeList(message.payload)) {
                texts.push_back(text.Text());
            }
            Apply(texts, trial);
        }
    } catch (const ListError&) {
        // The last message is incomplete.
    }
    Complete(child, trial);
    return trial;
}

bool ReportRoundTrips(const std::vector<ModeTrial>& trials, const DoctorReport& report)
{
    for (std::size_t mode = 0; mode < trials.size(); ++mode) {
        const ModeTrial& trial = trials[mode];
        if (!trial.is_connected) {
            report.Line(std::string("connection ") + kModes[mode].name, trial.refusal,
                        trial.diagnostics);
        } else if (!AllowsSelect(trial)) {
            report.Line(std::string("SELECT ") + kModes[mode].name, ModeTrial::kRefused,
                        trial.select_refusal);
        }
    }
    if (std::ranges::none_of(trials, &AllowsSelect)) {
        report.Advise("this source refuses a SELECT without FROM, so no round trip can be tried");
        report.Advise("read one of its tables: orvelgw -d STRING -c 'SELECT ... FROM ...'");
        return false;
    }
    ReportTable(trials, report);
    AdviseOnWrong(trials, report);
    bool all_right = true;
    for (std::size_t check = 0; check < Checks().size(); ++check) {
        all_right = all_right && CheckRow(trials, check).IsRightAnywhere();
    }
    return all_right;
}
