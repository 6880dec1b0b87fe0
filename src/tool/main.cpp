// orvelgw: a host of the gateway for a person.
#include <langinfo.h>
#include <unistd.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "client/Gateway.h"
#include "client/HostServices.h"
#include "client/Query.h"
#include "client/Session.h"
#include "client/own_files.h"
#include "doctor/Doctor.h"
#include "drivers/shims.h"
#include "text/list_text.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/CommandLine.h"
#include "tool/commands/Caller.h"
#include "tool/commands/import.h"
#include "tool/output/TablePrinter.h"

namespace {

constexpr char kLibraryName[] = "liborvelgw.so";

void Complain(std::string_view what)
{
    std::fprintf(stderr, "orvelgw: %s\n", Printable(what).c_str());
}

// The gateway converts text by the process locale. Of the user's locale only LC_CTYPE is taken:
// drivers that print numbers are to print them with a point. ASCII alone carries too little.
void SetLocale()
{
    const bool is_set = std::setlocale(LC_CTYPE, "") != nullptr;
    if (!is_set || std::string_view(nl_langinfo(CODESET)) == "ANSI_X3.4-1968") {
        std::setlocale(LC_CTYPE, "C.UTF-8");
    }
}

std::string LibraryPath(const CommandLine& command)
{
    if (!command.library.empty()) {
        return command.library;
    }
    std::error_code none;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", none);
    const auto found =
        FindOwnFile(program.parent_path(), kLibraryName, ORVELGW_LIBRARY_FOLDER_FROM_TOOL);
    return found.empty() ? kLibraryName : found.string();
}

// The gateway cuts such a string without a word, and what is left may mean another place.
bool WouldBeCut(const std::string& connection_string)
{
    return connection_string.size() > Session::kLongestConnectionString &&
           IsConnectionString(connection_string);
}

void Report(const SqlError& error)
{
    Complain(error.what());
    for (const std::string& line : error.diagnostics) {
        std::fprintf(stderr, "%s\n", Printable(line).c_str());
    }
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

ExitCode CarryOutThroughGateway(const CommandLine& command)
{
    HostServices::Instance().on_record = [](const TraceRecord& record) {
        std::fprintf(stderr, "trace: %s\n", RecordText(record).c_str());
    };
    const Gateway gateway(LibraryPath(command));
    std::optional<Session> session;
    if (command.connection_string) {
        session.emplace(gateway, command.options, *command.connection_string);
    }
    TablePrinter printer(stdout, stderr, command.null_text);
    ExitCode exit_code = kDone;
    if (!command.call.empty()) {
        Caller caller(gateway, session ? &*session : nullptr, command.is_hex, stdout, stderr);
        exit_code = caller.Run(command.call) ? kDone : kSqlFailed;
    } else if (!command.import.empty()) {
        Import(*session, command, printer);
    } else {
        RunStatements(*session, command, printer);
    }
    return exit_code;
}

ExitCode PrintShim(const CommandLine& command)
{
    const auto made = MakeShim(FaceOf(command.shim_face), LibraryPath(command),
                               DriverNamed(command.shim_driver), command.shim_folder);
    std::printf("DRIVER=%s\n", Printable(made.string()).c_str());
    return kDone;
}

ExitCode PrintDiagnosis(const CommandLine& command)
{
    switch (Diagnose(LibraryPath(command), *command.connection_string, stdout)) {
        case Diagnosis::kAllRight:
            return kDone;
        case Diagnosis::kTextWrong:
            return kSqlFailed;
        case Diagnosis::kGatewayUnusable:
            return kLibraryUnusable;
        default:
            return kConnectionFailed;
    }
}

ExitCode CarryOut(const CommandLine& command)
{
    const ExitCode exit_code = !command.shim_face.empty() ? PrintShim(command)
                               : command.diagnose         ? PrintDiagnosis(command)
                                                          : CarryOutThroughGateway(command);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw std::runtime_error("the output could not be written");
    }
    return exit_code;
}

}  // namespace

int main(int count, char** words)
{
    try {
        const Parsed parsed = ParseCommandLine(count, words);
        if (!parsed.carry_out) {
            return parsed.exit_code;
        }
        if (WouldBeCut(parsed.command.connection_string.value_or(""))) {
            Complain("the connection string is longer than the gateway takes, 254 bytes");
            return kWrongUsage;
        }
        SetLocale();
        return CarryOut(parsed.command);
    } catch (const UsageError& error) {
        Complain(error.what());
        return kWrongUsage;
    } catch (const LoadError& error) {
        Complain(error.what());
        return kLibraryUnusable;
    } catch (const CallError& error) {
        Complain(error.what());
        return kLibraryUnusable;
    } catch (const ConnectError& error) {
        Report(error);
        return kConnectionFailed;
    } catch (const SqlError& error) {
        Report(error);
        return kSqlFailed;
    } catch (const std::bad_alloc&) {
        Complain("the memory is not enough");
        return kSqlFailed;
    } catch (const std::exception& error) {
        Complain(error.what());
        return kSqlFailed;
    }
}
