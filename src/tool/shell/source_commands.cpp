#include <fmt/format.h>

#include <filesystem>

#include "client/odbc_numbers.h"
#include "client/version.h"
#include "drivers/ConnectionString.h"
#include "drivers/driver_kind.h"
#include "drivers/shims.h"
#include "text/value_syntax.h"
#include "tool/commands/data_sources.h"
#include "tool/commands/describe_table.h"
#include "tool/connection_words.h"
#include "tool/shell/handlers.h"
#include "tool/shell/own_program.h"

namespace {

std::string Told(const Session& session, std::int32_t type)
{
    try {
        return session.Information(type);
    } catch (const SqlError&) {
        return "";  // the driver has no answer
    }
}

std::string KindText(const std::string& driver)
{
    const DriverKind kind = driver.empty() ? DriverKind{} : KindOfDriver(driver);
    switch (kind.form) {
        case DriverKind::kNarrow:
            return "narrow functions only";
        case DriverKind::kWide:
            return kind.character_width == 0 ? "wide functions"
                                             : fmt::format("wide functions, characters of {} bytes",
                                                           kind.character_width);
        default:
            return "unknown";
    }
}

std::string ModeText(const SessionOptions& options)
{
    const std::string text = options.unicode ? "unicode" : "none";
    return options.legacy ? (options.unicode ? "unicode, legacy" : "legacy") : text;
}

void ShowFact(std::FILE* out, const char* subject, const std::string& what)
{
    fmt::print(out, "{:<16}{}\n", subject, what.empty() ? "unknown" : what);
}

// The rest of a line, in '...' or not; semicolons behind it are a habit.
NamePattern PatternOf(const MetaCall& call)
{
    const auto text = call.rest.substr(0, call.rest.find_last_not_of("; ") + 1);
    return NamePattern(text.starts_with('\'') && text.ends_with('\'') && text.size() > 1
                           ? text.substr(1, text.size() - 2)
                           : text);
}

}  // namespace

void handlers::Connect(const MetaCall& call)
{
    ConnectionWords words;
    std::string_view rest = call.rest;
    if (rest.starts_with("-W")) {
        words.asks_password = true;
        rest.remove_prefix(std::min(rest.find_first_not_of(' ', 2), rest.size()));
    }
    words.string = std::string(rest);
    if (rest.empty()) {
        if (call.workspace.ConnectionString().empty()) {
            throw UsageError("\\connect takes a connection string or the name of a data source");
        }
        return call.workspace.Connect(call.workspace.ConnectionString());
    }
    call.workspace.Connect(*WholeConnectionString(words));
}

void handlers::ShowConnection(const MetaCall& call)
{
    const Session& session = call.workspace.Connected();
    std::FILE* out = call.workspace.Out();
    const std::string& driver = session.DriverFile();
    ShowFact(out, "connection", ConnectionString(call.workspace.ConnectionString()).Masked());
    ShowFact(out, "source", Told(session, kDbmsName) + " " + Told(session, kDbmsVersion));
    ShowFact(out, "driver",
             fmt::format("{} {}, {}", Told(session, kDriverName), Told(session, kDriverVersion),
                         driver.empty() ? "file unknown" : driver));
    ShowFact(out, "kind", KindText(driver));
    const auto shim = driver.empty() ? std::nullopt : AsShim(driver);
    ShowFact(
        out, "shim",
        shim ? fmt::format("{}, in front of {}", shim->face->name, shim->driver.string()) : "none");
    ShowFact(out, "driver manager", LoadedDriverManager().Text());
    ShowFact(out, "mode", ModeText(session.Options()));
    ShowFact(out, "transaction", call.workspace.IsInTransaction() ? "open" : "none");
    ShowFact(out, "gateway", fmt::format("{}, {}", kVersion, call.workspace.Words().library));
}

void handlers::SetUnicode(const MetaCall& call)
{
    const SessionOptions& options = call.workspace.Options();
    call.workspace.ConnectInMode(call.Switched(options.unicode), options.legacy);
}

void handlers::SetLegacy(const MetaCall& call)
{
    const SessionOptions& options = call.workspace.Options();
    call.workspace.ConnectInMode(options.unicode, call.Switched(options.legacy));
}

void handlers::RunDoctor(const MetaCall& call)
{
    const Workspace& workspace = call.workspace;
    const std::string& string =
        call.rest.empty() ? workspace.ConnectionString() : std::string(call.rest);
    if (string.empty()) {
        throw UsageError("\\doctor takes a connection string or the name of a data source");
    }
    RunOwnProgram(
        {"--library", workspace.Words().library, "doctor"}, string,
        [&](std::string_view text) { std::fwrite(text.data(), 1, text.size(), workspace.Out()); });
}

void handlers::ListDataSources(const MetaCall& call)
{
    ScriptContext& context = call.workspace.Context();
    ListSources(call.workspace.Library(), PatternOf(call), *context.sink, *context.messages);
}

template <CatalogKind kind>
void handlers::List(const MetaCall& call)
{
    ScriptContext& context = call.workspace.Context();
    ListCatalog(call.workspace.Connected(), kind, PatternOf(call), *context.sink,
                *context.messages);
}

template void handlers::List<CatalogKind::kTables>(const MetaCall&);
template void handlers::List<CatalogKind::kViews>(const MetaCall&);
template void handlers::List<CatalogKind::kSchemas>(const MetaCall&);
template void handlers::List<CatalogKind::kIndexes>(const MetaCall&);
template void handlers::List<CatalogKind::kProcedures>(const MetaCall&);
template void handlers::List<CatalogKind::kPrivileges>(const MetaCall&);

void handlers::Describe(const MetaCall& call)
{
    const Session& session = call.workspace.Connected();
    ScriptContext& context = call.workspace.Context();
    const NamePattern pattern = PatternOf(call);
    if (pattern.IsEmpty()) {
        ListCatalog(session, CatalogKind::kRelations, pattern, *context.sink, *context.messages);
    } else {
        DescribeTables(session, pattern, *context.sink, *context.messages);
    }
}

void handlers::Begin(const MetaCall& call)
{
    call.workspace.Begin();
}

void handlers::Commit(const MetaCall& call)
{
    call.workspace.Commit();
}

void handlers::Rollback(const MetaCall& call)
{
    call.workspace.Rollback();
}

void handlers::SetAutocommit(const MetaCall& call)
{
    call.workspace.SetAutocommit(call.Switched(call.workspace.CommitsByItself()));
}
