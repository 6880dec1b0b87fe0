#include "shell/doctor/mode_trial.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string_view>

#include "shell/HostList.h"
#include "shell/doctor/checks.h"
#include "shell/doctor/diagnostic.h"
#include "shell/odbc_numbers.h"
#include "shell/run_apart.h"

namespace {

constexpr int kSecondsForMode = 40;

// What a child says, each with the texts behind it as one list.
constexpr char kRefused[] = "refused";      // the diagnostics
constexpr char kConnected[] = "connected";  // the product
constexpr char kUntaken[] = "untaken";      // why
constexpr char kSwitched[] = "national";    // nothing
constexpr char kFound[] = "found";          // verdict, what was seen

void SayList(const Say& say, const std::vector<std::string>& texts)
{
    std::vector<ListValue> values(texts.begin(), texts.end());
    say(EncodeList({EncodeList(values)}));
}

std::string Information(const Session& session, std::int32_t type)
{
    try {
        const Reply reply = session.Call("GetInfo", {type});
        const auto list = DecodeList(reply.List());
        const std::string text = list.empty() ? "" : list[0].Text();
        return text.substr(0, text.find('\0'));
    } catch (const std::runtime_error&) {
        return "";
    }
}

std::string ProductText(const Session& session)
{
    const std::string server =
        Information(session, kDbmsName) + " " + Information(session, kDbmsVersion);
    const std::string driver =
        Information(session, kDriverName) + " " + Information(session, kDriverVersion);
    return (server == " " ? "a server without a name" : server) +
           (driver == " " ? "" : ", driver " + driver);
}

// The first line of the first message, behind its SQLSTATE.
std::string FirstWords(const SqlError& error)
{
    if (error.diagnostics.empty()) {
        return error.what();
    }
    const std::string& line = error.diagnostics.front();
    const std::string message = MessageOf(line);
    return "(" + StateOf(line) + ") " + message.substr(0, message.find_first_of("\r\n"));
}

Finding Found(const Check& check, const Session& session, const std::string& prefix)
{
    try {
        return check.carry_out(session, prefix);
    } catch (const SqlError& error) {
        return {"refused", FirstWords(error)};
    } catch (const std::exception& error) {
        return {"failed", error.what()};
    }
}

void TryChecks(const Session& session, const Say& say)
{
    std::string prefix;
    for (const Check& check : Checks()) {
        const Finding finding = Found(check, session, prefix);
        SayList(say, {kFound, finding.verdict, finding.seen});
        if (check.subject == Check::kPlainText && !finding.IsRight() &&
            Found(check, session, kNational).IsRight()) {
            prefix = kNational;
            SayList(say, {kSwitched});
        }
    }
}

void Try(const Gateway& gateway, const SessionOptions& options, const std::string& string,
         const Say& say)
{
    try {
        const Session session(gateway, options, string);
        SayList(say, {kConnected, ProductText(session)});
        try {
            TrySelect(session);
        } catch (const SqlError& error) {
            SayList(say, {kUntaken, FirstWords(error)});
            return;
        }
        TryChecks(session, say);
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
    } else if (what == kUntaken) {
        trial.untaken = texts.at(1);
    } else if (what == kSwitched) {
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
    if (trial.is_connected && trial.untaken.empty() && trial.findings.size() < Checks().size()) {
        trial.findings.push_back(last);
        trial.findings.resize(Checks().size(), {"untried", ""});
    }
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
