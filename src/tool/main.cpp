// orvelgw: a host of the gateway for a person.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "client/Gateway.h"
#include "client/HostServices.h"
#include "client/Query.h"
#include "client/Session.h"
#include "client/utf8_locale.h"
#include "drivers/ConnectionString.h"
#include "text/list_text.h"
#include "text/terminal_text.h"
#include "tool/CommandLine.h"
#include "tool/commands/call.h"
#include "tool/commands/doctor.h"
#include "tool/commands/import.h"
#include "tool/commands/shim.h"
#include "tool/connection_words.h"
#include "tool/crash_report.h"
#include "tool/failures.h"
#include "tool/output/TablePrinter.h"

namespace {

constexpr char kLibraryName[] = "liborvelgw.so";

std::string DefaultLibrary()
{
    std::error_code none;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", none);
    const auto beside = program.parent_path() / kLibraryName;
    return std::filesystem::exists(beside, none) ? beside.string() : kLibraryName;
}

void ShowProgress(std::size_t rows)
{
    constexpr std::size_t kStep = 500;
    if (rows % kStep == 0 && ::isatty(STDERR_FILENO) == 1) {
        std::fprintf(stderr, "\r%zu rows", rows);
    }
}

void Import(const Session& session, const CommandLine& command, ResultSink& sink)
{
    const char* start_of_line = ::isatty(STDERR_FILENO) == 1 ? "\r" : "";
    try {
        const std::size_t rows =
            ImportCsv(session, command.import[0], command.import[1], sink, ShowProgress);
        std::fprintf(stderr, "%s(%zu %s imported)\n", start_of_line, rows,
                     rows == 1 ? "row" : "rows");
    } catch (...) {
        std::fputs(start_of_line, stderr);
        throw;
    }
}

void RunStatements(const Session& session, const CommandLine& command, ResultSink& sink)
{
    for (const std::string& statement : command.statements) {
        Query query(session, statement, sink);
        query.Bind(command.markers);
        if (!command.get_file) {
            query.Run();
            continue;
        }
        const auto size = query.RunIntoFile(*command.get_file);
        std::fprintf(stderr, "(%ju %s written to %s%s)\n", static_cast<std::uintmax_t>(size),
                     size == 1 ? "byte" : "bytes", Printable(*command.get_file).c_str(),
                     size == 0 ? ": NULL, or an empty value" : "");
    }
}

void ShowRecord(const TraceRecord& record)
{
    std::fprintf(stderr, "trace: %s\n", WithoutSecrets(RecordText(record)).c_str());
}

ExitCode CarryOutOnConnection(const CommandLine& command, const Gateway& gateway)
{
    const Session session(gateway, command.options, *command.connection_string);
    NameDriverOfCrashes(session.DriverFile());
    TablePrinter printer(stdout, stderr, command.null_text);
    if (command.task == CommandLine::Task::kImport) {
        Import(session, command, printer);
    } else {
        RunStatements(session, command, printer);
    }
    return kDone;
}

ExitCode CarryOutThroughGateway(const CommandLine& command)
{
    const TraceScope trace(&ShowRecord);
    const Gateway gateway(command.library);
    ReportCrashes();
    NameDriverOfCrashes(ConnectionString(command.connection_string.value_or("")).First("DRIVER"));
    switch (command.task) {
        case CommandLine::Task::kCall:
            return CallEntries(command, gateway);
        case CommandLine::Task::kListEntries:
            return ListEntries(gateway);
        default:
            return CarryOutOnConnection(command, gateway);
    }
}

ExitCode CarryOut(const CommandLine& command)
{
    switch (command.task) {
        case CommandLine::Task::kShim:
            return PrintShim(command);
        case CommandLine::Task::kDoctor:
            return PrintDiagnosis(command);
        default:
            return CarryOutThroughGateway(command);
    }
}

// What the words leave to files, the environment and the program's own place.
void Complete(CommandLine& command)
{
    if (command.library.empty()) {
        command.library = DefaultLibrary();
    }
    const bool connects =
        command.task != CommandLine::Task::kShim && command.task != CommandLine::Task::kListEntries;
    if (connects) {
        command.connection_string = WholeConnectionString(command.connection);
    }
}

}  // namespace

int main(int count, char** words)
{
    Parsed parsed = ParseCommandLine(count, words);
    if (!parsed.has_task) {
        return parsed.exit_code;
    }
    HideSecrets(parsed.command.connection, words);
    UseUtf8Locale();
    try {
        Complete(parsed.command);
        const ExitCode exit_code = CarryOut(parsed.command);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            throw std::runtime_error("the output could not be written");
        }
        return exit_code;
    } catch (...) {
        return ReportFailure(parsed.command);
    }
}
