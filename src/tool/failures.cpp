#include "tool/failures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "client/Session.h"
#include "drivers/ConnectionString.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "tool/connection_words.h"

namespace {

// A driver may repeat a connection string.
std::string Shown(const std::string& text)
{
    return Printable(WithoutSecrets(text));
}

std::string NativeCodeOf(const std::string& line)
{
    const auto open = line.find('[', line.find("NativeError:"));
    return open == std::string::npos ? "" : line.substr(open + 1, line.find(']', open) - open - 1);
}

// The message of a diagnostic record first, then what a person may have to look up.
std::string DiagnosticText(const std::string& line, const std::string& entry)
{
    return fmt::format("{} (SQLSTATE {}, native code {}{}{})", MessageOf(line), StateOf(line),
                       NativeCodeOf(line), entry.empty() ? "" : ", ", entry);
}

bool IsRecord(const std::string& line)
{
    return !StateOf(line).empty() && MessageOf(line) != line;
}

// "file: line 3: Execute failed with code -1" is about a place and an entry. What is no record of
// the driver's is a note, and follows.
void Report(const SqlError& error)
{
    const std::string what = error.what();
    const auto end = what.find(" failed with code");
    const auto start = what.substr(0, end).rfind(' ') + 1;
    const bool names_entry = end != std::string::npos;
    const std::string entry = names_entry ? what.substr(start, end - start) : "";
    const std::string place = names_entry ? what.substr(0, start) : "";
    if (std::ranges::none_of(error.diagnostics, &IsRecord)) {
        Complain(what);
    }
    for (const std::string& line : error.diagnostics) {
        if (IsRecord(line)) {
            Complain(place + DiagnosticText(line, entry));
        } else {
            std::fputs((Shown(line) + "\n").c_str(), stderr);
        }
    }
}

}  // namespace

void Complain(std::string_view what)
{
    std::fputs(fmt::format("orvelgw: {}\n", Shown(std::string(what))).c_str(), stderr);
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
        Complain(fmt::format("the connection failed; \"orvelgw doctor{}\" says why",
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
