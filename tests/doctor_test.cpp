// What the doctor says of a data source.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "LocalPort.h"
#include "run_tool.h"
#include "shell/doctor/ConnectionString.h"
#include "shell/doctor/DataSource.h"
#include "shell/doctor/DoctorReport.h"
#include "shell/doctor/Profiles.h"
#include "shell/doctor/checks.h"
#include "shell/doctor/judge.h"
#include "shell/doctor/round_trips.h"
#include "shell/doctor/server.h"
#include "shell/run_apart.h"

namespace {

namespace fs = std::filesystem;

constexpr char kMemory[] = "DRIVER={SQLite3};Database=:memory:";

std::string Words(const std::string& connection_string)
{
    return "doctor -d '" + connection_string + "'";
}

/// A line of a report: its subject and verdict, and a part of what was found.
struct Line {
    std::string start;
    std::string part;
};

bool HasLine(const std::string& report, const Line& line)
{
    for (auto at = report.find(line.start); at != std::string::npos;
         at = report.find(line.start, at + 1)) {
        const auto end = report.find('\n', at);
        if ((at == 0 || report[at - 1] == '\n') &&
            report.substr(at, end - at).find(line.part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

/// A configuration of a test's own.
class DoctorFiles : public testing::Test {
protected:
    DoctorFiles()
    {
        fs::create_directory(folder);
        std::ofstream(folder / "odbc.ini") << "[here]\nDriver=Mine\nDatabase=:memory:\n"
                                              "[elsewhere]\nDriver=/no/such/driver.so\n"
                                              "[empty]\nDatabase=x\n"
                                              "[far]\nDriver=" WIDE_DRIVER_4
                                              "\nServer=127.0.0.1\n"
                                              "Port="
                                           << closed << "\n";
        std::ofstream(folder / "odbcinst.ini") << "[Mine]\nDriver=libsqlite3odbc.so\n";
        std::ofstream(folder / "text.so") << "no library";
    }
    ~DoctorFiles() override { fs::remove_all(folder); }

    Finished Diagnosed(const std::string& connection_string, const std::string& more = "") const
    {
        return RunTool(Words(connection_string),
                       "ODBCINI=" + (folder / "odbc.ini").string() +
                           " ODBCINSTINI=" + (folder / "odbcinst.ini").string() + " " + more);
    }

    const LocalPort silent{LocalPort::kSilent};
    const LocalPort nobody{LocalPort::kNobody};
    const std::string open = std::to_string(silent.number);
    const std::string closed = std::to_string(nobody.number);
    const fs::path folder =
        fs::temp_directory_path() / ("orvelgw-doctor-" + std::to_string(::getpid()));
};

TEST(Doctor, TellsOfEveryPartAndEveryMode)
{
    const Finished run = RunTool(Words(std::string(kMemory) + ";PWD=hush;Port={a;b}"));
    EXPECT_EQ(run.exit_code, 0) << run.data << run.messages;
    const Line lines[] = {
        {"library         right", "/liborvelgw.so, interface 10, package 10.0.0"},
        {"driver manager  right", "iODBC 3.52"},
        {"LC_CTYPE        right", "UTF-8"},
        {"data source     found", "DRIVER={SQLite3};Database=:memory:;PWD=***;Port={a;b}"},
        {"driver          found", "/libsqlite3odbc.so"},
        {"kind            right", "narrow functions only"},
        {"connection      right", "SQLite 3."},
        {"  NULL and empty text         right      right      right", ""},
        {"  é Ω 日                      right      right      right", ""},
        {"  é Ω 日 as a parameter       right      cut        right", ""},
        {"  😀 (beyond U+FFFF)          right      garbled    right", ""},
        {"  😀 as a parameter           right      ", "right"},
        {"  long text whole             right      right      right", ""},
        {"  long text by GetData        right      garbled    right", ""},
        {"  long text in small pieces   right      garbled    right", ""},
        {"  -> é Ω 日 as a parameter, -u: \"é Ω\" came; right in narrow and -l", ""},
        {"  -> 😀 (beyond U+FFFF), -u: U+F600 came; right in narrow and -l", ""},
        {"  -> long text in small pieces, -u: from", "; narrow text (C type 1) is right"},
    };
    for (const Line& line : lines) {
        EXPECT_TRUE(HasLine(run.data, line)) << line.start << line.part << "\n" << run.data;
    }
    EXPECT_EQ(run.messages, "");
    EXPECT_EQ(RunTool("-d '" + std::string(kMemory) + "' doctor").exit_code, 0);
}

TEST_F(DoctorFiles, NamesTheCauseOfARefusal)
{
    const std::string wide = std::string("DRIVER=") + WIDE_DRIVER_2;
    const std::string right = std::string("DRIVER=") + WIDE_DRIVER_4;
    const std::string server = ";UID=u;PWD=hush;Server=127.0.0.1;Port=";
    struct Case {
        std::string string;
        std::vector<Line> lines;
    };
    const Case cases[] = {
        {"nowhere",
         {{"data source     unknown", "DSN=nowhere"},
          {"connection      refused", "SQLState: (IM002)"},
          {"cause           unknown", "no data source has the name nowhere"},
          {"                -> data sources", ": here, elsewhere, empty, far"},
          {"                -> drivers", ": Mine"}}},
        {"", {{"cause           unknown", "neither a driver nor a data source is named"}}},
        {"empty",
         {{"cause           incomplete", "the data source empty names no driver"},
          {"                -> write Driver = ... into [empty] of " + folder.string(), ""}}},
        {"elsewhere",
         {{"data source     found", "DSN=elsewhere"},
          {"                           data source [elsewhere] of " + folder.string(), ""},
          {"driver          missing", "/no/such/driver.so"},
          {"cause           missing", "there is no file /no/such/driver.so"}}},
        {"DRIVER={Yours}", {{"cause           unknown", "no driver has the name Yours"}}},
        {"DRIVER={" + (folder / "text.so").string() + "}",
         {{"cause           braces", ""},
          {"                -> write DRIVER=" + (folder / "text.so").string(), ""}}},
        {"DRIVER=" + (folder / "text.so").string(),
         {{"kind            unloadable", "text.so: file too short"}}},
        {"DRIVER=/lib/x86_64-linux-gnu/libm.so.6", {{"cause           no driver", "libm.so.6"}}},
        {"DRIVER={Mine};Database=/no/such/folder",
         {{"connection      refused", "connect failed"},
          {"cause           refused", "in the driver's words: connect failed"}}},
        {right + server + closed,
         {{"kind            right", "4-byte"},
          {"server          unreached", "127.0.0.1 port " + closed + ": Connection refused"},
          {"cause           stopped", "nobody listens at 127.0.0.1 port " + closed}}},
        {"far", {{"cause           stopped", "nobody listens at 127.0.0.1 port " + closed}}},
        {right + ";Server=no-such-host.invalid,5",
         {{"cause           unknown", "no host has the name no-such-host.invalid"}}},
        {right + ";Host=127.0.0.1:" + open,
         {{"connection      refused", "(28000) NativeError: [7] Message: Login failed"},
          {"server          right", "somebody listens"},
          {"cause           refused", "refuses the user or the password"}}},
        {wide + server + closed,
         {{"kind            misused", "2-byte"},
          {"with the shim   refused", "(28000) NativeError: [7] Message: Login failed"},
          {"cause           misused", ""},
          {"                -> ln -s ", "/narrow-libwide-driver-2.so"},
          {"                -> DRIVER=", "/narrow-libwide-driver-2.so"},
          {"  behind it     stopped", "nobody listens"}}},
    };
    for (const Case& c : cases) {
        const Finished run = Diagnosed(c.string);
        EXPECT_EQ(run.exit_code, 4) << c.string << "\n" << run.data << run.messages;
        for (const Line& line : c.lines) {
            EXPECT_TRUE(HasLine(run.data, line)) << line.start << line.part << "\n" << run.data;
        }
        EXPECT_EQ((run.data + run.messages).find("hush"), std::string::npos) << run.data;
    }
    EXPECT_EQ(Diagnosed("here").exit_code, 0);
}

TEST_F(DoctorFiles, OutlivesADriver)
{
    const Finished crashed = Diagnosed(std::string("DRIVER=") + WIDE_DRIVER_4, "TEST_DRIVER=crash");
    EXPECT_EQ(crashed.exit_code, 4);
    EXPECT_TRUE(HasLine(crashed.data, {"kind            unknown", "wide functions"}));
    EXPECT_TRUE(HasLine(crashed.data, {"cause           crashed", "the driver crashed: Aborted"}))
        << crashed.data;
}

TEST_F(DoctorFiles, TriesTheShimAndSaysWhatTheSourceDoesNotTake)
{
    const Finished wide = Diagnosed(std::string("DRIVER=") + WIDE_DRIVER_2, "TEST_DRIVER=connect");
    EXPECT_EQ(wide.exit_code, 4);
    EXPECT_TRUE(HasLine(wide.data, {"with the shim   right", ""})) << wide.data;
    const Finished connected =
        Diagnosed(std::string("DRIVER=") + WIDE_DRIVER_2, "TEST_DRIVER=wide");
    EXPECT_EQ(connected.exit_code, 1);
    EXPECT_TRUE(HasLine(connected.data, {"                -> ln -s", ""})) << connected.data;
    const auto link = folder / "narrow-driver.so";
    fs::create_symlink(fs::canonical(ORVELGW_NARROW_SHIM), link);
    fs::create_symlink(WIDE_DRIVER_2, folder / "driver.so");
    const Finished run = Diagnosed("DRIVER=" + link.string(), "TEST_DRIVER=connect");
    EXPECT_EQ(run.exit_code, 1) << run.data;
    const Line lines[] = {
        {"behind the shim found", (folder / "driver.so").string()},
        {"kind            right", "narrow functions only"},
        {"connection      right", ""},
        {"SELECT narrow   refused", "FROM is missing"},
        {"                -> this source takes no SELECT without FROM", ""},
    };
    for (const Line& line : lines) {
        EXPECT_TRUE(HasLine(run.data, line)) << line.start << "\n" << run.data;
    }
}

TEST_F(DoctorFiles, SaysThatNothingIsBehindTheShim)
{
    const auto link = folder / "narrow-nothing.so";
    fs::create_symlink(fs::canonical(ORVELGW_NARROW_SHIM), link);
    const Finished run = Diagnosed("DRIVER=" + link.string());
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_TRUE(HasLine(run.data, {"cause           unloadable", "/odbc/nothing.so: cannot open"}))
        << run.data;
}

TEST(DoctorLibrary, UnusableIsReported)
{
    const Finished run = RunTool(Words(kMemory) + " --library /nowhere.so");
    EXPECT_EQ(run.exit_code, 3);
    EXPECT_TRUE(HasLine(run.data, {"library         unusable", "/nowhere.so"})) << run.data;
}

TEST(ConnectionString, HidesPasswords)
{
    const std::pair<const char*, const char*> cases[] = {
        {"name", "DSN=name"},
        {"Server=x;pwd=a", "DSN=Server=x;pwd=***"},
        {"DSN=a;PassWord={b;c}d;UID=e", "DSN=a;PassWord=***;UID=e"},
        {"dsn=a;PWD={b;UID=e", "dsn=a;PWD=***"},
        {"DRIVER={A;B};pqopt={password=b};X", "DRIVER={A;B};pqopt=***;X"},
    };
    for (const auto& [text, masked] : cases) {
        EXPECT_EQ(ConnectionString(text).Masked(), masked);
    }
    const ConnectionString string("DRIVER=a;uid=b;UID=c;DRIVER=d");
    EXPECT_EQ(string.Value("Uid"), "b");
    EXPECT_EQ(string.Through("/e.so"), "DRIVER=/e.so;uid=b;UID=c");
}

TEST(ServerOf, TakesWhatSaysHostAndPort)
{
    const std::pair<const char*, const char*> cases[] = {
        {"DRIVER=/psqlodbca.so;Servername=h", "h port 5432"},
        {"DRIVER=/psqlodbca.so;Server=h;Port=7", "h port 7"},
        {"DRIVER=/psqlodbca.so;Server=h1,h2", ""},
        {"DRIVER=/psqlodbca.so;Server=/run/x", ""},
        {"DRIVER=/psqlodbca.so;Server=::1", "::1 port 5432"},
        {"DRIVER=/virtodbc_r.so;Host=h:8", "h port 8"},
        {"DRIVER=/libtdsodbc.so;Server=h,9", "h port 9"},
        {"DRIVER=/libtdsodbc.so;Server=h\\x", ""},
        {"DRIVER=/libtdsodbc.so;Servername=h", ""},
        {"DRIVER=/narrow-libmaodbc.so;Server=h", "h port 3306"},
        {"DRIVER=/other.so;Server=h", ""},
    };
    const Profiles profiles;
    for (const auto& [text, expected] : cases) {
        const ConnectionString string(text);
        const DataSource source(string, profiles);
        const auto server = ServerOf(source, ProductOf(source.DriverFile()));
        EXPECT_EQ(server ? server->Text() : "", expected) << text;
    }
}

/// What is reported of these trials of the three modes.
std::string Reported(const RoundTrips& trips, bool is_right)
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = ::open_memstream(&text, &size);
    EXPECT_EQ(ReportRoundTrips(trips, DoctorReport(out)), is_right);
    std::fclose(out);
    std::string report(text, size);
    std::free(text);
    return report;
}

/// A trial whose checks are right but one, in their order.
ModeTrial Trial(std::size_t wrong = SIZE_MAX, const char* seen = "")
{
    ModeTrial trial;
    trial.is_connected = true;
    trial.findings.resize(Checks().size(), {"right", ""});
    if (wrong < trial.findings.size()) {
        trial.findings[wrong] = {"garbled", seen};
    }
    return trial;
}

TEST(RoundTrips, EachWrongOneComesWithWhatIsRight)
{
    ModeTrial refused;
    refused.refusal = "refused";
    refused.diagnostics = {"No ODBC 2"};
    ModeTrial national = Trial(1, "\"e\" came");
    national.is_national = true;
    ModeTrial crashed = Trial(7, "the driver crashed: Aborted");
    const ModeTrial encoded = Trial();
    const auto three = [](const ModeTrial& trial) { return std::vector(3, trial); };
    struct Case {
        RoundTrips trips;
        bool is_right = false;
        Line line;
    };
    const Case cases[] = {
        {{three(Trial()), "", nullptr},
         true,
         {"  é Ω 日                      right      right", ""}},
        {{{Trial(), Trial(), refused}, "", nullptr},
         true,
         {"connection -l   refused    No ODBC 2", ""}},
        {{{Trial(), Trial(), refused}, "", nullptr},
         true,
         {"  long text whole             right      right      -", ""}},
        {{{Trial(), Trial(3, "x"), Trial(3, "x")}, "", nullptr},
         true,
         {"  -> 😀 (beyond U+FFFF), -u and -l: x; right in narrow", ""}},
        {{{national, national, Trial(1, "y")}, "", nullptr},
         false,
         {"  -> é Ω 日, -l: y; right as N'...' in narrow and -u", ""}},
        {{three(Trial(1, "x")), "CHARSET=u", &encoded},
         false,
         {"  -> é Ω 日, narrow and -u and -l: x; right with CHARSET=u in the connection string",
          ""}},
        {{three(Trial(2, "x")), "", nullptr},
         false,
         {"  -> é Ω 日 as a parameter", "; \"é Ω 日\" is right in narrow and -u and -l"}},
        {{three(Trial(3, "x")), "", nullptr},
         false,
         {"  -> 😀 (beyond U+FFFF)", "; \"😀 as a parameter\" is right in narrow"}},
        {{three(crashed), "", nullptr},
         false,
         {"  -> long text in small pieces", "Aborted; \"long text whole\" is right in narrow"}},
        {{three(Trial(0, "x")), "", nullptr},
         false,
         {"  -> NULL and empty text", "; this source, as it is set up, does not carry it"}},
        {{{Trial(), Trial(7, "x"), Trial()}, "", nullptr},
         true,
         {"  -> long text in small pieces, -u: x; narrow text (C type 1) is right", ""}},
    };
    for (const auto& c : cases) {
        const std::string report = Reported(c.trips, c.is_right);
        EXPECT_TRUE(HasLine(report, c.line)) << c.line.start << c.line.part << "\n" << report;
    }
}

TEST(Judge, FindsAWordForEveryLoss)
{
    const std::string long_text(100, 'x');
    const struct {
        std::string sent;
        std::string came;
        const char* verdict;
        const char* seen;
    } cases[] = {
        {"é Ω", "é Ω", "right", ""},
        {"", "", "right", ""},
        {"é Ω", "", "lost", "nothing came"},
        {"é Ω", "é", "cut", "\"é\" came"},
        {"é Ω", "Ω", "lost", "\"Ω\" came"},
        {"é Ω", "? ?", "garbled", "\"? ?\" came"},
        {"😀", "\xEF\x98\x80", "garbled", "U+F600 came"},
        {"é", "\xE9", "garbled", "\"\\xe9\" came"},
        {long_text + "é", long_text, "cut", "the first 100 of 101 characters"},
        {long_text + "éa", long_text + "a", "lost", "1 of 102 characters"},
        {long_text + "éa", long_text + "?a", "garbled", "from character 101 of 102 on"},
    };
    for (const auto& c : cases) {
        const Finding finding = Judge(c.sent, c.came);
        EXPECT_EQ(finding.verdict, c.verdict) << c.came;
        EXPECT_EQ(finding.seen, c.seen);
    }
}

TEST(RunApart, TellsHowWorkEnds)
{
    const Apart done = RunApart(10, [](const Say& say) { say(std::string(100'000, 'x')); });
    EXPECT_EQ(done.end, Apart::kDone);
    EXPECT_EQ(done.said.size(), 100'000U);
    const Apart crashed = RunApart(10, [](const Say& say) {
        say("so far");
        std::raise(SIGSEGV);
    });
    EXPECT_EQ(crashed.end, Apart::kCrashed);
    EXPECT_EQ(crashed.said, "so far");
    EXPECT_EQ(crashed.reason, "Segmentation fault");
    EXPECT_EQ(RunApart(10, [](const Say&) { throw 1; }).end, Apart::kCrashed);
    EXPECT_EQ(RunApart(1, [](const Say&) { ::sleep(100); }).end, Apart::kOutOfTime);
}

}  // namespace
