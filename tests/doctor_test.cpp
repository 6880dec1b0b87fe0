// What the doctor says of a data source.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
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
        std::ofstream(folder / "text.so") << "not a shared object";
        const std::string driver = Slurp(WIDE_DRIVER_4);
        std::ofstream(folder / "short.so") << driver.substr(0, 3000);
        std::ofstream(folder / "foreign.so") << std::string(driver).replace(18, 1, 1, '\x02');
        fs::create_symlink("gone.so", folder / "dangling.so");
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
    Expect(run.data,
           {"/liborvelgw.so.10.0.0, interface 10, package 10.0.0", "driver manager ok iODBC 3.52",
            "LC_CTYPE ok C.UTF-8", "the tool's own choice; an engine started in this environment",
            "data source found DRIVER={SQLite3};Database=:memory:;PWD=***;Port={a;b}\n",
            "long text in small pieces ok garbled ok\n",
            "-> 😀 (beyond U+FFFF), -u: received U+F600; ok in narrow and -l\n"});
    const Finished unusable = RunTool("doctor -d x --library /nowhere.so");
    EXPECT_EQ(unusable.exit_code, 3);
    Expect(unusable.data, {"library unusable /nowhere.so"});
}

TEST_F(DoctorFiles, NamesTheCauseOfARefusal)
{
    const LocalPort silent(LocalPort::kSilent);
    const std::string server = ";UID=u;PWD=hush;Server=127.0.0.1;Port=";
    const std::string no_server =
        "cause no server nothing is listening on 127.0.0.1 port " + closed;
    const std::string unnamed = "cause unknown the string names neither a driver nor a data source";
    const std::string file = "DRIVER=" + folder.string();
    Dl_info library{};
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&std::fopen), &library), 0);
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"nowhere",
         {"data source unknown DSN=nowhere", "cause unknown there is no data source called nowhere",
          "-> data sources in the configuration: here, elsewhere, empty, far, address\n",
          "-> drivers in the configuration: Mine, Theirs\n"}},
        {"DRIVERS=x", {unnamed}},
        {"PWD=hush;DSN=here", {"cause malformed the string begins with neither"}},
        {"DSN=here PWD=hush", {"cause unknown there is no data source with the name after DSN="}},
        {"postgresql://u:hush@h/d", {"no data source called postgresql://u:***@h/d"}},
        {"DRIVER={x PWD=hush}", {"/{x PWD=***\n", "driver called x PWD=***\n"}},
        {"DSN =here", {"cause malformed blanks around"}},
        {"DRIVER= {Mine}", {"cause malformed blanks around"}},
        {"DRIVER={Mine} ", {"cause malformed blanks around"}},
        {"empty", {"-> add Driver = ... to [empty] in " + folder.string()}},
        {"elsewhere",
         {"\n data source [elsewhere] in " + folder.string(), "driver missing /no/such/",
          "cause missing there is no file /no/such/driver.so"}},
        {"DRIVER={Yours}", {"cause unknown there is neither a driver called Yours nor a file /"}},
        {"DRIVER={" + In("text.so") + "}",
         {"cause malformed braces", "-> write " + file + "/text.so\n"}},
        {"DRIVER={" + In("no.so") + "}", {"cause missing there is no file " + In("no.so")}},
        {file + "/loop.so",
         {"cause unreachable " + In("loop.so") + " is in a loop of symbolic links"}},
        {file + "/foreign.so",
         {"cause unloadable " + In("foreign.so") + " is for 64-bit machine 2, this program for"}},
        {file + "/short.so",
         {"cause unloadable " + In("short.so") + " is truncated", "-> reinstall the package"}},
        {file + "/dangling.so", {"is a symbolic link to gone.so, which does not exist"}},
        {file, {"cause unloadable " + folder.string() + " is a directory", "-> name a file"}},
        {"DRIVER={Mine};Database=" + In("text.so"),
         {"Message: file is not a database", "cause no database", "-> name a database file"}},
        {file + "/text.so", {"cause unloadable " + In("text.so") + " is not a shared object"}},
        {file + "/narrow-driver.so", {"cause unloadable", "/odbc/driver.so: cannot open"}},
        {file + "/narrow-zero.so", {"cause unloadable " + In("narrow-zero.so")}},
        {file + "/narrow-iodbc.so",
         {"behind the shim not a driver " + In("iodbc.so"), "iodbc.so: this is a driver manager",
          "cause not a driver behind the shim: a driver manager"}},
        {file + "/iodbc.so", {"cause not a driver " + In("iodbc.so") + " is a driver manager"}},
        {file + "/narrow-none.so", {"kind ok wide functions, with 4-byte characters"}},
        {std::string("DRIVER=") + library.dli_fname,
         {"cause not a driver", "without ODBC functions"}},
        {"DRIVER=" ORVELGW_NARROW_SHIM, {"cause not a driver", "is the shim"}},
        {"DRIVER={Mine};Database=/no/x", {"cause missing there is no directory /no\n"}},
        {"DRIVER={Mine};Database=" + folder.string(), {"cause no database " + folder.string()}},
        {right + server + closed,
         {"server unreachable 127.0.0.1 port " + closed + ": Connection refused", no_server}},
        {"address", {no_server}},
        // Without a name server nobody can tell whether there is such a host.
        {right + ";Server=no-host.invalid,5", {"server unreachable no-host.invalid", "cause un"}},
        {right + ";Host=127.0.0.1:" + std::to_string(silent.number),
         {"server ok", "cause refused the server answers, and refuses the user or"}},
        {wide + server + closed,
         {"kind wrong width wide functions, with 2-byte characters", "cause wrong width",
          std::string("-> for -u: orvelgw shim utf16 ") + WIDE_DRIVER_2 + "\n",
          "with the shim refused SQLState: (28000) NativeError: [7] Message: No entry",
          "-> then use the DRIVER= that it prints\n", "after that no server nothing is listening"}},
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
    const std::string in_section = "then set Driver in [far] of " + In("odbc.ini");
    using Parts = std::vector<std::string>;
    const std::tuple<std::string, std::string, int, Parts> cases[] = {
        {right, "TEST_DRIVER=crash", 4, {"cause crashed the driver crashed: Aborted"}},
        {right,
         "TEST_DRIVER=manager ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" WIDE_DRIVER_4,
         4,
         {"driver manager crashed iODBC 3.52",
          "cause crashed the driver manager itself crashes: Aborted"}},
        {right,
         "TEST_DRIVER=exit",
         4,
         {"cause unloadable " WIDE_DRIVER_4 " crashes while it is loaded: it ended the"}},
        {wide, "TEST_DRIVER=connect", 4, {"with the shim ok"}},
        {wide,
         "TEST_DRIVER=wide",
         1,
         {"-> for narrow and -l, in the driver's own encoding: orvelgw shim narrow "}},
        {wide, "TMPDIR=/no/such/folder", 4, {"cause wrong width"}},
        {"far", "TEST_DRIVER=keys", 4, {"with the shim ok", in_section}},
        {shim,
         "TEST_DRIVER=connect",
         1,
         {"behind the shim found " + In("driver.so"), "kind ok narrow functions only",
          "SELECT narrow refused (28000) No entry",
          "-> this source refuses a SELECT without FROM"}},
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
        {"wide " + In("two.so"), 1, "wide-two.so: a file of that name exists and is not a shim"},
        {"wide " + In("two.so") + other, 1,
         "a shim here would look for its driver at " ORVELGW_DRIVER_FOLDER},
        {"narrow " + In("sqlite.so"), 1, "it has narrow functions only"},
        {"wide " + In("four.so"), 1, "its wide characters have 4 bytes"},
        {"wide " + In("utf16-two.so"), 1, "this is already a shim"},
        {"wide " + In("text.so"), 1, "text.so: "},
        {"wide " + In("none.so"), 1, "none.so: no such file"},
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
    Expect(run.data,
           {"the shim utf16, for -u\n", "behind the shim found " + In("sqlite.so"),
            "kind ok wide functions, with 4-byte characters", "😀 as a parameter refused ok ok\n"});
}

TEST_F(DoctorFiles, NamesEveryConfigurationFile)
{
    const Finished run =
        RunDoctor("x", "HOME=" + folder.string() + " ODBCINI=" + In("loop.so") +
                           " SYSODBCINI=" + folder.string() + " ODBCINSTINI=" + In("odbcinst.ini"));
    Expect(run.data, {"\nodbc.ini unreadable " + In("loop.so") + ", from ODBCINI: Too many levels",
                      "\n missing " + In(".odbc.ini") + "\n directory " + folder.string() +
                          ", from SYSODBCINI\nodbcinst.ini read " + In("odbcinst.ini") +
                          ", from ODBCINSTINI\n"});
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

TEST_F(DoctorFiles, LeavesNoChildWhereItIsKilled)
{
    // The driver kills the doctor and hangs. The pipe is closed once both have ended.
    std::FILE* output =
        ::popen(("TEST_SIGNAL=9 " ORVELGW_TOOL " doctor -d '" + wide + "' 2>&1").c_str(), "r");
    ASSERT_NE(output, nullptr);
    std::array<char, 4096> block{};
    pollfd wanted{::fileno(output), POLLIN, 0};
    ssize_t size = 1;
    while (size > 0 && ::poll(&wanted, 1, 20'000) > 0) {
        size = ::read(wanted.fd, block.data(), block.size());
    }
    EXPECT_EQ(size, 0) << "the child is still running";
    ::pclose(output);
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

TEST(DataSource, NeedsAConfigurationForAName)
{
    const Profiles none("/no/such/library.so");
    for (const char* text : {"DSN=a", "DRIVER={A}"}) {
        const ConnectionString string(text);
        EXPECT_EQ(DataSource(string, none).Fault(), SourceFault::kNoConfiguration) << text;
    }
}

TEST(ServerOf, TakesWhatSaysHostAndPort)
{
    const std::pair<const char*, const char*> cases[] = {
        {"DRIVER=/psqlodbca.so;Servername=g;Server=h;Port=6;Port=7", "h port 7"},
        {"DRIVER=/psqlodbca.so;Host=h", ""},
        {"DRIVER=/psqlodbca.so;Server=h;Port=65536", ""},
        {"DRIVER=/psqlodbca.so;Server=h;Port=0", ""},
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

TEST(Cause, OfWhatAServerDoes)
{
    using Probe = ServerProbe;
    const std::tuple<Probe::Outcome, bool, std::string> cases[] = {
        {Probe::kListening, false, ""},
        {Probe::kListening, true, "no answer: h port 1 accepts connections but does not answer"},
        {Probe::kRefused, true, "no server: nothing is listening on h port 1"},
        {Probe::kNoAnswer, false, "no answer: h port 1 does not answer"},
        {Probe::kUnreachable, false, "unreachable: h port 1: why"},
        {Probe::kLookupFailed, false, "unreachable: h can't be looked up (why)"},
        {Probe::kUnknownHost, false, "unknown: there is no host called h (why)"},
    };
    for (const auto& [outcome, timed_out, expected] : cases) {
        const auto cause = CauseInNetwork({"h", "1"}, {outcome, "why"}, timed_out);
        EXPECT_EQ((cause ? cause->word + ": " + cause->what : "").substr(0, expected.size()),
                  expected);
        EXPECT_EQ(cause.has_value(), !expected.empty());
    }
}

TEST(Cause, OfWhatADriverSays)
{
    const std::pair<const char*, const char*> cases[] = {
        {"SQLState: (28P01) NativeError: [1] Message: no",
         "the server answers, and refuses the user or the password"},
        {"SQLState: (08001) NativeError: [1] Message: Access denied for user 'u' to database 'd'",
         "the server answers, and refuses the user, the password, or access to the database"},
        {"SQLState: (08001) NativeError: [1] Message: no", "the driver says: no"},
    };
    for (const auto& [line, what] : cases) {
        EXPECT_EQ(CauseInDiagnostics({line}).what, what);
    }
}

TEST(ProbeServer, TellsRefusedFromNoAnswer)
{
    const LocalPort nobody(LocalPort::kNobody);
    const LocalPort silent(LocalPort::kSilent);
    const LocalPort full(LocalPort::kFull);
    const std::pair<std::string, ServerProbe::Outcome> cases[] = {
        {std::to_string(nobody.number), ServerProbe::kRefused},
        {std::to_string(silent.number), ServerProbe::kListening},
        {std::to_string(full.number), ServerProbe::kNoAnswer},
    };
    for (const auto& [port, outcome] : cases) {
        EXPECT_EQ(ProbeServer({"127.0.0.1", port}, std::chrono::milliseconds(100)).outcome,
                  outcome);
    }
}

/// A trial whose checks are right but one, in their order.
ModeTrial Trial(std::size_t wrong = SIZE_MAX, const char* seen = "")
{
    ModeTrial trial;
    trial.is_connected = true;
    trial.findings.resize(Checks().size(), {"ok", ""});
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
    ModeTrial national = Trial(1, "received \"e\"");
    national.is_national = true;
    const auto three = [](std::size_t wrong) { return std::vector(3, Trial(wrong, "x")); };
    const std::tuple<std::vector<ModeTrial>, bool, std::string> cases[] = {
        {{Trial(), Trial(), refused}, true, "connection -l refused No ODBC 2\n"},
        {{Trial(), Trial(), refused}, true, "long text whole ok ok -\n"},
        {{Trial(), Trial(3, "x"), Trial(3, "x")}, true, ", -u and -l: x; ok in narrow\n"},
        {{national, national, Trial(1, "y")}, false, "y; ok as N'...' in narrow and -u, as"},
        {three(2), false, "as a parameter, narrow and -u and -l: x; \"é Ω 日\" is ok in"},
        {three(7), false,
         "long text in small pieces, narrow and -u and -l: x; \"long text whole\""},
        {three(0), false, "x; this source, as it is set up, can't carry it"},
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

TEST(Compare, FindsAWordForEveryLoss)
{
    const std::string longer(100, 'x');
    const std::array<std::string, 4> cases[] = {
        {"é Ω", "", "lost", "nothing received"},
        {"é Ω", "é", "truncated", "received \"é\""},
        {"é Ω", "Ω", "lost", "received \"Ω\""},
        {"é Ω", "? ?", "garbled", "received \"? ?\""},
        {"é", "\xE9", "garbled", "received \"\\xe9\""},
        {longer + "é", longer, "truncated", "received the first 100 of 101 characters"},
        {longer + "éa", longer + "a", "lost", "1 of 102 characters missing"},
        {longer + "éa", longer + "?a", "garbled", "wrong from character 101 of 102 on"},
    };
    for (const auto& [sent, came, verdict, seen] : cases) {
        const Finding finding = Compare(sent, came);
        EXPECT_EQ(finding.verdict, verdict) << came;
        EXPECT_EQ(finding.detail, seen);
    }
}

TEST(RunInChild, SaysHowTheWorkEnded)
{
    const std::tuple<std::function<void(const Send&)>, ChildResult::End, std::string> cases[] = {
        {[](const Send& send) { send("done"); }, ChildResult::kFinished, "done"},
        {[](const Send& /*send*/) { throw 1; }, ChildResult::kCrashed, ""},
        {[](const Send& /*send*/) { ::_exit(0); }, ChildResult::kCrashed, ""},
        {[](const Send& /*send*/) {
             ::closefrom(STDERR_FILENO + 1);
             ::pause();
         },
         ChildResult::kTimedOut, ""},
    };
    for (const auto& [work, end, output] : cases) {
        const ChildResult result = RunInChild(std::chrono::seconds(1), work);
        EXPECT_EQ(result.end, end);
        EXPECT_EQ(result.output, output);
    }
}

}  // namespace
