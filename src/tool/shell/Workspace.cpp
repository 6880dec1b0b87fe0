#include "tool/shell/Workspace.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "client/ascii.h"
#include "client/sql_text.h"
#include "drivers/ConnectionString.h"
#include "text/value_syntax.h"
#include "tool/connection_words.h"
#include "tool/crash_report.h"
#include "tool/shell/interrupts.h"

namespace {

/// Passes a result on until ^C or the end of the pager stops it.
class StoppableSink : public ResultSink {
public:
    StoppableSink(std::unique_ptr<ResultSink> inner, const PagedOutput& output)
        : inner_(std::move(inner)), output_(output)
    {}

    void Begin(const std::vector<Column>& columns) override { inner_->Begin(columns); }
    void Take(Row row) override
    {
        if (RunningStatement::IsStopped() || output_.IsLeft()) {
            throw Stopped("stopped: the rest of the rows is left out");
        }
        inner_->Take(row);
    }
    void End() override { inner_->End(); }

private:
    std::unique_ptr<ResultSink> inner_;
    const PagedOutput& output_;
};

bool ChangesCatalog(const std::string& sql)
{
    for (SqlLexer lexer(sql); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        for (const char* word : {"create", "drop", "alter", "rename", "use"}) {
            if (token.kind == SqlToken::kWord && EqualsIgnoringCase(token.text, word)) {
                return true;
            }
        }
    }
    return false;
}

}  // namespace

/// What is written between two renewals: by a person's terminal paged, messages among the data.
class Workspace::Output {
public:
    Output(const Workspace& workspace, const std::string& file)
    {
        if (!file.empty()) {
            own_file_.emplace(file);
        }
        const bool is_paged = workspace.at_terminal_ && ::isatty(STDOUT_FILENO) != 0;
        if (is_paged) {
            paged_.emplace(workspace.settings.uses_pager);
        }
        std::FILE* shown = paged_ ? paged_->Stream() : stdout;
        std::FILE* usual = workspace.destination_->Stream();
        out_ = own_file_ ? own_file_->Stream() : usual == stdout ? shown : usual;
        messages_.emplace(paged_ ? shown : stderr, !workspace.command_.script.is_quiet);
        sink_ = MakeSink(workspace.settings.output, out_);
        if (paged_) {
            sink_ = std::make_unique<StoppableSink>(std::move(sink_), *paged_);
        }
    }

    ~Output()
    {
        sink_.reset();
        std::fflush(out_);
    }

    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    std::FILE* Out() const { return out_; }
    ResultSink* Sink() const { return sink_.get(); }
    Messages* Notes() { return &*messages_; }
    void Keep()
    {
        if (own_file_) {
            own_file_->Keep();
        }
    }

private:
    std::optional<Destination> own_file_;
    std::optional<PagedOutput> paged_;
    std::FILE* out_ = nullptr;
    std::optional<Messages> messages_;
    std::unique_ptr<ResultSink> sink_;
};

Workspace::Workspace(const CommandLine& command, bool at_terminal)
    : command_(command),
      at_terminal_(at_terminal),
      options_(command.options),
      gateway_(std::make_unique<Gateway>(command.library)),
      destination_(command.output_file)
{
    settings.output = command.output;
    context_.variables = command.script.variables;
    context_.echoes = command.script.echoes;
    context_.keeps_going = command.script.keeps_going;
    RenewOutput();
    if (command.connection_string) {
        connection_string_ = *command.connection_string;
        NameDriverOfCrashes(::ConnectionString(connection_string_).First("DRIVER"));
        Adopt(std::make_unique<Session>(*gateway_, options_, connection_string_));
    }
}

Workspace::~Workspace()
{
    names.Forget();
    CloseConnection();
}

void Workspace::CloseConnection()
{
    names.Forget();
    calls_.reset();
    if (transaction_ != nullptr) {
        fmt::print(stderr, "(rolled back)\n");
    }
    transaction_.reset();
    context_.session = nullptr;
    session_.reset();
}

void Workspace::Adopt(std::unique_ptr<Session> session)
{
    CloseConnection();
    session_ = std::move(session);
    NameDriverOfCrashes(session_->DriverFile());
    context_.session = session_.get();
    context_.dialect = DialectOf(*session_);
    if (!commits_by_itself_) {
        Begin();
    }
}

// That transaction is of the connection with which the script began.
void Workspace::RefuseInScriptTransaction() const
{
    if (command_.script.is_single_transaction) {
        throw UsageError("--single-transaction keeps its connection and its transaction");
    }
}

void Workspace::Connect(const std::string& connection_string)
{
    RefuseInScriptTransaction();
    names.Wait();
    Adopt(std::make_unique<Session>(*gateway_, options_, connection_string));
    connection_string_ = connection_string;
}

void Workspace::ConnectInMode(bool is_unicode, bool is_legacy)
{
    RefuseInScriptTransaction();
    CloseConnection();
    gateway_.reset();
    gateway_ = std::make_unique<Gateway>(command_.library);
    options_.unicode = is_unicode;
    options_.legacy = is_legacy;
    if (!connection_string_.empty()) {
        Adopt(std::make_unique<Session>(*gateway_, options_, connection_string_));
    }
}

const Session& Workspace::Connected() const
{
    if (session_ == nullptr) {
        throw UsageError("there is no connection; \\connect makes one, \\l lists data sources");
    }
    return *session_;
}

std::string Workspace::SourceName() const
{
    if (!IsConnectionString(connection_string_)) {
        return connection_string_.empty() ? "orvelgw" : WithoutSecrets(connection_string_);
    }
    const ::ConnectionString string(connection_string_);
    if (string.Has("DSN")) {
        return string.First("DSN");
    }
    const std::string driver = WithoutBraces(string.First("DRIVER"));
    const std::string database =
        std::filesystem::path(WithoutBraces(string.First("Database"))).filename().string();
    return std::filesystem::path(driver).filename().string() +
           (database.empty() ? "" : "/" + database);
}

void Workspace::Begin()
{
    RefuseInScriptTransaction();
    const Session& session = Connected();
    if (transaction_ != nullptr) {
        throw UsageError("a transaction is open already");
    }
    transaction_ = std::make_unique<Transaction>(session);
}

void Workspace::Commit()
{
    EndTransaction(&Transaction::Commit);
}

void Workspace::Rollback()
{
    EndTransaction(&Transaction::Rollback);
}

void Workspace::EndTransaction(void (Transaction::*end)())
{
    if (transaction_ == nullptr) {
        throw UsageError("no transaction is open; \\begin begins one");
    }
    (*transaction_.*end)();
    transaction_.reset();
    if (!commits_by_itself_) {
        Begin();
    }
}

// Nothing that was done is committed or lost by it.
void Workspace::SetAutocommit(bool is_on)
{
    RefuseInScriptTransaction();
    Connected();
    if (is_on && transaction_ != nullptr) {
        throw UsageError("a transaction is open; \\commit or \\rollback ends it");
    }
    commits_by_itself_ = is_on;
    if (!is_on && transaction_ == nullptr) {
        Begin();
    }
}

void Workspace::Run(const std::string& sql)
{
    names.Wait();
    exit_code = std::max(exit_code, RunSql(context_, sql));
    if (ChangesCatalog(sql)) {
        names.Forget();
    }
}

void Workspace::RenewOutput(const std::string& file)
{
    context_.sink = nullptr;
    output_.reset();
    output_ = std::make_unique<Output>(*this, file);
    context_.sink = output_->Sink();
    context_.messages = output_->Notes();
}

void Workspace::SendOutputTo(const std::string& file)
{
    context_.sink = nullptr;
    output_.reset();
    destination_->Keep();
    destination_.emplace("");
    if (!file.empty()) {
        destination_.emplace(file);
    }
    RenewOutput();
}

void Workspace::KeepOwnOutput()
{
    output_->Keep();
}

void Workspace::KeepOutput()
{
    destination_->Keep();
}

std::FILE* Workspace::Out() const
{
    return output_->Out();
}

Caller& Workspace::Calls()
{
    if (calls_ == nullptr) {
        calls_ = std::make_unique<Caller>(*gateway_, session_ ? session_->Connection() : "", false);
    }
    return *calls_;
}

void Workspace::Trace(bool is_on, const std::string& file)
{
    std::unique_ptr<TraceView> view;
    if (is_on) {
        view = file.empty() ? std::make_unique<TraceView>() : std::make_unique<TraceView>(file);
    }
    trace_.reset();  // one scope ends before the next begins
    {
        const TraceScope silence(nullptr);
        gateway_->Call("SetLogOption", {is_on ? 1 : 0});
    }
    trace_ = std::move(view);
    if (trace_ != nullptr) {
        trace_->Watch();
    }
    options_.log = is_on;
}
