// The command line of orvelgw: what is refused, where the connection string and the password come
// from, and what is said of a failure.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "client/ascii.h"
#include "shim_folder.h"
#include "text/utf8.h"
#include "tool_fixture.h"

namespace {

TEST(CommandLine, RefusesAndExplains)
{
    const std::string memory = kMemory;
    const std::string select = "-c 'SELECT 1' ";
    const ToolCase cases[] = {
        {"", 2, "orvelgw: one of --command, --file, --import, --export"},
        {memory + "-1 --keep-going " + select, 2, "exclude each other"},
        {memory + "--set 1=2= --set a-b=c " + select, 2, "--set: NAME=VALUE is needed"},
        {memory + "--echo --import a b", 2, "--echo is for --command and --file"},
        {memory + "-f - -p 5", 2, "single --command"},
        {memory + select + "--set 'a=\xE9'", 2, "--set, the value of a: byte 1"},
        {select, 2, "orvelgw: --data-source is required"},
        {memory + select + "--import a b", 2, "exclude each other"},
        {memory + select + select + "-p 5", 2, "single --command"},
        {memory + select + "--nonsense", 2, "orvelgw: The following argument was not expected"},
        {memory + "doctor -u", 2, "tries every mode itself"},
        {memory + select + "doctor", 2, "exclude each other"},
        {"doctor", 2, "--data-source"},
        {memory + select + "--data-source-file x", 2, "exclude each other"},
        {memory + select + "-W --password-file x", 2, "exclude each other"},
        {"-d 'DRIVER={SQLite3};Database=" + std::string(250, 'x') + "' " + select, 2, "takes 254"},
        {memory + select + "-c 'SELECT \xE9'", 2, "--command 2: byte 8 (\\xE9) is not UTF-8"},
        {memory + select + "-p '\xC3'", 2, "the value of marker 1: byte 1 (\\xC3)"},
        {memory + "--import x '\xFF'", 2, "the name of the table: byte 1"},
        {memory + select + "--library /nowhere.so", 3, "/nowhere.so"},
        {memory + select + "--library libm.so.6", 3, "GetZFTable"},
        {"-d no-such-source " + select, 4,
         "(SQLSTATE IM002, native code 0)\norvelgw: the connection failed; \"orvelgw doctor -d "
         "'no-such-source'\" says why\n"},
        {"-d 'DRIVER={SQLite3};Database=/no/folder;PWD=hush' " + select, 4,
         "doctor -d 'DRIVER={SQLite3};Database=/no/folder;PWD=***'\" says why\n"},
        {memory + "-c 'SELECT'", 1,
         "orvelgw: incomplete input (1) (SQLSTATE HY000, native code 1, Prepare)\n"},
    };
    for (const Finished& run : ExpectRuns(cases)) {
        EXPECT_EQ(run.data + run.messages.substr(0, 9), "orvelgw: ");
        EXPECT_EQ(run.messages.find("hush"), std::string::npos);
    }
}

/// A driver that connects and leaves the connection string that it got in a file.
class Connecting : public testing::Test {
protected:
    Connecting()
    {
        folder.Link(WIDE_DRIVER_4, "driver.so");
        folder.Link(ORVELGW_NARROW_SHIM, "narrow-driver.so");
        std::ofstream(File("own")) << "DSN=x;UID=u;PWD=own\n";
        std::ofstream(File("open")) << Driver() << "\n";
        std::ofstream(File("password")) << "p w\n";
        std::ofstream(File("shared")) << "hush\n";
        std::ofstream(File("lines")) << "a\nb\n";
        for (const char* secret : {"password", "lines"}) {
            std::filesystem::permissions(File(secret), std::filesystem::perms(0600));
        }
    }
    std::string File(const std::string& name) const { return (folder.path / name).string(); }
    std::string Driver() const { return "DRIVER=" + File("narrow-driver.so"); }
    std::string Got() const { return Slurp(File("got")); }
    std::string Environment() const
    {
        return "TEST_DRIVER=connect TEST_CONNECTION=" + File("got") + " ";
    }

    const ShimFolder folder;
};

TEST_F(Connecting, TakesThePasswordFromWhereNobodySeesIt)
{
    const std::string by_word = "-d " + Driver() + " ";
    struct Case {
        std::string environment;
        std::string words;
        std::string got;  // behind the driver, or what is said of the refusal
    };
    const Case cases[] = {
        {"ORVELGW_DSN=" + Driver(), "", ""},
        {"ORVELGW_DSN=x", by_word, ""},
        {"", "--data-source-file " + File("open"), ""},
        {"ORVELGW_PASSWORD=env", by_word, ";PWD=env"},
        {"ORVELGW_PASSWORD=env", "-d '" + Driver() + ";PWD=own;'", ";PWD=own;"},
        {"ORVELGW_PASSWORD='a;b'", "-d '" + Driver() + ";UID=u;'", ";UID=u;PWD={a;b}"},
        {"ORVELGW_PASSWORD='{a}'", by_word, "!holds a closing brace"},
        {"ORVELGW_PASSWORD=env", by_word + "--password-file " + File("password"), ";PWD=p w"},
        {"", by_word + "--password-file " + File("shared"), "!/shared holds a password, and"},
        {"", by_word + "--password-file " + File("lines"), "!does not hold one line"},
        {"", by_word + "--password-file /dev/null", "!does not hold one line"},
        {"", by_word + "--password-file /nowhere", "!/nowhere: No such file"},
        {"", "--data-source-file " + File("own"), "!/own holds a password, and"},
        {"", "-d 'DSN=x;PWD=y' --password-file " + File("password"), "!holds a password already"},
        {"ORVELGW_PASSWORD=" + std::string(250, 'x'), by_word, "!and the gateway takes 254"},
        {"setsid ", by_word + "-W", "!--password needs a terminal"},
    };
    for (const Case& c : cases) {
        std::filesystem::remove(File("got"));
        const Finished run =
            RunTool(c.words + " --trace call GetUV", Environment() + c.environment);
        if (c.got.starts_with('!')) {
            EXPECT_NE(run.exit_code, 0);
            ExpectParts(run.messages, {c.got.substr(1)});
            EXPECT_EQ(Got(), "") << c.words;
        } else {
            EXPECT_EQ(run.exit_code, 0) << run.messages;
            EXPECT_EQ(Got(), Driver() + c.got) << run.messages;
        }
        for (const char* secret : {"hush", "PWD=p", "PWD=env", "PWD=own", "a;b", "xxx"}) {
            EXPECT_EQ(run.messages.find(secret), std::string::npos) << c.words << run.messages;
        }
    }
}

/// The tool on a terminal of its own, which is asked for a password.
struct Prompted {
    explicit Prompted(const std::string& command, const std::string& typed)
    {
        int terminal = -1;
        const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            ::_exit(1);
        }
        ReadUntil(terminal, "Password: ");
        EXPECT_EQ(::write(terminal, typed.data(), typed.size()),
                  static_cast<ssize_t>(typed.size()));
        ReadUntil(terminal, "end.");
        termios settings{};
        ::tcgetattr(terminal, &settings);
        echoes = (settings.c_lflag & ECHO) != 0;
        ::close(terminal);
        ::waitpid(child, nullptr, 0);
    }
    void ReadUntil(int terminal, std::string_view end)
    {
        char byte = '\0';
        while (shown.find(end) == std::string::npos && ::read(terminal, &byte, 1) == 1) {
            shown.push_back(byte);
        }
    }

    std::string shown;
    bool echoes = false;
};

TEST_F(Connecting, AsksForThePasswordWithoutEcho)
{
    const std::string tool = fmt::format("{}{} -d {} -W call GetUV; echo $? end.", Environment(),
                                         ORVELGW_TOOL, Driver());
    const Prompted typed(tool, "hush;\n");
    EXPECT_EQ(Got(), Driver() + ";PWD={hush;}");
    EXPECT_EQ(typed.shown.find("hush"), std::string::npos) << typed.shown;
    ExpectParts(typed.shown, {"GetUV: result 1", "0 end."});
    EXPECT_TRUE(typed.echoes);
    const Prompted interrupted("trap 'echo $? end.' INT; " + tool, "hu\x03");
    EXPECT_TRUE(interrupted.echoes) << "the terminal is as it was";
    EXPECT_EQ(interrupted.shown.find("result"), std::string::npos);
    ExpectParts(Prompted(tool, "\n").shown, {"no password was typed", "2 end."});
}

// A value that a pipe can't hold keeps the tool running until somebody reads it.
TEST_F(Connecting, HidesAPasswordAmongItsWords)
{
    const std::string script = fmt::format(
        "cd {}; mkfifo fifo\n"
        "{} {};PWD=hush' --get fifo -c \"SELECT printf('%.*c', 200000, 'x')\" &\n"
        "exec 3<fifo; tr '\\0' ' ' </proc/$!/cmdline >seen; cat <&3 >/dev/null; wait $!",
        folder.path.string(), ORVELGW_TOOL, "-d 'DRIVER={SQLite3};Database=:memory:");
    EXPECT_EQ(std::system(script.c_str()), 0);
    const std::string seen = Slurp(File("seen"));
    ExpectParts(seen, {" -d ****", " --get fifo "});
    EXPECT_EQ(seen.find("hush"), std::string::npos) << seen;
}

TEST_F(Connecting, SaysWhereADriverCrashes)
{
    const std::string words = "-d " + Driver() + " -c 'SELECT 1'";
    ExpectParts(RunTool(words, "ulimit -c 0; TEST_DRIVER=crash").messages,
                {"orvelgw: aborted in DSNConnect, driver " + File("narrow-driver.so")});
    const Finished run = RunTool(words, "ulimit -c 0; TEST_DRIVER=abort");
    EXPECT_EQ(run.exit_code, 128 + SIGABRT);
    ExpectParts(run.messages, {"orvelgw: aborted in Prepare, driver " + File("narrow-driver.so")});
}

// In Turkish the small letter of I has no dot, and ISO-8859-9 has no Japanese.
TEST(Locale, OfTheUserChangesNothing)
{
    const TemporaryFolder folder;
    const std::string locale = (folder.path / "tr_TR").string();
    ASSERT_EQ(std::system(("localedef -i tr_TR -f ISO-8859-9 " + locale).c_str()), 0);
    const std::string environment = "LOCPATH=" + folder.path.string() + " LC_ALL=tr_TR";
    const std::string csv = (folder.path / "x.csv").string();
    std::ofstream(csv) << "id\n日本\n";
    const std::string database =
        "-d 'driver={SQLite3};Database=" + (folder.path / "x.db").string() + "' ";
    EXPECT_EQ(RunTool(database + "-c 'CREATE TABLE t(ID TEXT)'", environment).exit_code, 0);
    const Finished import = RunTool(database + "--import " + csv + " t", environment);
    EXPECT_EQ(import.exit_code, 0) << import.messages;
    EXPECT_EQ(RunTool(database + "-u -c 'SELECT * FROM t'", environment).data, "ID\n----\n日本\n");
    ExpectParts(RunTool(database + "doctor", environment).data, {"C.UTF-8", "has ISO-8859-9"});
}

TEST(Completion, KnowsOptionsSubcommandsAndEntries)
{
    const std::pair<const char*, const char*> cases[] = {
        {"--data", "--data-source --data-source-file "},
        {"do", "doctor "},
        {"call Fet", "Fetch FetchRows "},
        {"call GetUV then DropS", "DropStatement "},
        {"call GetUV DropS", ""},
        {"doctor --pass", "--password --password-file "},
    };
    for (const auto& [words, completed] : cases) {
        const TemporaryFolder folder;
        const std::string script = (folder.path / "script").string();
        std::ofstream(script) << fmt::format(
            "cd {0}\nPATH={1}:$PATH\n. <(orvelgw --completion)\nCOMP_WORDS=(orvelgw {2})\n"
            "COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))\n_orvelgw\nprintf '%s ' "
            "\"${{COMPREPLY[@]}}\"\n",
            folder.path.string(), std::filesystem::path(ORVELGW_TOOL).parent_path().string(),
            words);
        EXPECT_EQ(std::system(fmt::format("bash {0} >{0}.out", script).c_str()), 0);
        const std::string shown = Slurp(script + ".out");
        EXPECT_EQ(shown == " " ? "" : shown, completed) << words;
    }
}

TEST(Utf8, FindsTheFirstInvalidByte)
{
    const std::pair<std::string_view, std::optional<std::size_t>> cases[] = {
        {"", std::nullopt},   {"é日😀", std::nullopt},  {"\xE9", 0},
        {"é\x80", 2},         {"ab\xE6\x97", 2},       {"\xC0\x80", 0},
        {"a\xED\xA0\x80", 1}, {"\xF5\x80\x80\x80", 0}, {std::string_view("\0\xFF", 2), 1},
    };
    for (const auto& [text, at] : cases) {
        EXPECT_EQ(FirstInvalidByte(text), at) << testing::PrintToString(text);
    }
}

TEST(Ascii, ComparesOnlyLettersOfAscii)
{
    EXPECT_TRUE(EqualsIgnoringCase("DRIVER_1", "driver_1"));
    EXPECT_FALSE(EqualsIgnoringCase("é", "É"));
    EXPECT_FALSE(EqualsIgnoringCase("[", "{"));
    EXPECT_FALSE(EqualsIgnoringCase("a", "ab"));
    EXPECT_EQ(FindIgnoringCase("xABx", "abX"), 1U);
    EXPECT_EQ(FindIgnoringCase("x", "xx"), std::string_view::npos);
}

}  // namespace
