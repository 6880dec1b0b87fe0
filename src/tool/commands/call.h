// orvelgw call: entries of the callout table, called as they are typed.
#pragma once

#include <string>
#include <vector>

#include "client/Gateway.h"
#include "tool/CommandLine.h"
#include "tool/ExitCode.h"
#include "tool/commands/call_words.h"

/// Makes calls and shows what comes back: code and output on stdout, the error state and the
/// diagnostics on stderr. The handles that words name are shared by all of its calls.
class Caller {
public:
    /// connection: a handle, or empty.
    Caller(const Gateway& gateway, std::string connection, bool shows_bytes)
        : gateway_(gateway), connection_(std::move(connection)), shows_bytes_(shows_bytes)
    {}
    ~Caller();
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    bool HasConnection() const { return !connection_.empty(); }

    /// Returns whether all of them succeeded: that data is wanted or that none is left is no
    /// failure.
    bool Make(const std::vector<EntryCall>& calls);

private:
    bool Make(const EntryCall& call, bool keeps_errors);
    const std::string& Handle(CallInput::Handle handle);
    void FollowHandles(const ORVEL_ZFE& entry, const Reply& reply);
    void ShowOutput(const ORVEL_ZFE& entry, const Reply& reply) const;
    bool ShowErrors(const EntryCall& call, const Reply& reply, bool keeps_errors) const;

    const Gateway& gateway_;
    std::string connection_;
    std::string statement_;
    bool shows_bytes_;
};

/// Calls entries by their external names and shows what comes back: code and output on stdout, the
/// error state, the diagnostics and the trace on stderr. Without a connection string only
/// entries that need no connection can be called, or those that make one, which is @connection from
/// then on. Throws UsageError before anything runs.
ExitCode CallEntries(const CommandLine& command, const Gateway& gateway);

/// Lists the entries: the name, the signature, and what the inputs are.
ExitCode ListEntries(const Gateway& gateway);
