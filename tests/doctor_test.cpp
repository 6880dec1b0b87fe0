// What the doctor says of a data source.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "LocalPort.h"
#include "run_tool.h"
#include "shell/doctor/ConnectionString.h"
#include "shell/doctor/DataSource.h"
#include "shell/doctor/DoctorReport.h"
#include "shell/doctor/Profiles.h"
#include "shell/doctor/cause.h"
#include "shell/doctor/checks.h"
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

/// The start of a report's line, and a part of the rest.
using Line = std::pair<std::string, std::string>;

bool HasLine(const std::string& report, const Line& line)
{
    for (auto at = report.find(line.first); at != std::string::npos;
         at = report.find(line.first, at + 1)) {
        const auto end = report.find('\n', at);
        if ((at == 0 || report[at - 1] == '\n') &&
            report.substr(at, end - at).find(line.second) != std::string::npos) {
            return true;
        }
    }
    return false;
}

void ExpectLines(const Finished& run, const std::vector<Line>& lines)
{
    for (const Line& line : lines) {
        EXPECT_TRUE(HasLine(run.data, line)) << line.first << line.second << run.data;
    }
}

/// A configuration of a test's own.
class DoctorFiles : public testing::Test {
protected:
    DoctorFiles()
    {
        fs::create_directory(folder);
        std::ofstream(folder / "odbc.ini")
            << "[here]\nDriver=Mine\nDatabase=:memory:\n[elsewhere]\nDriver=/no/such/driver.so\n"
            << "[empty]\nDatabase=x\n[far]\nDriver=" WIDE_DRIVER_2 "\nPlace=here\n"
            << "[address]\nDriver=" + In("virtodbc.so") + "\nAddress=127.0.0.1:" + closed + "\n";
        std::ofstream(folder / "odbcinst.ini") << "[Mine]\nDriver=libsqlite3odbc.so\n";
        std::ofstream(folder / "system.ini") << "[Theirs]\nDriver=/theirs.so\n";
        std::ofstream(folder / "text.so") << "no library";
        fs::create_symlink("loop.so", folder / "loop.so");
        fs::create_symlink(WIDE_DRIVER_4, folder / "virtodbc.so");
        fs::create_symlink(WIDE_DRIVER_4, folder / "narrow-none.so");
        fs::create_symlink(fs::canonical(ORVELGW_NARROW_SHIM), folder / "narrow-driver.so");
    }
    ~DoctorFiles() override { fs::remove_all(folder); }

    Finished Diagnosed(const std::string& connection_string, const std::string& more = "") const
    {
        return RunTool(Words(connection_string),
                       "ODBCINI=" + In("odbc.ini") + " ODBCINSTINI=" + In("odbcinst.ini") +
                           " SYSODBCINSTINI=" + In("system.ini") + " " + more);
    }
    std::string In(const char* name) const { return (folder / name).string(); }

    const LocalPort nobody{LocalPort::kNobody};
    const std::string closed = std::to_string(nobody.number);
    const std::string wide = "DRIVER=" WIDE_DRIVER_2;
    const std::string right = "DRIVER=" WIDE_DRIVER_4;
    const fs::path folder =
        fs::temp_directory_path() / ("orvelgw-doctor-" + std::to_string(::getpid()));
};

TEST(Doctor, TellsOfEveryPart)
{
    const Finished run = RunTool(Words(std::string(kMemory) + ";PWD=hush;Port={a;b}"), "LC_ALL=C");
    EXPECT_EQ(run.exit_code, 0) << run.messages;
    ExpectLines(
        run, {{"library         right", "/liborvelgw.so, interface 10, package 10.0.0"},
              {"driver manager  right", "iODBC 3.52"},
              {"LC_CTYPE        right", "UTF-8"},
              {"                           the tool's own choice; an engine", "has ANSI_X3.4-1968"},
              {"data source     found", "DRIVER={SQLite3};Database=:memory:;PWD=***;Port={a;b}"},
              {"  long text in small pieces   right      garbled    right", ""},
              {"  -> 😀 (beyond U+FFFF), -u: U+F600 came; right in narrow and -l", ""}});
    const Finished unusable = RunTool(Words(kMemory) + " --library /nowhere.so");
    EXPECT_EQ(unusable.exit_code, 3);
    ExpectLines(unusable, {{"library         unusable", "/nowhere.so"}});
}

TEST_F(DoctorFiles, NamesTheCauseOfARefusal)
{
    const LocalPort silent(LocalPort::kSilent);
    const std::string server = ";UID=u;PWD=hush;Server=127.0.0.1;Port=";
    const std::string stopped = "nobody listens at 127.0.0.1 port " + closed;
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
    const std::pair<std::string, std::vector<Line>> cases[] = {
        {"nowhere",
         {{"data source     unknown", "DSN=nowhere"},
          {"cause           unknown", "no data source has the name nowhere"},
          {"                -> data sources", ": here, elsewhere, empty, far, address"},
          {"                -> drivers", ": Mine, Theirs"}}},
        {"DRIVERS=x", {{"cause           unknown", "neither a driver nor a data source is named"}}},
        {"PWD=hush;DSN=here",
         {{"cause           misread", "begins with neither DRIVER= nor DSN="}}},
        {"DSN=here PWD=hush", {{"cause           unknown", "the name behind DSN="}}},
        {"DSN =here", {{"cause           misread", "a blank beside ="}}},
        {"DRIVER= {Mine}", {{"cause           misread", "a blank beside ="}}},
        {"empty",
         {{"                -> write Driver = ... into [empty] of " + folder.string(), ""}}},
        {"elsewhere",
         {{"                           data source [elsewhere] of " + folder.string(), ""},
          {"driver          missing", "/no/such/driver.so"},
          {"cause           missing", "there is no file /no/such/driver.so"}}},
        {"DRIVER={Yours}", {{"cause           unknown", "no driver has the name Yours"}}},
        {"DRIVER={" + In("text.so") + "}",
         {{"                -> write DRIVER=" + In("text.so"), ""}}},
        {"DRIVER={" + In("no.so") + "}", {{"cause           missing", In("no.so")}}},
        {"DRIVER=" + In("loop.so"), {{"cause           unreached", "can't be reached: Too many"}}},
        {"DRIVER=" + In("text.so"),
         {{"cause           unloadable", "text.so: file too short"},
          {"                -> it is no library for this machine", ""}}},
        {std::string("DRIVER=") + library.dli_fname,
         {{"cause           no driver", "without ODBC"}}},
        {"DRIVER=" ORVELGW_NARROW_SHIM, {{"cause           no driver", "is the shim"}}},
        {"DRIVER=" + In("narrow-driver.so"),
         {{"cause           unloadable", "/odbc/driver.so: cannot open"}}},
        {"DRIVER=" + In("narrow-none.so"), {{"kind            right", "4-byte"}}},
        {"DRIVER={Mine};Database=/no/such/folder",
         {{"cause           refused", "in the driver's words: connect failed"}}},
        {right + server + closed,
         {{"server          unreached", "127.0.0.1 port " + closed + ": Connection refused"},
          {"cause           stopped", stopped}}},
        {"address", {{"cause           stopped", stopped}}},
        // Without a name server nobody can tell whether there is such a host.
        {right + ";Server=no-host.invalid,5", {{"cause           un", "no-host.invalid"}}},
        {right + ";Host=127.0.0.1:" + std::to_string(silent.number),
         {{"server          right", "somebody listens"},
          {"cause           refused", "refuses the user or the password"}}},
        {wide + server + closed,
         {{"kind            misused", "2-byte"},
          {"with the shim   refused", "(28000) NativeError: [7] Message: Login failed"},
          {"                -> ln -s ", "/narrow-libwide-driver-2.so"},
          {"                -> DRIVER=", "/narrow-libwide-driver-2.so"},
          {"  behind it     stopped", "nobody listens"}}},
    };
    for (const auto& [string, lines] : cases) {
        const Finished run = Diagnosed(string);
        EXPECT_EQ(run.exit_code, 4) << string;
        ExpectLines(run, lines);
        if (string.find("hush") != std::string::npos) {
            EXPECT_EQ((run.data + run.messages).find("hush"), std::string::npos) << run.data;
        }
    }
    EXPECT_EQ(Diagnosed("here").exit_code, 0);
}

TEST_F(DoctorFiles, DependsOnWhatADriverDoes)
{
    struct Case {
        std::string string;
        std::string does;
        int exit_code;
        std::vector<Line> lines;
    };
    fs::create_symlink(WIDE_DRIVER_2, folder / "driver.so");
    const Case cases[] = {
        {right,
         "TEST_DRIVER=crash",
         4,
         {{"cause           crashed", "the driver crashed: Aborted"}}},
        {right, "TEST_DRIVER=exit", 4, {{"cause           unloadable", "it ended the process"}}},
        {wide, "TEST_DRIVER=connect", 4, {{"with the shim   right", ""}}},
        {wide, "TEST_DRIVER=wide", 1, {{"                -> ln -s", ""}}},
        {wide, "TMPDIR=/no/such/folder", 4, {{"cause           misused", ""}}},
        {"far",
         "TEST_DRIVER=keys",
         4,
         {{"with the shim   right", ""},
          {"                -> Driver = ", " in [far] of " + In("odbc.ini")}}},
        {"DRIVER=" + In("narrow-driver.so"),
         "TEST_DRIVER=connect",
         1,
         {{"behind the shim found", In("driver.so")},
          {"kind            right", "narrow functions only"},
          {"SELECT narrow   refused", "FROM is missing"},
          {"                -> this source takes no SELECT without FROM", ""}}},
    };
    for (const Case& c : cases) {
        const Finished run = Diagnosed(c.string, c.does);
        EXPECT_EQ(run.exit_code, c.exit_code) << c.does;
        ExpectLines(run, c.lines);
    }
}

TEST_F(DoctorFiles, LeavesNothingWhereASignalEndsIt)
{
    const fs::path temporary = folder / "temporary";
    fs::create_directory(temporary);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        fs::last_write_time(temporary, {});
        const Finished run =
            Diagnosed(wide, "TEST_DRIVER=hang TMPDIR=" + temporary.string() +
                                " timeout --preserve-status -s " + std::to_string(signal) + " 0.5");
        EXPECT_EQ(run.exit_code, 128 + signal) << run.data << run.messages;
        EXPECT_NE(fs::last_write_time(temporary), fs::file_time_type()) << "there was no folder";
        EXPECT_TRUE(fs::is_empty(temporary));
    }
}

TEST(ConnectionString, HidesPasswords)
{
    const std::pair<const char*, const char*> cases[] = {
        {"name", "DSN=name"},
        {"Server=x;pwd=a", "DSN=Server=x;pwd=***"},
        {"DSN=a;PassWord={b;c}d;;UID=e", "DSN=a;PassWord=***;UID=e"},
        {"dsn=a;PWD={b;UID=e", "dsn=a;PWD=***"},
        {"DSN=a;PWD={b}};c};UID=e", "DSN=a;PWD=***;UID=e"},
        {"DSN=a;PWD= {b;c}", "DSN=a;PWD=***"},
        {"DSN=a;PWD=b;c;UID=e;f", "DSN=a;PWD=***;***;UID=e;f"},
        {"DSN=a;AccessToken=b;Secret=c;x=IDENTIFIED BY d",
         "DSN=a;AccessToken=***;Secret=***;x=***"},
        {"DRIVER={A;B};pqopt={password=b};X", "DRIVER={A;B};pqopt=***;***"},
    };
    for (const auto& [text, masked] : cases) {
        EXPECT_EQ(ConnectionString(text).Masked(), masked);
    }
    const ConnectionString string("DRIVER=a;uid=b;UID=c;DRIVER=d");
    EXPECT_EQ(string.First("Driver"), "a");
    EXPECT_EQ(string.Last(std::array{"Uid"}), "c");
    EXPECT_EQ(string.Through("/e.so", {}), "DRIVER=/e.so;uid=b;UID=c");
    EXPECT_EQ(ConnectionString("DSN=a;b=c").Through("d", {{"B", "e"}, {"f", "g;h"}}),
              "DRIVER=d;f={g;h};b=c");
}

TEST(DataSource, IsUnreadWithoutAConfiguration)
{
    const Profiles none("/no/such/library.so");
    for (const char* text : {"DSN=a", "DRIVER={A}"}) {
        const ConnectionString string(text);
        EXPECT_EQ(DataSource(string, none).WhatIsWrong(), DataSource::kUnread) << text;
    }
}

TEST(ServerOf, TakesWhatSaysHostAndPort)
{
    const std::pair<const char*, const char*> cases[] = {
        {"DRIVER=/psqlodbca.so;Servername=h", "h port 5432"},
        {"DRIVER=/psqlodbca.so;Servername=g;Server=h;Port=6;Port=7", "h port 7"},
        {"DRIVER=/psqlodbca.so;Host=h", ""},
        {"DRIVER=/psqlodbca.so;Server=h;Port=65536", ""},
        {"DRIVER=/psqlodbca.so;Server=h1,h2", ""},
        {"DRIVER=/psqlodbca.so;Server=/run/x", ""},
        {"DRIVER=/psqlodbca.so;Server=::1", "::1 port 5432"},
        {"DRIVER=/virtodbc_r.so;Server=g;Host=h:8", "h port 8"},
        {"DRIVER=/virtodbc_r.so;Address=h:8", ""},
        {"DRIVER=/libtdsodbc.so;Server=h,9", "h port 9"},
        {"DRIVER=/libtdsodbc.so;Server=h\\x", ""},
        {"DRIVER=/libtdsodbc.so;Servername=h", ""},
        {"DRIVER=/narrow-libmaodbc.so;Servername=h", "h port 3306"},
        {"DRIVER=/other.so;Host=h;Port=1", "h port 1"},
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

TEST(Cause, OfAServerThatListens)
{
    const Reach reach{Reach::kListens, ""};
    EXPECT_FALSE(CauseInNetwork({"h", "1"}, reach, false));
    const auto cause = CauseInNetwork({"h", "1"}, reach, true);
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->what, "h port 1 takes connections and does not answer the driver");
    EXPECT_EQ(CauseInWords({"(42000) Access denied for user 'u' to database 'd'"}).what,
              "the server is there, and refuses the user, the password, or what the user may do");
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
    const auto three = [](const ModeTrial& trial) { return std::vector(3, trial); };
    struct Case {
        std::vector<ModeTrial> trials;
        bool is_right = false;
        Line line;
    };
    const Case cases[] = {
        {{Trial(), Trial(), refused}, true, {"connection -l   refused    No ODBC 2", ""}},
        {{Trial(), Trial(), refused},
         true,
         {"  long text whole             right      right      -", ""}},
        {{Trial(), Trial(3, "x"), Trial(3, "x")},
         true,
         {"  -> 😀 (beyond U+FFFF), -u and -l: x; right in narrow", ""}},
        {{national, national, Trial(1, "y")},
         false,
         {"  -> é Ω 日, -l: y; right as N'...' in narrow and -u", ""}},
        {three(Trial(2, "x")),
         false,
         {"  -> é Ω 日 as a parameter", "; \"é Ω 日\" is right in narrow and -u and -l"}},
        {three(Trial(7, "x")),
         false,
         {"  -> long text in small pieces", "x; \"long text whole\" is right in narrow"}},
        {three(Trial(0, "x")),
         false,
         {"  -> NULL and empty text", "; this source, as it is set up, does not carry it"}},
    };
    for (const auto& c : cases) {
        char* text = nullptr;
        std::size_t size = 0;
        std::FILE* out = ::open_memstream(&text, &size);
        EXPECT_EQ(ReportRoundTrips(c.trials, DoctorReport(out)), c.is_right);
        std::fclose(out);
        const std::string report(text, size);
        std::free(text);
        EXPECT_TRUE(HasLine(report, c.line)) << c.line.first << c.line.second << "\n" << report;
    }
}

TEST(Judge, FindsAWordForEveryLoss)
{
    const std::string longer(100, 'x');
    const std::array<std::string, 4> cases[] = {
        {"é Ω", "", "lost", "nothing came"},
        {"é Ω", "é", "cut", "\"é\" came"},
        {"é Ω", "Ω", "lost", "\"Ω\" came"},
        {"é Ω", "? ?", "garbled", "\"? ?\" came"},
        {"é", "\xE9", "garbled", "\"\\xe9\" came"},
        {longer + "é", longer, "cut", "the first 100 of 101 characters"},
        {longer + "éa", longer + "a", "lost", "1 of 102 characters"},
        {longer + "éa", longer + "?a", "garbled", "from character 101 of 102 on"},
    };
    for (const auto& [sent, came, verdict, seen] : cases) {
        const Finding finding = Judge(sent, came);
        EXPECT_EQ(finding.verdict, verdict) << came;
        EXPECT_EQ(finding.seen, seen);
    }
}

TEST(RunApart, TellsHowWorkEnds)
{
    const Apart done = RunApart(10, [](const Say& say) { say(std::string(100'000, 'x')); });
    EXPECT_EQ(done.end, Apart::kDone);
    EXPECT_EQ(done.said.size(), 100'000U);
    EXPECT_EQ(RunApart(10, [](const Say&) { throw 1; }).end, Apart::kCrashed);
    const auto close_all = [](const Say&) {
        ::closefrom(STDERR_FILENO + 1);
        ::pause();
    };
    EXPECT_EQ(RunApart(1, close_all).end, Apart::kOutOfTime);
}

}  // namespace
