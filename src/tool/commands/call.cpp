#include "tool/commands/call.h"

#include <fmt/format.h>

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "client/HostServices.h"
#include "client/Session.h"
#include "drivers/ConnectionString.h"
#include "text/output_text.h"
#include "text/terminal_text.h"
#include "tool/commands/call_words.h"
#include "tool/commands/entry_inputs.h"
#include "tool/crash_report.h"

namespace {

// Whether an entry tells of the call before it, whose error state has to be left as it is.
bool ReadsErrors(std::string_view name)
{
    return name == "WasError" || name == "GetLastSQLCode" || name == "GetSQLErrors";
}

/// The calls of one command, and the handles that they share.
class Caller {
public:
    /// connection: a handle, or empty.
    Caller(const Gateway& gateway, std::string connection, bool shows_bytes)
        : gateway_(gateway), connection_(std::move(connection)), shows_bytes_(shows_bytes)
    {}
    ~Caller();
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    /// Returns whether the call succeeded. keeps_errors: the next call asks for its error state.
    bool Make(const EntryCall& call, bool keeps_errors);

private:
    const std::string& Handle(CallInput::Handle handle);
    void FollowHandles(const ORVEL_ZFE& entry, const Reply& reply);
    void ShowOutput(const ORVEL_ZFE& entry, const Reply& reply) const;
    bool ShowErrors(const EntryCall& call, const Reply& reply, bool keeps_errors) const;

    const Gateway& gateway_;
    std::string connection_;
    std::string statement_;
    bool shows_bytes_;
};

Caller::~Caller()
{
    try {
        if (!statement_.empty()) {
            gateway_.Call("DropStatement", {statement_});
        }
    } catch (...) {
        // The outcome that is on its way matters more.
    }
}

// Empty where the call that was to make it failed, or it is gone.
const std::string& Caller::Handle(CallInput::Handle handle)
{
    if (handle == CallInput::kConnection || connection_.empty()) {
        return connection_;
    }
    if (statement_.empty()) {
        statement_ = gateway_.Call("AllocStatement", {connection_}).Bytes();
    }
    return statement_;
}

// A handle that a call made is the one that later words name, until a call ends it.
void Caller::FollowHandles(const ORVEL_ZFE& entry, const Reply& reply)
{
    const std::string_view name = entry.name;
    const bool is_ended = reply.code == ORVEL_SUCCESS || reply.code == ORVEL_SUCCESS_WITH_INFO;
    if (name == "AllocStatement") {
        statement_ = reply.Bytes();
    } else if (name == "DropStatement" && is_ended) {
        statement_.clear();
    } else if ((name == "Disconnect" || name == "RemoveConnection") && is_ended) {
        connection_.clear();
        statement_.clear();
    } else if (MakesConnection(name)) {
        connection_ = reply.Bytes();
        statement_.clear();
    }
}

void Caller::ShowOutput(const ORVEL_ZFE& entry, const Reply& reply) const
{
    std::string shown = entry.name;
    if (std::string_view(entry.signature).ends_with('P')) {
        shown += reply.code == Reply::kUntouched ? ": no result"
                                                 : fmt::format(": result {}", reply.code);
    }
    shown += "\n";
    if (HasOutput(entry)) {
        const auto bytes = OutputBytes(entry, reply);
        shown += fmt::format("  {}\n", bytes.empty() ? "(nothing)" : OutputText(entry, bytes));
        if (shows_bytes_ && !bytes.empty()) {
            shown += fmt::format("  {}\n", HexText(bytes));
        }
    }
    std::fputs(shown.c_str(), stdout);
    std::fflush(stdout);  // in its place among the messages
}

// The diagnostics are those of the handles that the call named. Reading them clears the error
// state, so they are left where the next call asks for it.
bool Caller::ShowErrors(const EntryCall& call, const Reply& reply, bool keeps_errors) const
{
    const std::int32_t flags = gateway_.Call("WasError").code;
    const std::int32_t code = gateway_.Call("GetLastSQLCode").code;
    std::fputs(fmt::format("error state: WasError {}, GetLastSQLCode {}\n", flags, code).c_str(),
               stderr);
    if (flags == ORVEL_WAS_SUCCESS || flags == ORVEL_WAS_NO_DATA) {
        return true;
    }
    if (!keeps_errors) {
        const std::string statement = call.Names(CallInput::kStatement) ? statement_ : "";
        for (const std::string& line : DiagnosticLines(gateway_, connection_, statement)) {
            std::fputs((Printable(WithoutSecrets(line)) + "\n").c_str(), stderr);
        }
    }
    return flags == ORVEL_WAS_ERROR &&
           (reply.code == ORVEL_NEED_DATA || reply.code == ORVEL_NO_DATA || code == ORVEL_NO_DATA);
}

bool Caller::Make(const EntryCall& call, bool keeps_errors)
{
    std::vector<Argument> inputs;
    for (const auto& [value, handle] : call.inputs) {
        inputs.push_back(handle == CallInput::kNone ? value : Argument(Handle(handle)));
    }
    const Reply reply = gateway_.Call(call.entry.name, inputs);
    const TraceScope silence(nullptr);  // of what nobody asked for
    ShowOutput(call.entry, reply);
    const bool is_good = ShowErrors(call, reply, keeps_errors);
    FollowHandles(call.entry, reply);
    return is_good;
}

}  // namespace

ExitCode CallEntries(const CommandLine& command, const Gateway& gateway)
{
    const auto calls = CallsOf(command.call, gateway, command.connection_string.has_value());
    std::optional<Session> session;
    if (command.connection_string) {
        session.emplace(gateway, command.options, *command.connection_string);
        NameDriverOfCrashes(session->DriverFile());
    }
    Caller caller(gateway, session ? session->Connection() : "", command.is_hex);
    gateway.Call("SetLogOption", {1});
    bool is_good = true;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        const bool keeps_errors = i + 1 < calls.size() && ReadsErrors(calls[i + 1].entry.name);
        is_good = caller.Make(calls[i], keeps_errors) && is_good;
    }
    return is_good ? kDone : kSqlFailed;
}

ExitCode ListEntries(const Gateway& gateway)
{
    for (const ORVEL_ZFE* row = gateway.Table(); row->name != nullptr; ++row) {
        const auto inputs = EntryInputs(row->name);
        fmt::print("{:<25}  {:<9}  {}\n", row->name, row->signature,
                   inputs.empty() ? "none" : inputs);
    }
    return kDone;
}
