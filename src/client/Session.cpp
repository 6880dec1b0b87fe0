#include "client/Session.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "client/HostList.h"
#include "client/ascii.h"
#include "client/loaded_objects.h"
#include "client/odbc_numbers.h"

namespace {

// The gateway's lines end in CR LF; whatever displays them adds line ends of its own.
std::string WithoutLineEnd(std::string line)
{
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return line;
}

}  // namespace

std::vector<std::string> DiagnosticLines(const Gateway& gateway, const std::string& connection,
                                         const std::string& statement)
{
    const Reply reply = gateway.Call("GetSQLErrors", {connection, statement});
    std::vector<std::string> lines;
    for (const ListElement& line : DecodeList(reply.List())) {
        if (!line.payload.empty()) {
            lines.push_back(WithoutLineEnd(line.Text()));
        }
    }
    return lines;
}

std::string StateOf(const std::string& line)
{
    const auto open = line.find('(');
    const auto close = line.find(')');
    return open < close && close != std::string::npos ? line.substr(open + 1, close - open - 1)
                                                      : "";
}

std::string MessageOf(const std::string& line)
{
    constexpr std::string_view kMark = "Message: ";
    const auto mark = line.find(kMark);
    return mark == std::string::npos ? line : line.substr(mark + kMark.size());
}

bool IsConnectionString(std::string_view text)
{
    constexpr std::size_t kLongest = 6;
    const auto word = text.substr(0, std::min(text.find_first_of("= "), kLongest));
    return EqualsIgnoringCase(word, "DRIVER") || EqualsIgnoringCase(word, "DSN");
}

Session::Session(const Gateway& gateway, const SessionOptions& options,
                 const std::string& connection_string)
    : gateway_(gateway), options_(options)
{
    const DriverWatch watch;
    if (options.log) {
        gateway_.Call("SetLogOption", {1});
    }
    gateway_.Call("SetUnicodeOption", {options.unicode ? 1 : 0});
    gateway_.Call("SetLegacyOption", {options.legacy ? 1 : 0});
    connection_ = gateway_.Call("DSNConnect", {connection_string}).Bytes();
    if (connection_.empty()) {
        const bool tried = gateway_.Call("WasError").code != ORVEL_WAS_SUCCESS;
        throw ConnectError(tried ? "the connection failed" : "there is no ODBC environment",
                           Diagnostics());
    }
    driver_file_ = watch.Found(connection_string.substr(0, connection_string.find(';')));
    is_wide_shim_ = std::filesystem::path(driver_file_).filename().string().starts_with("wide-");
    driver_is_narrow_ = !driver_file_.empty() && !Defines(driver_file_, "SQLConnectW");
}

Session::~Session()
{
    try {
        gateway_.Call("Disconnect", {connection_});
    } catch (...) {
        // The outcome already on its way matters more.
    }
}

Reply Session::Call(const std::string& entry, const std::vector<Argument>& rest) const
{
    Reply reply = gateway_.CallOn(connection_, entry, rest);
    CheckFlags(entry, {});
    return reply;
}

void Session::Check(std::string_view entry, std::int32_t code, const std::string& statement,
                    Reporter& reporter) const
{
    if (code == ORVEL_SUCCESS) {
        return;
    }
    if (code == ORVEL_SUCCESS_WITH_INFO) {
        reporter.Warned(Diagnostics(statement));
        return;
    }
    CheckException(entry, statement);
    throw SqlError(fmt::format("{} failed with code {}", entry, code), Diagnostics(statement),
                   std::string(entry));
}

void Session::CheckFlags(std::string_view entry, const std::string& statement) const
{
    CheckException(entry, statement);
    if (gateway_.Call("WasError").code != ORVEL_WAS_SUCCESS) {
        throw SqlError(fmt::format("{} failed", entry), Diagnostics(statement), std::string(entry));
    }
}

void Session::CheckException(std::string_view entry, const std::string& statement) const
{
    if (gateway_.Call("WasError").code == ORVEL_WAS_EXCEPTION) {
        Fail(fmt::format("{} met an exception, such as text that the locale can't express", entry),
             statement);
    }
}

void Session::Fail(const std::string& what, const std::string& statement) const
{
    throw SqlError(what, Diagnostics(statement));
}

bool Session::HasSeveralResults() const
{
    try {
        // A text, and a set of bits.
        return Information(kMultipleResultSets).starts_with('Y') ||
               !Information(kBatchSupport).empty();
    } catch (const SqlError&) {
        return true;  // the driver has no answer
    }
}

SourceTraits Session::Source() const
{
    if (!source_) {
        source_ = TraitsOfSource(Information(kDbmsName));
    }
    return *source_;
}

std::string Session::Information(std::int32_t type) const
{
    const Reply reply = Call("GetInfo", {type});
    const auto list = DecodeList(reply.List());
    const std::string text = list.empty() ? "" : list[0].Text();
    return text.substr(0, text.find('\0'));
}

std::vector<std::string> Session::Diagnostics(const std::string& statement) const
{
    return DiagnosticLines(gateway_, connection_, statement);
}

Transaction::Transaction(const Session& session) : session_(session)
{
    session_.Call("SetConnectOption", {kAutocommit, 0});
}

Transaction::~Transaction()
{
    try {
        if (is_open_) {
            session_.Call("Transact", {kRollback});
        }
        session_.Call("SetConnectOption", {kAutocommit, 1});
    } catch (...) {
        // The outcome already on its way matters more.
    }
}

void Transaction::Commit()
{
    CommitAndGoOn();
    is_open_ = false;
}

void Transaction::CommitAndGoOn()
{
    session_.Call("Transact", {kCommit});
}

void Transaction::Rollback()
{
    is_open_ = false;
    session_.Call("Transact", {kRollback});
}
