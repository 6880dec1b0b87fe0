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
#include <memory>
#include <regex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "LocalPort.h"
#include "doctor/DoctorReport.h"
#include "doctor/cause.h"
#include "doctor/checks.h"
#include "doctor/round_trips.h"
#include "drivers/ConnectionString.h"
#include "drivers/DataSource.h"
#include "drivers/Profiles.h"
#include "drivers/child_process.h"
#include "drivers/driver_kind.h"
#include "drivers/server.h"
#include "run_tool.h"

namespace {

namespace fs = std::filesystem;

constexpr char kMemory[] = "DRIVER={SQLite3};Database=:memory:";

/// Expects parts of a report, each of one line, with single blanks between its words.
void Expect(const std::string& report, const std::vector<std::string>& parts)
{
    EXPECT_EQ(report.find('\x1b'), std::string::npos) << report;
    ExpectParts(std::regex_replace(report, std::regex(" +"), " "), parts);
}

using Library = std::unique_ptr<void, int (*)(void*)>;

/// A configuration of a test's own.
class DoctorFiles : public testing::Test {
protected:
    DoctorFiles()
    {
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
        for (const char* shim : {"narrow-driver.so", "narrow-iodbc.so"}) {
            fs::create_symlink(fs::canonical(ORVELGW_NARROW_SHIM), folder / shim);
        }
        fs::create_symlink("/dev/zero", folder / "narrow-zero.so");
        const Library driver_manager(dlopen("libiodbc.so.2", RTLD_LAZY), &dlclose);
        fs::create_symlink(LoadedDriverManager().file, folder / "iodbc.so");
    }

    Finished Diagnosed(const std::string& connection_string, const std::string& more = "") const
    {
        return RunDoctor(connection_string, "ODBCINI=" + In("odbc.ini") +
                                                " ODBCINSTINI=" + In("odbcinst.ini") +
                                                " SYSODBCINSTINI=" + In("system.ini") + " " + more);
    }
    std::string In(const char* name) const { return (folder / name).string(); }

    const LocalPort nobody{LocalPort::kNobody};
    const std::string closed = std::to_string(nobody.number);
    const std::string wide = "DRIVER=" WIDE_DRIVER_2;
    const std::string right = "DRIVER=" WIDE_DRIVER_4;
    const TemporaryFolder files;
    const fs::path& folder = files.path;
};

TEST(Doctor, TellsOfEveryPart)
{
    const Finished run = RunDoctor(std::string(kMemory) + ";PWD=hush;Port={a;b}", "LC_ALL=C");
    EXPECT_EQ(run.exit_code, 0) << run.messages;
    Expect(run.data, {"/liborvelgw.so.10.0.0, interface 10, package 10.0.0",
                      "driver manager right iODBC 3.52", "LC_CTYPE right C.UTF-8",
                      "the tool's own choice; an engine started in this environment",
                      "data source found DRIVER={SQLite3};Database=:memory:;PWD=***;Port={a;b}\n",
                      "long text in small pieces right garbled right\n",
                      "-> 😀 (beyond U+FFFF), -u: U+F600 came; right in narrow and -l\n"});
    const Finished unusable = RunTool("doctor -d x --library /nowhere.so");
    EXPECT_EQ(unusable.exit_code, 3);
    Expect(unusable.data, {"library unusable /nowhere.so"});
}

TEST_F(DoctorFiles, NamesTheCauseOfARefusal)
{
    const LocalPort silent(LocalPort::kSilent);
    const std::string server = ";UID=u;PWD=hush;Server=127.0.0.1;Port=";
    const std::string stopped = "cause stopped nobody listens at 127.0.0.1 port " + closed;
    const std::string unnamed = "cause unknown neither a driver nor a data source is named";
    const std::string file = "DRIVER=" + folder.string();
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"nowhere",
         {"data source unknown DSN=nowhere", "cause unknown no data source has the name nowhere",
          "-> data sources of the configuration: here, elsewhere, empty, far, address\n",
          "-> drivers of the configuration: Mine, Theirs\n"}},
        {"DRIVERS=x", {unnamed}},
        {"PWD=hush;DSN=here", {"cause misread the string begins with neither"}},
        {"DSN=here PWD=hush", {"cause unknown no data source has the name behind DSN="}},
        {"postgresql://u:hush@h/d", {"no data source has the name postgresql://u:***@h/d"}},
        {"DRIVER={x PWD=hush}", {"/{x PWD=***\n", "no driver has the name x PWD=***\n"}},
        {"DSN =here", {"cause misread blanks belong"}},
        {"DRIVER= {Mine}", {"cause misread blanks belong"}},
        {"DRIVER={Mine} ", {"cause misread blanks belong"}},
        {"empty", {"-> write Driver = ... into [empty] of " + folder.string()}},
        {"elsewhere",
         {"\n data source [elsewhere] of " + folder.string(), "driver missing /no/such/",
          "cause missing there is no file /no/such/driver.so"}},
        {"DRIVER={Yours}", {"cause unknown no driver has the name Yours"}},
        {"DRIVER={" + In("text.so") + "}", {"cause braces", "-> write " + file + "/text.so\n"}},
        {"DRIVER={" + In("no.so") + "}", {"cause missing there is no file " + In("no.so")}},
        {file + "/loop.so", {"cause unreached " + In("loop.so") + " can't be reached: Too many"}},
        {file + "/text.so", {"cause unloadable", "-> it is no library for this machine"}},
        {file + "/narrow-driver.so", {"cause unloadable", "/odbc/driver.so: cannot open"}},
        {file + "/narrow-zero.so", {"cause unloadable " + In("narrow-zero.so")}},
        {file + "/narrow-iodbc.so",
         {"behind the shim no driver " + In("iodbc.so"), "iodbc.so: this is a driver manager",
          "cause no driver behind the shim: a driver manager"}},
        {file + "/iodbc.so", {"cause no driver " + In("iodbc.so") + " is a driver manager"}},
        {file + "/narrow-none.so", {"kind right wide functions, of 4-byte characters"}},
        {std::string("DRIVER=") + library.dli_fname, {"cause no driver", "without ODBC functions"}},
        {"DRIVER=" ORVELGW_NARROW_SHIM, {"cause no driver", "is the shim"}},
        {"DRIVER={Mine};Database=/no/x", {"cause refused in the driver's words: connect failed"}},
        {right + server + closed,
         {"server unreached 127.0.0.1 port " + closed + ": Connection refused", stopped}},
        {"address", {stopped}},
        // Without a name server nobody can tell whether there is such a host.
        {right + ";Server=no-host.invalid,5", {"server unreached no-host.invalid", "cause un"}},
        {right + ";Host=127.0.0.1:" + std::to_string(silent.number),
         {"server right", "cause refused the server is there, and refuses the user"}},
        {wide + server + closed,
         {"kind misused wide functions, of 2-byte characters", "cause misused",
          std::string("-> for -u: orvelgw shim utf16 ") + WIDE_DRIVER_2 + "\n",
          "with the shim refused SQLState: (28000) NativeError: [7] Message: Login failed",
          "-> then take the DRIVER= that it prints\n", "behind it stopped nobody listens"}},
    };
    for (const auto& [string, parts] : cases) {
        const Finished run = Diagnosed(string);
        EXPECT_EQ(run.exit_code, 4) << string;
        Expect(run.data, parts);
        if (string.find("hush") != std::string::npos) {
            EXPECT_EQ((run.data + run.messages).find("hush"), std::string::npos) << run.data;
        }
    }
    EXPECT_EQ(Diagnosed("here").exit_code, 0);
}

TEST_F(DoctorFiles, DependsOnWhatADriverDoes)
{
    fs::create_symlink(WIDE_DRIVER_2, folder / "driver.so");
    const std::string shim = "DRIVER=" + In("narrow-driver.so");
    const std::string in_section = "as Driver = in [far] of " + In("odbc.ini");
    using Parts = std::vector<std::string>;
    const std::tuple<std::string, std::string, int, Parts> cases[] = {
        {right, "TEST_DRIVER=crash", 4, {"cause crashed the driver crashed: Aborted"}},
        {right,
         "TEST_DRIVER=manager ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" WIDE_DRIVER_4,
         4,
         {"driver manager crashed iODBC 3.52",
          "cause crashed the driver manager itself crashes: Aborted"}},
        {right, "TEST_DRIVER=exit", 4, {"cause unloadable loading it crashes: it ended the"}},
        {wide, "TEST_DRIVER=connect", 4, {"with the shim right"}},
        {wide,
         "TEST_DRIVER=wide",
         1,
         {"-> for narrow and -l, as bytes of the driver's own: orvelgw shim narrow "}},
        {wide, "TMPDIR=/no/such/folder", 4, {"cause misused"}},
        {"far", "TEST_DRIVER=keys", 4, {"with the shim right", in_section}},
        {shim,
         "TEST_DRIVER=connect",
         1,
         {"behind the shim found " + In("driver.so"), "kind right narrow functions only",
          "SELECT narrow refused (28000) Login failed",
          "-> this source takes no SELECT without FROM"}},
    };
    for (const auto& [string, does, exit_code, parts] : cases) {
        const Finished run = Diagnosed(string, does);
        EXPECT_EQ(run.exit_code, exit_code) << does;
        Expect(run.data, parts);
    }
}

TEST_F(DoctorFiles, MakesShimsForDriversThatNeedThem)
{
    fs::create_symlink(WIDE_DRIVER_2, folder / "two.so");
    fs::create_symlink(WIDE_DRIVER_4, folder / "four.so");
    fs::create_symlink(ORVELGW_DRIVER_FOLDER "/libsqlite3odbc.so", folder / "sqlite.so");
    std::ofstream(folder / "wide-two.so") << "a person's own";
    fs::create_directory(folder / "other");
    const std::string other = " " + In("other");
    const std::tuple<std::string, int, std::string> cases[] = {
        {"utf16 " + In("two.so"), 0, "DRIVER=" + In("utf16-two.so") + "\n"},
        {"utf16 " + In("two.so"), 0, "DRIVER="},  // it may be made again
        {"utf16 " + In("sqlite.so"), 0, "DRIVER=" + In("utf16-sqlite.so") + "\n"},
        {"wide libsqlite3odbc.so" + other, 0, "DRIVER=" + In("other") + "/wide-libsqlite3odbc.so"},
        {"wide " + In("two.so"), 1, "wide-two.so: there is a file of that name, which is no shim"},
        {"wide " + In("two.so") + other, 1,
         "it would look for its driver at " ORVELGW_DRIVER_FOLDER},
        {"narrow " + In("sqlite.so"), 1, "its functions are narrow already"},
        {"wide " + In("four.so"), 1, "it has 4-byte wide functions, and needs no shim"},
        {"wide " + In("utf16-two.so"), 1, "this is a shim itself"},
        {"wide " + In("text.so"), 1, "text.so: "},
        {"wide " + In("none.so"), 1, "none.so: there is no such file"},
        {"utf16 libsqlite3odbc.so " + In("missing"), 1, "No such file or directory"},
        {"broad libsqlite3odbc.so", 2, "broad not in"},
        {"wide", 2, "DRIVER is required"},
        {"-u wide libsqlite3odbc.so", 2, "shim takes no option but --library"},
    };
    for (const auto& [words, exit_code, part] : cases) {
        const Finished run = RunTool("shim " + words);
        EXPECT_EQ(run.exit_code, exit_code) << words;
        Expect(exit_code == 0 ? run.data : run.messages, {part});
    }
    EXPECT_EQ(Slurp(folder / "wide-two.so"), "a person's own");
    const Finished run = Diagnosed("DRIVER=" + In("utf16-sqlite.so") + ";Database=:memory:");
    Expect(run.data, {"the shim utf16, for -u\n", "behind the shim found " + In("sqlite.so"),
                      "kind right wide functions, of 4-byte characters",
                      "😀 as a parameter refused right right\n"});
}

TEST_F(DoctorFiles, LeavesNothingWhereASignalEndsIt)
{
    const fs::path temporary = folder / "temporary";
    fs::create_directory(temporary);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        fs::last_write_time(temporary, {});
        const Finished run = Diagnosed(
            wide, "TEST_SIGNAL=" + std::to_string(signal) + " TMPDIR=" + temporary.string());
        EXPECT_EQ(run.data.find("with the shim"), std::string::npos) << run.data;
        EXPECT_NE(fs::last_write_time(temporary), fs::file_time_type()) << "there was no folder";
        EXPECT_TRUE(fs::is_empty(temporary)) << signal;
    }
}

TEST(WithoutSecrets, HidesPasswordsInAnyText)
{
    const std::pair<const char*, const char*> cases[] = {
        {"Server=x;pwd=a", "Server=x;pwd=***"},
        {"DSN=a;PassWord={b;c}d;;UID=e", "DSN=a;PassWord=***;UID=e"},
        {"dsn=a;PWD={b;UID=e", "dsn=a;PWD=***"},
        {"DSN=a;PWD={b}};c};UID=e", "DSN=a;PWD=***;UID=e"},
        {"DSN=compass;PWD= {b;c}", "DSN=compass;PWD=***"},
        {"DSN=a;PWD=b;c;UID=e;f", "DSN=a;PWD=***;UID=e;f"},
        {"DSN=a;AccessToken=b;Client Secret=c;x=IDENTIFIED BY d;e=f",
         "DSN=a;AccessToken=***;Client Secret=***;x=IDENTIFIED BY ***;e=f"},
        {"DRIVER={A;B};pqopt={password=b};X=Y", "DRIVER={A;B};pqopt={password=***;X=Y"},
        {"DSN=a;Api_Key=b;Key=c;PAT=d;AuthCode=e;Credentials=f;SSLKEY=g;Path=h",
         "DSN=a;Api_Key=***;Key=***;PAT=***;AuthCode=***;Credentials=***;SSLKEY=***;Path=h"},
        {"DSN=a;opt={ssl key = c};x={keyless}", "DSN=a;opt={ssl key =***;x={keyless}"},
        {"postgresql://u:b@c@h/d?sslkey=e", "postgresql://u:***@h/d?sslkey=***"},
        {"URL={http://u:b@h};Server=http://h:1/c", "URL={http://u:***@h};Server=http://h:1/c"},
        {"UID=u/b@h;Database=thin:u/b:c@h", "UID=u/***@h;Database=thin:u/***@h"},
        {"DRIVER={/a@b/c.so};Database=/home/a@b;u/b@h",
         "DRIVER={/a@b/c.so};Database=/home/a@b;u/***@h"},
        // What is no connection string, but has one in it.
        {R"(DSNConnectWithTimeout BEGIN  "DSN=a;PWD=b\"; c", 15)",
         R"(DSNConnectWithTimeout BEGIN  "DSN=a;PWD=***", 15)"},
        {R"("DSN=a;PWD=b", "UID=c")", R"("DSN=a;PWD=***")"},
        {"no such host in host=h password='b c'\nnext line",
         "no such host in host=h password=***\nnext line"},
        {R"("UPDATE t SET key = 5 WHERE k.key = 6; SELECT a FROM b WHERE pass = 7", 2)",
         R"("UPDATE t SET key = 5 WHERE k.key = 6; SELECT a FROM b WHERE pass =***", 2)"},
        {"Access denied (using password: YES)", "Access denied (using password: YES)"},
        {"x://u:@h and x://u@h", "x://u:***@h and x://u@h"},
        {"PWD=", "PWD=***"},
    };
    for (const auto& [text, masked] : cases) {
        EXPECT_EQ(WithoutSecrets(text), masked);
    }
    EXPECT_EQ(ConnectionString("a PWD=b").Masked(), "DSN=a PWD=***");
}

TEST(ConnectionString, IsReadAsTheDriverManagerReadsIt)
{
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
        {"DRIVER=/psqlodbca.so;Servername=g;Server=h;Port=6;Port=7", "h port 7"},
        {"DRIVER=/psqlodbca.so;Host=h", ""},
        {"DRIVER=/psqlodbca.so;Server=h;Port=65536", ""},
        {"DRIVER=/psqlodbca.so;Server=h1,h2", ""},
        {"DRIVER=/psqlodbca.so;Server=/run/x", ""},
        {"DRIVER=/psqlodbca.so;Server=::1", "::1 port 5432"},
        {"DRIVER=/virtodbc_r.so;Server=g;Host=h:8;Port=9", "h port 8"},
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
        const auto server = ServerOf(DataSource(string, profiles));
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
    const auto three = [](std::size_t wrong) { return std::vector(3, Trial(wrong, "x")); };
    const std::tuple<std::vector<ModeTrial>, bool, std::string> cases[] = {
        {{Trial(), Trial(), refused}, true, "connection -l refused No ODBC 2\n"},
        {{Trial(), Trial(), refused}, true, "long text whole right right -\n"},
        {{Trial(), Trial(3, "x"), Trial(3, "x")}, true, ", -u and -l: x; right in narrow\n"},
        {{national, national, Trial(1, "y")}, false, "y; right as N'...' in narrow and -u, as"},
        {three(2), false, "as a parameter, narrow and -u and -l: x; \"é Ω 日\" is right in"},
        {three(7), false,
         "long text in small pieces, narrow and -u and -l: x; \"long text whole\""},
        {three(0), false, "x; this source, as it is set up, does not carry it"},
    };
    for (const auto& [trials, is_right, part] : cases) {
        char* text = nullptr;
        std::size_t size = 0;
        std::FILE* out = ::open_memstream(&text, &size);
        EXPECT_EQ(ReportRoundTrips(trials, DoctorReport(out)), is_right);
        std::fclose(out);
        Expect(std::string(text, size), {part});
        std::free(text);
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

TEST(RunApart, EndsWorkThatThrowsOrFallsSilent)
{
    EXPECT_EQ(RunApart(10, [](const Say&) { throw 1; }).end, Apart::kCrashed);
    const auto close_pipe_and_wait = [](const Say&) {
        ::closefrom(STDERR_FILENO + 1);
        ::pause();
    };
    EXPECT_EQ(RunApart(1, close_pipe_and_wait).end, Apart::kOutOfTime);
}

}  // namespace
