// The program orvelgw as a person runs it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

/// A run of the program.
struct Finished {
    int exit_code;
    std::string data;      // stdout
    std::string messages;  // stderr
};

std::string Slurp(const std::filesystem::path& path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

Finished RunTool(const std::string& words, const std::string& environment = "")
{
    const auto base =
        std::filesystem::temp_directory_path() / ("orvelgw-" + std::to_string(::getpid()));
    const std::string out = base.string() + ".out";
    const std::string messages = base.string() + ".err";
    const int status = std::system(
        (environment + " " ORVELGW_TOOL " " + words + " >" + out + " 2>" + messages).c_str());
    Finished run{WEXITSTATUS(status), Slurp(out), Slurp(messages)};
    std::filesystem::remove(out);
    std::filesystem::remove(messages);
    return run;
}

constexpr char kMemory[] = "-d 'DRIVER={SQLite3};Database=:memory:' ";

TEST(Tool, ExitCodesTellWhatFailed)
{
    const std::string memory = kMemory;
    const std::string select = "-c 'SELECT 1' ";
    struct Case {
        std::string words;
        int exit_code;
        const char* message;
    };
    const Case cases[] = {
        {memory + select, 0, "(1 row)"},
        {memory + "-c 'SELECT' " + select, 1, "SQLState: (HY000)"},
        {memory + "-c 'CREATE TABLE t(a)' -c 'DELETE FROM t' " + select, 0, "(0 rows changed)"},
        {memory, 2, "--command"},
        {select, 2, "--data-source"},
        {memory + select + "--nonsense", 2, "--nonsense"},
        {"-d 'DRIVER={SQLite3};Database=" + std::string(250, 'x') + "' " + select, 2, "254"},
        {memory + select + "--library /nowhere.so", 3, "/nowhere.so"},
        {memory + select + "--library libm.so.6", 3, "GetZFTable"},
        {"-d no-such-source " + select, 4, "(IM002)"},
        {"-d 'DRIVER={SQLite3};Database=/no/such/folder' " + select, 4, "connect failed"},
    };
    for (const Case& c : cases) {
        const Finished run = RunTool(c.words);
        EXPECT_EQ(run.exit_code, c.exit_code) << c.words << run.messages;
        EXPECT_NE(run.messages.find(c.message), std::string::npos) << run.messages;
        EXPECT_EQ(run.data.empty(), c.exit_code != 0) << run.data;
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

TEST(Tool, SaysWhereAValueMayBeCut)
{
    const std::string sql = "-c \"SELECT 1 AS a, printf('%.*c', 1001, 'x') AS b\" ";
    for (const char* mode : {"", "-u", "-l"}) {
        const Finished run = RunTool(kMemory + sql + mode);
        EXPECT_NE(run.messages.find("column b: 1 value, first in row 1, as long as a row brings"),
                  std::string::npos)
            << run.messages;
        EXPECT_EQ(run.data.find(std::string(1001, 'x')), std::string::npos);
    }
}

TEST(Tool, ShowsTheTrace)
{
    const Finished run = RunTool(kMemory + std::string("--trace -u -c \"SELECT 'é'\""));
    EXPECT_EQ(run.data, "'é'\n---\né\n");
    for (const char* line :
         {"trace: SetUnicodeOption  1\n", "trace: Execute END  0\n", ", \"SELECT 'é'\"\n"}) {
        EXPECT_NE(run.messages.find(line), std::string::npos) << run.messages;
    }
}

}  // namespace
