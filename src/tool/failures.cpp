#include "tool/failures.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "client/Session.h"
#include "drivers/ConnectionString.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/connection_words.h"

namespace {

void Say(std::string_view what)
{
    std::fputs(fmt::format("orvelgw: {}\n", Printable(what)).c_str(), stderr);
}

// Whoever failed may repeat a connection string.
void Complain(std::string_view what)
{
    Say(WithoutSecrets(what));
}

std::string NativeCodeOf(const std::string& line)
{
    const auto open = line.find('[', line.find("NativeError:"));
    return open == std::string::npos ? "" : line.substr(open + 1, line.find(']', open) - open - 1);
}

// The message of a diagnostic record first, then what a person may have to look up.
std::string DiagnosticText(const std::string& line, const std::string& entry)
{
    const std::string state = StateOf(line);
    if (state.empty() || MessageOf(line) == line) {
        return line;
    }
    return fmt::format("{} (SQLSTATE {}, native code {}{}{})", MessageOf(line), state,
                       NativeCodeOf(line), entry.empty() ? "" : ", ", entry);
}

}  // namespace

void Report(const SqlError& error)
{
    const std::string place = error.place.empty() ? "" : error.place + ": ";
    if (error.diagnostics.empty()) {
        Complain(place + error.what());
    }
    for (const std::string& line : error.diagnostics) {
        Complain(place + DiagnosticText(line, error.entry));
    }
    if (!error.aftermath.empty()) {
        Complain(error.aftermath);
    }
}

ExitCode ReportFailure(const CommandLine& command)
{
    try {
        throw;
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
        Say(fmt::format("the connection failed; \"orvelgw doctor{}\" says why",
                        WordsForConnection(command.connection)));
        return kConnectionFailed;
    } catch (const SqlError& error) {
        Report(error);
        return kSqlFailed;
    } catch (const std::bad_alloc&) {
        Complain("out of memory");
        return kSqlFailed;
    } catch (const std::exception& error) {
        Complain(error.what());
        return kSqlFailed;
    }
}
