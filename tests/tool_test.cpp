// The program orvelgw as a person runs it.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tool_fixture.h"

namespace {

TEST(Tool, ExitCodesTellWhatFailed)
{
    const std::string memory = kMemory;
    const std::string select = "-c 'SELECT 1' ";
    const ToolCase cases[] = {
        {memory + select, 0, "(1 row)"},
        {memory + select + "--trace -u", 0, "trace: SetUnicodeOption  1\n"},
        {memory + "-c 'SELECT' " + select, 1, "SQLSTATE HY000"},
        {memory + "-c 'CREATE TABLE t(a)' -c 'DELETE FROM t' " + select, 0, "(0 rows changed)"},
        {memory + "-c 'SELECT ?' --put /nowhere", 1, "/nowhere: No such file"},
        {memory + "-c 'SELECT ?'", 1, "unbound parameters"},
        {memory + "-c 'SELECT 1 WHERE 1 = 0' --get /dev/null", 1, "no row"},
        {memory + "-c 'CREATE TABLE t(a)' --get /dev/null", 1, "no result"},
        {memory + select + "--get /no/such/file", 1, "/no/such/file: No such file"},
        {memory + "-c 'SELECT ?, ?' -p 1", 1, "has 2 parameter markers, and 1 value is given"},
        {memory + "-c 'SELECT 1' -p 1 -p 2", 1, "has 0 parameter markers, and 2 values are given"},
        {memory + select + "--null= ", 0, "(1 row)"},
        {memory + select + "--get=", 1, "No such file"},
    };
    for (const Finished& run : ExpectRuns(cases)) {
        EXPECT_EQ(run.data.empty(), run.exit_code != 0) << run.data;
    }
}

TEST(Tool, PrintsAlignedColumns)
{
    const std::string sql =
        "-c \"SELECT '日本' AS a, 5 AS n, '' AS e UNION ALL SELECT 'é', NULL, 'x' || char(10)\" ";
    for (const char* mode : {"", "-u", "-l"}) {
        const Finished run = RunTool(kMemory + sql + mode, "LC_ALL=C");
        EXPECT_EQ(run.data,
                  "a    | n    | e\n"
                  "-----+------+----\n"
                  "日本 |    5 |\n"
                  "é    | NULL | x\\n\n")
            << mode;
        EXPECT_EQ(run.messages, "(2 rows)\n") << mode;
    }
    EXPECT_EQ(RunTool(kMemory + sql + "--null '~'").data.find("NULL"), std::string::npos);
}

// Whatever the mode, a table shows what is in the database.
TEST(Tool, ShowsValuesWholeAndApart)
{
    struct Case {
        const char* sql;
        std::string shown;
    };
    const std::string many(3000, 'x');
    const Case cases[] = {
        {"printf('%.*c', 3000, 'x')", many},
        {"'é' || printf('%.*c', 3000, 'x') || '日'", "é" + many + "日"},
        {"'a' || char(10) || 'b'", "a\\nb"},
        {"'a\\nb'", "a\\\\nb"},
        {"CAST(x'41E942' AS TEXT)", "A\\xe9B"},
        {"x'00ff41'", "\\x00ff41"},
        {"x''", "\\x"},
        {"zeroblob(33)", "(binary, 33 bytes)"},
        {"CAST(NULL AS BLOB)", "NULL"},
        {"''", ""},
        {"9007199254740993", "9007199254740993"},
    };
    for (const char* mode : {"", "-u ", "-l "}) {
        for (const Case& c : cases) {
            const Finished run =
                RunTool(std::string(kMemory) + mode + "-c \"SELECT " + c.sql + " AS a\"");
            const auto rule = run.data.find("-\n");
            EXPECT_EQ(run.data.substr(rule + 2), c.shown + "\n") << mode << c.sql;
            EXPECT_EQ(run.messages, "(1 row)\n") << mode << c.sql;
        }
    }
}

TEST(Tool, ShowsEveryRowInItsOrder)
{
    const Finished run = RunTool(
        std::string(kMemory) +
        "-c \"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
        "SELECT i, CASE i WHEN 999 THEN 'wider than all' END AS t FROM n\"");
    std::string rows = "i    | t\n-----+-----\n";
    for (int i = 1; i <= 1000; ++i) {
        rows += fmt::format("{:>3} | {}\n", i, i == 999 ? "wider than all" : "NULL");
    }
    EXPECT_EQ(run.data.substr(run.data.find("-\n") + 2), rows.substr(rows.find("-\n") + 2));
    EXPECT_EQ(run.messages, "(1000 rows)\n");
}

TEST(Tool, GivesMarkersTheirValues)
{
    const std::string sql =
        "-c \"SELECT ? AS a, ? AS b, ? AS c, typeof(?) AS d, ? AS e, ? AS f, ? AS g, "
        "typeof(?) AS h\" "
        "-p 'Ω é' -p NULL -p '' -p 5000000000 -p 1.10 -p 12345678901234567890 -p 007 -p '\\5'";
    for (const char* mode : {" -u ", " ", " -l "}) {
        EXPECT_EQ(RunTool(kMemory + std::string(mode) + sql).data,
                  "a   | b    | c | d       | e    | f                    | g   | h\n"
                  "----+------+---+---------+------+----------------------+-----+-----\n"
                  "Ω é | NULL |   | integer | 1.10 | 12345678901234567890 | 007 | text\n");
    }
}

TEST_F(ToolFiles, CarriesFilesThereAndBack)
{
    Sql("CREATE TABLE t(id INTEGER, data BLOB, note TEXT)");
    std::string bytes;
    for (int i = 0; i < 2'000'000; ++i) {
        bytes.push_back(static_cast<char>(i * 7L * i >> 7));
    }
    const std::string large = Written("large", bytes);
    const std::string small = Written("small", std::string("\0x", 2));
    Sql("INSERT INTO t VALUES (?, ?, ?)", "-p 1 --put " + large + " -p 'é\n'");
    Sql("INSERT INTO t VALUES (?, ?, ?)", "-p 2 --put " + small + " --put " + large);
    const auto get = [&](const std::string& sql) {
        Written("out", "overwritten");
        EXPECT_EQ(Sql(sql, "--get " + File("out")), "");
        return Slurp(File("out"));
    };
    EXPECT_TRUE(get("SELECT data FROM t WHERE id = 1") == bytes);
    EXPECT_TRUE(get("SELECT data FROM t WHERE id = 2") == Slurp(small));
    EXPECT_EQ(get("SELECT note FROM t WHERE id = 1"), "é\n");
    EXPECT_EQ(get("SELECT ''"), "");
    EXPECT_EQ(get("SELECT NULL"), "");
    Sql("INSERT INTO t(id, note) VALUES (3, ?)", "--put " + large);
    EXPECT_TRUE(get("SELECT note FROM t WHERE id = 3") == bytes) << "bytes in a text column";
    Sql("DELETE FROM t WHERE id = 3");
    std::filesystem::create_symlink(File("out"), File("link"));
    Sql("SELECT 'linked'", "--get " + File("link"));
    EXPECT_EQ(Slurp(File("out")), "linked");
    EXPECT_TRUE(std::filesystem::is_symlink(File("link")));
    Sql("SELECT 'x'", "--get /dev/null");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_EQ(Tool("-c 'INSERT INTO t(id) VALUES (9) RETURNING id' --get /no/such").exit_code, 1);
    const std::string empty = Written("empty", "");
    EXPECT_EQ(Tool("-c 'INSERT INTO t(data) VALUES (?)' --put " + empty).exit_code, 1);
    EXPECT_EQ(Tool("-c 'SELECT missing' --get " + File("out")).exit_code, 1);
    EXPECT_EQ(Slurp(File("out")), "linked") << "what was there is not lost to a failure";
    EXPECT_EQ(Sql("SELECT count(*) FROM t"), "       2\n");
}

// What root may do is not what a user may.
const std::string kHeld = ::geteuid() == 0 ? "setpriv --bounding-set -dac_override " : "";

TEST_F(ToolFiles, GetsIntoWhatItMayReplace)
{
    namespace fs = std::filesystem;
    for (const char* name : {"open", "setuid", "held", "theirs"}) {
        Written(name, "old");
    }
    fs::permissions(File("setuid"), fs::perms(04711));
    fs::permissions(File("held"), fs::perms(0444));
    fs::create_symlink("made", File("dangling"));
    fs::create_symlink("loop", File("loop"));
    struct Case {
        std::string file;
        std::string content;  // of the file that is written
        const char* message;
        std::string words = {};
    };
    std::vector<Case> cases = {
        {"/dev/fd/3", "oldnew", "(3 bytes", "3>>" + File("open")},
        {"/proc/self/fd/3", "oldnewnew", "(3 bytes", "3>>" + File("open")},
        {"/dev/fd/3", "oldnewnew", "Bad file descriptor", "3<" + File("open")},
        {File("setuid"), "new", "(3 bytes"},
        {File("held"), "old", "/held: Permission denied"},
        {File("dangling"), "new", "(3 bytes"},
        {File("loop"), "", "/loop: Too many levels"},
        {File("held") + "/x", "", "Not a directory"},
    };
    if (::geteuid() == 0) {
        constexpr uid_t kNobody = 65'534;
        EXPECT_EQ(::chown(File("theirs").c_str(), kNobody, kNobody), 0);
        fs::permissions(File("theirs"), fs::perms(0666));
        cases.push_back({File("theirs"), "old", "/theirs: it is another user's"});
    }
    for (const Case& c : cases) {
        const Finished run =
            RunTool(Database() + "-c \"SELECT 'new'\" --get " + c.file + " " + c.words, kHeld);
        ExpectParts(run.messages, {c.message});
        EXPECT_EQ(run.exit_code == 0, c.message[0] == '(') << c.file;
        EXPECT_EQ(Slurp(c.words.empty() ? c.file : File("open")), c.content) << c.file;
    }
    EXPECT_EQ(RunTool(Database() + "-c 'SELECT 5' --get /dev/stdout").data, "5");
    EXPECT_EQ(fs::status(File("setuid")).permissions(), fs::perms(0711));
    EXPECT_TRUE(fs::is_symlink(File("dangling")));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path), {}), 8) << "and no part of one";
}

TEST_F(ToolFiles, LosesNothingToAFileThatFails)
{
    namespace fs = std::filesystem;
    const auto run = [&](const std::string& words) {
        return WEXITSTATUS(std::system((ORVELGW_TOOL " " + Database() + words).c_str()));
    };
    EXPECT_EQ(run("-c 'SELECT 1' >/dev/full 2>" + File("messages")), 1);
    EXPECT_EQ(Slurp(File("messages")), "(1 row)\norvelgw: the output could not be written\n");
    Written("out", "old");
    fs::permissions(File("out"), fs::perms(0640));
    EXPECT_EQ(run("-c 'SELECT abs(-9223372036854775808)' --get " + File("out") + " 2>/dev/null"),
              1);
    EXPECT_EQ(Slurp(File("out")), "old");
    EXPECT_EQ(run("-c \"SELECT 'new'\" --get " + File("out") + " 2>/dev/null"), 0);
    EXPECT_EQ(Slurp(File("out")), "new");
    EXPECT_EQ(fs::status(File("out")).permissions(), fs::perms(0640));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path), {}), 3) << "and no part of a file";
}

TEST_F(ToolFiles, ScriptsGoWhereTheyStand)
{
    namespace fs = std::filesystem;
    const auto scripts = fs::path(ORVELGW_CALLOUTS).parent_path().parent_path() / "scripts";
    fs::create_directories(folder.path / "elsewhere/scripts");
    fs::create_directories(folder.path / "here/scripts");
    fs::copy_file(scripts / "common.sh", folder.path / "here/scripts/common.sh");
    Written("here/scripts/where", ". \"$(dirname \"$0\")/common.sh\"\npwd\n");
    const auto where = [&] {
        const int status = std::system(("cd " + File("here") + "; CDPATH=" + File("elsewhere") +
                                        " " + kHeld + "bash scripts/where >../out 2>&1")
                                           .c_str());
        return std::to_string(WEXITSTATUS(status)) + " " + Slurp(File("out"));
    };
    EXPECT_EQ(where(), "0 " + File("here") + "\n");
    fs::permissions(File("here/build"), fs::perms(0555));
    EXPECT_EQ(where(), "1 scripts/where: this user can't write to " + File("here") +
                           "/build, where scripts put all their output\n");
}

TEST_F(ToolFiles, LeavesNoPartWhereASignalEndsIt)
{
    const std::string endless =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT max(i) FROM n";
    Written("out", "old");
    for (const char* signal : {"INT", "TERM", "HUP", "ABRT"}) {
        const std::string script = fmt::format(
            "exec 2>/dev/null; ulimit -c 0\n"
            "env --default-signal=INT {} {} -c '{}' --get {} &\n"
            "while [ ! -e {}.* ]; do sleep 0.01; done\n"
            "kill -{} $!; wait $!; [ $(kill -l $?) = {} ]",
            ORVELGW_TOOL, kMemory, endless, File("out"), File("out"), signal, signal);
        EXPECT_EQ(std::system(script.c_str()), 0) << signal;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 1) << signal;
    }
    EXPECT_EQ(Slurp(File("out")), "old");
}

TEST_F(ToolFiles, ImportsAllRecordsOrNone)
{
    Sql("CREATE TABLE t(id INTEGER NOT NULL, name VARCHAR(10), \\\"a b\\\" DECIMAL(8,2))");
    Sql("CREATE TABLE quoted(\\\"a \\\"\\\"b\\\"\\\"\\\" INTEGER)");
    EXPECT_EQ(Tool("--import " + Written("q.csv", "\"a \"\"b\"\"\"\n5\n") + " quoted").exit_code,
              0);
    const std::string good = Written("good.csv",
                                     "\xEF\xBB\xBF"
                                     "ID,a b,name\r\n"
                                     "1,1.5,\"Å, \"\"x\"\"\n\"\r\n\r\n"
                                     "9007199254740993,,\"\"\r\n3, 7 ,NULL");
    const Finished run = Tool("--import " + good + " t");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.data, "");
    EXPECT_EQ(run.messages, "(3 rows imported)\n");
    EXPECT_EQ(Tool("-u --import " + good + " t").messages, "(3 rows imported)\n");
    const std::string rows =
        "               1 | Å, \"x\"\\n | 1.5\n"
        "9007199254740993 |          | NULL\n"
        "               3 | NULL     | 7\n";
    EXPECT_EQ(Sql("SELECT id, name, \\\"a b\\\" FROM t", "--null NULL"), rows + rows);
    Sql("CREATE TABLE bytes(b BLOB)");
    EXPECT_EQ(Tool("--import " + Written("b.csv", "b\nabc\n\"\xFF\"\n") + " bytes").exit_code, 0);
    EXPECT_EQ(Sql("SELECT hex(b) FROM bytes"), "616263\nFF\n");
    const std::string before = Sql("SELECT count(*) FROM t");
    struct Case {
        std::string file;
        const char* message;
        const char* endless = "";  // comes in place of the file
    };
    const Case cases[] = {
        {"id,name\n5,x\n6\n", "bad.csv: line 3: 1 field, but 2 columns"},
        {"id,title\n5,x\n", "t has no column \"title\""},
        {"id;name\n5;x\n", "t has no column \"id;name\"; did you mean --delimiter ';'?"},
        {"id,name\n\n5,\"x\n\"\n,y\n", "line 5: id = NULL, name = \"y\": NOT NULL constraint"},
        {"id,name\n5,x\n6,a\"b\n", "line 3: a quote where none belongs"},
        {"id,name\n5,x\n6,\"b\n", "line 3: a quote where none belongs, or one that is missing"},
        {"id,name\n5,x\n6,Krak\xF3w\n", "line 3: column name, \"Krak\\xf3w\": not UTF-8 at byte 5"},
        {"id,name\n5," + std::string(70'000, 'x'), "\"...: longer than 65534 bytes"},
        {"", "no record with the names of columns"},
        {"id,ID\n5,6\n", "two fields are for the column id"},
        {std::string("id,name\n5,a\0b\n", 14), "line 2: a zero byte"},
        {"", "line 1: a field of more than 1000000 bytes", "tr '\\0' x </dev/zero |"},
        {"", "line 1: more than 1000000 fields", "tr '\\0' , </dev/zero |"},
    };
    for (const Case& c : cases) {
        const std::string file = Written("bad.csv", c.file);
        const Finished bad = RunTool(
            Database() + "--import " + (c.endless[0] == '\0' ? file : "-") + " t", c.endless);
        EXPECT_EQ(bad.exit_code, 1);
        ExpectParts(bad.messages, {c.message});
    }
    ExpectParts(
        Tool("--import " + Written("bad.csv", "id\n5\n6\nNULL\n\n\"\"\n,\n") + " t").messages,
        {"rolled back: no row was imported"});
    EXPECT_EQ(Tool("--import /nowhere.csv t").exit_code, 1);
    EXPECT_EQ(Tool("--import " + good + " nowhere").exit_code, 1);
    EXPECT_EQ(Sql("SELECT count(*) FROM t"), before);
}

// What a driver, a server or a file says doesn't reach the terminal as commands to it.
TEST_F(ToolFiles, ShowsNoControlCharacter)
{
    const std::string escape = "\033c";
    const std::string sql = " -c \"SELECT char(27) || 'c'\"";
    const std::string file = File(escape);
    const std::string memory = kMemory;
    const std::string driver = "-d DRIVER=" + File("narrow-driver.so");
    std::filesystem::create_symlink(ORVELGW_NARROW_SHIM, File("narrow-driver.so"));
    std::filesystem::create_symlink(WIDE_DRIVER_4, File("driver.so"));
    Written("odbc.ini", "[" + escape + "]\nDatabase=:memory:\n");
    struct Case {
        const char* what;
        std::string words;
        const char* environment = "";
    };
    const Case cases[] = {
        {"a value", memory + sql},
        {"a value of 2-byte characters", memory + "-u" + sql},
        {"a title", memory + "-c 'SELECT 1 AS \"" + escape + "\"'"},
        {"a title in a message",
         memory + "-c 'SELECT printf(\"%.*c\", 1001, \"x\") AS \"" + escape + "\"'"},
        {"a diagnostic", memory + "-c 'SELECT * FROM \"" + escape + "\"'"},
        {"a warning", driver + " -c 'SELECT 1'", "TEST_DRIVER=warn"},
        {"a refusal", driver + " -c 'SELECT 1'"},
        {"outputs and the trace", memory + "call Prepare @statement 'SELECT \"" + escape +
                                      "\", 2' then Execute @statement then DescribeColumns "
                                      "@statement then Fetch @statement then GetOneRow @statement "
                                      "'[1]' then GetData @statement 1 1 then GetDataW @statement "
                                      "1 -8"},
        {"a diagnostic of a call", memory + "call Prepare @statement 'SELECT \"" + escape + "'"},
        {"a word of a call", memory + "call '" + escape + "'"},
        {"a file that is written", memory + "-c 'SELECT 1' --get '" + file + "'"},
        {"a file that can't be", memory + "-c 'SELECT 1' --get '" + file + "/x'"},
        {"a file that is sent", memory + "-c 'SELECT ?' --put '" + file + "x'"},
        {"a file that is imported", memory + "--import '" + file + "x' t"},
        {"a field of CSV", Database() + "--import " + Written("x.csv", escape + "\n1\n") + " t"},
        {"a library", memory + "--library '" + escape + "' -c 'SELECT 1'"},
        {"a word", memory + "'" + escape + "'"},
        {"a string", "doctor -d '" + escape + "'"},
        {"the configuration", "doctor -d none"},
        {"a data source", "doctor -d 'DSN=" + escape + "'"},
        {"a driver file", "doctor -d 'DRIVER=" + file + "'"},
        {"a driver's refusal of a statement", "doctor " + driver, "TEST_DRIVER=connect"},
    };
    Sql("CREATE TABLE t(a INTEGER)");
    for (const Case& c : cases) {
        const Finished run = RunTool(c.words, c.environment + (" ODBCINI=" + File("odbc.ini")));
        const std::string shown = run.data + run.messages;
        EXPECT_NE(shown.find("\\x1bc"), std::string::npos) << c.what << ": " << shown;
        EXPECT_EQ(shown.find('\x1b'), std::string::npos) << c.what;
    }
}

}  // namespace
