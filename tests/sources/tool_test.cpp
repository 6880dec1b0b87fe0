// The tool over each of the sources: it stores what was meant, and shows what is stored, in every
// mode.
#include <fmt/format.h>

#include <string>
#include <vector>

#include "client/ascii.h"
#include "run_tool.h"
#include "sources/source_fixture.h"

namespace {

class Tool : public testing::TestWithParam<Source> {
protected:
    Tool()
    {
        Run("-c 'DROP TABLE tool'");
        Expect("-c 'CREATE TABLE tool(id INTEGER, big BIGINT, moment " + GetParam().types.moment +
                   ", day DATE, short " + GetParam().types.text + ", longer " +
                   GetParam().types.long_text + ", bytes " + GetParam().types.long_binary + ")'",
               "");
    }

    static Finished Run(const std::string& words)
    {
        return RunTool(words, "ORVELGW_DSN='" + GetParam().ConnectionString() + "'");
    }
    /// Runs a command that has to succeed and show these rows, titles omitted.
    static void Expect(const std::string& words, const std::string& rows)
    {
        const Finished run = Run(words);
        EXPECT_EQ(run.exit_code, 0) << words << run.messages;
        const auto rule = run.data.find("-\n");
        EXPECT_EQ(run.data.empty() ? "" : run.data.substr(rule + 2), rows) << words;
    }
    std::string Written(const std::string& content, const char* name = "x.csv") const
    {
        std::ofstream(folder.path / name) << content;
        return folder.path / name;
    }

    const TemporaryFolder folder;
};

constexpr const char* kModes[] = {"", "-u ", "-l "};

TEST_P(Tool, ShowsWhatItStores)
{
    const std::string text = "é Ω 日 😀";
    std::string many;
    for (int i = 0; i < 700; ++i) {
        many += "é日x";
    }
    const std::string file = Written(fmt::format(
        "id,big,moment,short,longer,bytes\n1,30000000001,2024-02-29 10:11:12,{},\"{}\",\"a\xFF\"\n"
        "2,,,\"\",,\"\"\n3,-7,,NULL,x,\n",
        text, many));
    for (const char* mode : kModes) {
        Expect(fmt::format("{}-c 'DELETE FROM tool'", mode), "");
        Expect(fmt::format("{}--import {} tool", mode, file), "");
        Expect(fmt::format("{}-c 'SELECT short, longer FROM tool WHERE id = 1'", mode),
               fmt::format("{} | {}\n", text, many));
        Expect(fmt::format("{}-c 'SELECT id, big, bytes FROM tool WHERE id < 3 ORDER BY id'", mode),
               " 1 | 30000000001 | \\x61ff\n 2 |        NULL | \\x\n");
        Expect(fmt::format("{}-c 'SELECT short, longer, bytes FROM tool WHERE id > 1 ORDER BY id'",
                           mode),
               "      | NULL   | \\x\nNULL  | x      | NULL\n");
        const std::string export_words = fmt::format("{}--export tool", mode);
        const std::string exported = Run(export_words).data;
        Expect(fmt::format("{}-c 'DELETE FROM tool'", mode), "");
        Expect(fmt::format("{}--import {} tool", mode, Written(exported, "exported.csv")), "");
        EXPECT_EQ(Run(export_words).data, exported);
        const std::string got = folder.path / "got";
        Expect(fmt::format("{}-c 'SELECT longer FROM tool WHERE id = 1' --get {}", mode, got), "");
        EXPECT_EQ(Slurp(got), many) << mode;
    }
}

TEST_P(Tool, DescribesWhatIsNamed)
{
    const std::string tables = Run("-t --csv tables tool").data;
    const std::string schema = tables.substr(0, tables.find(','));
    if (schema != "\"\"") {
        EXPECT_EQ(Run("-t --csv tables " + schema + ".TOOL").data, tables);
    }
    if (const std::string& procedure = GetParam().dialect.procedure; !procedure.empty()) {
        Run("-f " + Written(procedure + "\n/\n", "procedure.sql"));
        const std::string name = schema + ".twice";
        const Finished run = Run("-f " + Written("\\df " + name + ";\n", "describe.sql"));
        EXPECT_EQ(run.exit_code, 0) << run.messages;
        for (const char* parameter : {"| a", "| b"}) {
            EXPECT_NE(FindIgnoringCase(run.data, parameter), std::string::npos) << run.data;
        }
    }
}

TEST_P(Tool, Binds)
{
    const std::string insert =
        "-c 'INSERT INTO tool(id, big, moment, day, short) VALUES (?, ?, ?, ?, ?)' ";
    for (const char* mode : kModes) {
        Expect(std::string(mode) + "-c 'DELETE FROM tool'", "");
        Expect(
            mode + insert + "-p 1 -p 30000000001 -p '2024-02-29 10:11:12' -p 2024-02-29 -p 'é 😀'",
            "");
        Expect(mode + insert + "-p 2 -p -5 -p NULL -p NULL -p 1.10", "");
        for (const char* where :
             {"big = ?' -p 30000000001", "short = ?' -p 'é 😀'", "id = ?' -p 1",
              "day = ?' -p 2024-02-29", "moment = ?' -p '2024-02-29 10:11:12'"}) {
            Expect(fmt::format("{}-c 'SELECT short FROM tool WHERE {}", mode, where), "é 😀\n");
        }
        Expect(mode + std::string("-c 'SELECT short FROM tool WHERE id = 2'"), "1.10\n");
    }
}

// A source refuses them, or the tool does; SQLite stores whatever it is given.
TEST_P(Tool, RefusesNumbersBeyondTheirType)
{
    if (GetParam().product == "SQLite") {
        GTEST_SKIP() << "its columns take any value";
    }
    for (const char* mode : kModes) {
        for (const auto& [column, value] :
             {std::pair("id", "99999999999"), std::pair("big", "12345678901234567890")}) {
            const std::string file = Written(fmt::format("{}\n{}\n", column, value));
            EXPECT_EQ(Run(fmt::format("{}--import {} tool", mode, file)).exit_code, 1) << mode;
            EXPECT_EQ(Run(fmt::format("{}-c 'INSERT INTO tool({}) VALUES (?)' -p {}", mode, column,
                                      value))
                          .exit_code,
                      1)
                << mode << column;
        }
    }
    Expect("-c 'SELECT count(*) AS n FROM tool'", "0\n");
}

TEST_P(Tool, NamesColumnsOutsideAscii)
{
    for (const char* mode : kModes) {
        const Finished run =
            Run(std::string(mode) + "--csv -q -c 'SELECT id AS \"naïvé x\" FROM tool'");
        EXPECT_EQ(run.data, "naïvé x\n") << mode << run.messages;
    }
}

// What the described type of a column lacks is not lost.
TEST_P(Tool, KeepsTheOffsetOfAMoment)
{
    if (GetParam().product != "PostgreSQL") {
        GTEST_SKIP() << "no type has an offset";
    }
    Run("-c 'DROP TABLE offsets'");
    Expect("-c 'CREATE TABLE offsets(a TIMESTAMPTZ)'", "");
    const std::string file = Written("a\n2024-02-29 10:11:12.345+05:30\n");
    Expect("--import " + file + " offsets", "");
    Expect("-c \"SELECT a AT TIME ZONE 'UTC' AS a FROM offsets\"", "2024-02-29 04:41:12.345\n");
}

TEST_P(Tool, KeepsNothingOfAnImportThatFails)
{
    const std::string rows = "id,day\n1,2024-02-29\n2,2024-02-28\nx,no day\n";
    const Finished run = Run("--import " + Written(rows) + " tool");
    if (run.exit_code == 0) {  // SQLite stores text in any column
        EXPECT_EQ(GetParam().name.substr(0, 6), "sqlite");
        return;
    }
    ExpectParts(run.messages, {"line 4: ", "\"x\"", "rolled back: no row was imported"});
    Expect("-c 'SELECT count(*) AS n FROM tool'", "0\n");
}

// Rows that a trigger left out are none that stay; those of a table without transactions do.
TEST_P(Tool, SaysWhatAFailedImportLeaves)
{
    const bool is_postgresql = GetParam().product == "PostgreSQL";
    if (!is_postgresql && GetParam().product != "MariaDB") {
        GTEST_SKIP() << "has neither such triggers nor such tables";
    }
    Run("-c 'DROP TABLE kept'");
    if (is_postgresql) {
        Expect("-c 'CREATE TABLE kept(id INTEGER PRIMARY KEY)'", "");
        Expect(
            "-c \"CREATE OR REPLACE FUNCTION leave_out() RETURNS trigger LANGUAGE plpgsql AS "
            "'BEGIN RETURN NULL; END'\"",
            "");
        Expect(
            "-c 'CREATE TRIGGER leaves BEFORE INSERT ON kept FOR EACH ROW WHEN (NEW.id = 2) "
            "EXECUTE FUNCTION leave_out()'",
            "");
    } else {
        Expect("-c 'CREATE TABLE kept(id INTEGER PRIMARY KEY) ENGINE=MyISAM'", "");
    }
    const Finished run = Run("--import " + Written("id\n1\n2\n1\n") + " kept");
    ExpectParts(run.messages, {"line 4: ", is_postgresql ? "rolled back: no row was imported"
                                                         : "2 rows may stay in kept"});
    Expect("-c 'SELECT count(*) AS n FROM kept'", is_postgresql ? "0\n" : "2\n");
    Expect("-c 'DROP TABLE kept'", "");
}

TEST_P(Tool, RunsScriptsInOneTransaction)
{
    Run("-c 'DROP TABLE tool2'");
    const std::string script = Written(
        "INSERT INTO tool(id, short) VALUES (1, 'a;''b'); -- both;\n/* or; */ CREATE TABLE "
        "tool2(id "
        "INTEGER);\n\nINSERT INTO nowhere VALUES (1)");
    const Finished run = Run("-1 -f " + script);
    EXPECT_EQ(run.exit_code, 1);
    ExpectParts(run.messages, {"(1 row changed)\n(done)\norvelgw: " + script + ": line 4: "});
    const bool stays = Run("-c 'SELECT * FROM tool2'").exit_code == 0;
    ExpectParts(run.messages, {stays ? "(rolled back, but for" : "(rolled back)"});
    EXPECT_EQ(stays, GetParam().product == "OpenLink Virtuoso" || GetParam().product == "MariaDB");
    Expect("-c 'SELECT count(*) AS n FROM tool'", stays ? "1\n" : "0\n");
    Expect("-q -f - <" + Written("DELETE FROM tool; INSERT INTO tool(id) VALUES (7)"), "");
    Expect("-c 'SELECT id FROM tool'", " 7\n");
}

INSTANTIATE_TEST_SUITE_P(Sources, Tool, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace
