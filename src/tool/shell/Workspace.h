// What statements and meta-commands work on: a connection, settings, and where output goes.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/Gateway.h"
#include "client/HostServices.h"
#include "client/Session.h"
#include "client/Statement.h"
#include "tool/CommandLine.h"
#include "tool/commands/call.h"
#include "tool/commands/script.h"
#include "tool/output/Destination.h"
#include "tool/output/Messages.h"
#include "tool/output/format.h"
#include "tool/shell/NameCache.h"
#include "tool/shell/PagedOutput.h"
#include "tool/shell/TraceView.h"

/// What a person can set.
struct ShellSettings {
    OutputSettings output;
    bool uses_pager = true;
};

class Workspace {
public:
    /// Loads the gateway and connects where the words name a data source. at_terminal: output is
    /// for a person, who may stop it. Throws LoadError and ConnectError.
    Workspace(const CommandLine& command, bool at_terminal);
    ~Workspace();
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    /// What scripts run on; it follows the connection and the settings.
    ScriptContext& Context() { return context_; }

    const CommandLine& Words() const { return command_; }
    const Gateway& Library() const { return *gateway_; }
    bool IsAtTerminal() const { return at_terminal_; }

    // The connection.

    /// Closes the connection, once the new one is there. Throws ConnectError and UsageError.
    void Connect(const std::string& connection_string);

    /// Connects in another mode, by a gateway that is loaded anew, since it does not go back from
    /// ODBC 2 to ODBC 3. What was not committed is rolled back.
    void ConnectInMode(bool is_unicode, bool is_legacy);

    bool IsConnected() const { return session_ != nullptr; }

    /// Throws UsageError where there is none.
    const Session& Connected() const;

    const std::string& ConnectionString() const { return connection_string_; }
    const SessionOptions& Options() const { return options_; }

    /// A word for the data source, without secrets.
    std::string SourceName() const;

    // Transactions.

    void Begin();
    void Commit();
    void Rollback();
    void SetAutocommit(bool is_on);
    bool CommitsByItself() const { return commits_by_itself_; }
    bool IsInTransaction() const { return transaction_ != nullptr; }

    // Statements.

    /// Runs one statement on the context.
    void Run(const std::string& sql);

    ExitCode exit_code = kDone;  // of all that has run

    // Output.

    ShellSettings settings;

    /// Ends what was written so far, a pager and all, and goes on by the settings as they are.
    /// file: for this once; empty: where output goes anyway.
    void RenewOutput(const std::string& file = "");

    /// Where output goes from here on; empty: standard output. The file that it went to is kept as
    /// it is by then.
    void SendOutputTo(const std::string& file);

    /// What was written into the file of a renewal stays, or into that of all output.
    void KeepOwnOutput();
    void KeepOutput();

    std::FILE* Out() const;

    // The callout layer.

    /// The handles that calls share.
    Caller& Calls();

    /// Shows the gateway's records: on the terminal, or in a file.
    void Trace(bool is_on, const std::string& file = "");

    NameCache names;

    /// The data source is left, and the process is to end.
    bool is_done = false;

private:
    class Output;

    void Adopt(std::unique_ptr<Session> session);
    void CloseConnection();
    void EndTransaction(void (Transaction::*end)());
    void RefuseInScriptTransaction() const;

    CommandLine command_;
    bool at_terminal_;
    SessionOptions options_;
    std::unique_ptr<TraceView> trace_;
    std::unique_ptr<Gateway> gateway_;
    std::string connection_string_;
    std::unique_ptr<Session> session_;
    bool commits_by_itself_ = true;
    std::unique_ptr<Transaction> transaction_;
    std::unique_ptr<Caller> calls_;
    std::optional<Destination> destination_;
    std::unique_ptr<Output> output_;
    ScriptContext context_;
};
