// Results in every format, and tables that go out as CSV and come in again.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "client/odbc_numbers.h"
#include "text/CsvReader.h"
#include "text/byte_text.h"
#include "tool/output/format.h"
#include "tool_fixture.h"

namespace {

using Value = std::optional<std::string>;
using Values = std::vector<std::vector<Value>>;

const std::vector<Column> kColumns = {
    {"é\"", kVarcharType}, {"n", kDoubleType}, {"b", kVarbinaryType}, {"é\"", kVarcharType}};

/// What a sink writes of results of those columns.
std::string Written(const OutputSettings& settings, const Values& rows, int results = 1)
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* stream = ::open_memstream(&text, &size);
    const auto sink = MakeSink(settings, stream);
    for (int i = 0; i < results; ++i) {
        sink->Begin(kColumns);
        for (const auto& row : rows) {
            std::vector<Cell> cells;
            for (const Value& value : row) {
                const auto kind = kColumns[cells.size()].IsBinary() ? Cell::kBinary : Cell::kText;
                const bool is_error = value == "<ERROR>";
                cells.push_back(value ? Cell{is_error ? Cell::kUnreadable : kind, *value} : Cell{});
            }
            sink->Take(cells);
        }
        sink->End();
    }
    std::fclose(stream);
    std::string written(text, size);
    std::free(text);
    return written;
}

/// Rows of all that some format has a sign for, the same in each run.
Values RandomRows(std::vector<std::string> texts)
{
    for (const char* text : {"\"", ",", ";", "\n", "\r\n", "\r", "\\", "\\N", "\\x00", "\t", " ",
                             "x", "é", "日本", "😀", "NULL", "|", "'", "\x01"}) {
        texts.emplace_back(text);
    }
    const std::vector<std::string> numbers = {
        "0", "-1", "12.50", "1e10", "-0.5E-3", "12345678901", "NaN", "07", ".5", "1.", "+1", "1e"};
    std::vector<std::string> bytes = {"\\x"};
    for (int i = 0; i < 256; ++i) {
        bytes.emplace_back(1, static_cast<char>(i));
    }
    std::mt19937 generator{1};
    const auto value = [&](const std::vector<std::string>& parts, std::size_t most) {
        std::string joined;
        for (auto left = generator() % (most + 1); left > 0; --left) {
            joined += parts[generator() % parts.size()];
        }
        return generator() % 8 == 0 ? std::nullopt : Value(joined);
    };
    Values rows(500);
    for (auto& row : rows) {
        row = {value(texts, 6), value(numbers, 1), value(bytes, 5), value(texts, 6)};
    }
    return rows;
}

std::string Hex(const std::string& bytes)
{
    std::string text;
    AppendHex(text, bytes);
    return text;
}

TEST(Formats, LookAsTheyAreNamed)
{
    const Values rows = {{"|\n<\\&", "1.5", std::string("\0~", 2), ""},
                         {std::nullopt, "x", "", "<ERROR>"}};
    struct Case {
        Format format;
        std::string head;
        std::string rows;
        std::string end = {};
        const char* null = "NULL";
    };
    const Case cases[] = {
        {Format::kTable, "é\"      | n   | b      | é\"\n--------+-----+--------+--------\n",
         "|\\n<\\\\& | 1.5 | \\x007e |\nNULL    |   x | \\x     | <ERROR>\n"},
        {Format::kVertical, "",
         "-[ RECORD 1 ]-\né\" | |\\n<\\\\&\nn  | 1.5\nb  | \\x007e\né\" |\n"
         "-[ RECORD 2 ]-\né\" | NULL\nn  | x\nb  | \\x\né\" | <ERROR>\n"},
        {Format::kCsv, "\"é\"\"\",n,b,\"é\"\"\"\n",
         "\"|\n<\\&\",1.5,\\x007e,\"\"\n,x,\\x,<ERROR>\n"},
        {Format::kTsv, "é\"\tn\tb\té\"\n",
         "|\\n<\\\\&\t1.5\t\\\\x007e\t\n\\N\tx\t\\\\x\t<ERROR>\n"},
        {Format::kJson, "[\n",
         R"({"é\"":"|\n<\\&","n":1.5,"b":"AH4=","é\"_2":""},)"
         "\n"
         R"({"é\"":null,"n":"x","b":"","é\"_2":"<ERROR>"})"
         "\n",
         "]\n"},
        {Format::kMarkdown, "| é\" | n | b | é\" |\n| --- | ---: | --- | --- |\n",
         "| \\|<br>&lt;\\\\&amp; | 1.5 | \\\\x007e |  |\n| NULL | x | \\\\x | &lt;ERROR&gt; |\n",
         "\n"},
        {Format::kHtml, "<table>\n<tr><th>é\"</th><th>n</th><th>b</th><th>é\"</th></tr>\n",
         "<tr><td>|<br>&lt;\\&amp;</td><td style=\"text-align: right\">1.5</td><td>\\x007e</td>"
         "<td></td></tr>\n<tr><td class=\"null\">NULL</td><td style=\"text-align: right\">x</td>"
         "<td>\\x</td><td>&lt;ERROR&gt;</td></tr>\n",
         "</table>\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Written({.format = c.format}, rows), c.head + c.rows + c.end);
    }
    const Values nulls = {{std::nullopt, "~", "", ""}};
    const auto bare = [&](Format format) {
        return Written({.format = format, .null_text = "~", .tuples_only = true}, nulls, 2);
    };
    EXPECT_EQ(bare(Format::kTable), "~ | ~ | \\x |\n~ | ~ | \\x |\n");
    EXPECT_EQ(bare(Format::kVertical),
              "é\" | ~\nn  | ~\nb  | \\x\né\" |\né\" | ~\nn  | ~\nb  | \\x\né\" |\n");
    EXPECT_EQ(bare(Format::kCsv), "~,\"~\",\\x,\"\"\n~,\"~\",\\x,\"\"\n");
    EXPECT_EQ(bare(Format::kMarkdown), "| \\~ | \\~ | \\\\x |  |\n\n| \\~ | \\~ | \\\\x |  |\n\n");
}

nlohmann::json Expected(const Value& value, const Column& column)
{
    if (!value) {
        return nullptr;
    }
    std::string text;
    if (column.IsBinary()) {
        AppendBase64(text, *value);
        return text;
    }
    if (column.IsNumeric() && nlohmann::json::accept(*value)) {
        return nlohmann::json::parse(*value);
    }
    for (const char c : *value) {
        text += c == '\xff' ? "\uFFFD" : std::string(1, c);
    }
    return text;
}

TEST(Formats, JsonIsReadBack)
{
    const Values rows = RandomRows({"\xff"});
    std::istringstream arrays(Written({.format = Format::kJson}, rows, 2));
    std::istringstream lines(Written({.format = Format::kJsonl}, rows, 2));
    const std::vector<std::string> keys = {"é\"", "n", "b", "é\"_2"};
    for (int result = 0; result < 2; ++result) {
        nlohmann::json array;
        arrays >> array;
        ASSERT_EQ(array.size(), rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            for (std::size_t j = 0; j < keys.size(); ++j) {
                EXPECT_EQ(array[i].at(keys[j]), Expected(rows[i][j], kColumns[j])) << array[i];
            }
            std::string line;
            std::getline(lines, line);
            EXPECT_EQ(nlohmann::json::parse(line), array[i]);
        }
    }
    EXPECT_EQ(Written({.format = Format::kJson}, {}), "[]\n");
    std::string base64;
    for (const char* bytes : {"f", "fo", "foo", "\xfb\xff\xfe~"}) {
        AppendBase64(base64, bytes);
    }
    EXPECT_EQ(base64, "Zg==Zm8=Zm9v+//+fg==");
}

TEST(Formats, SeparatedValuesAreReadBack)
{
    const TemporaryFolder folder;
    const std::string file = folder.path / "file.csv";
    const Values rows = RandomRows({"\xff"});
    std::istringstream lines(Written({.format = Format::kTsv, .tuples_only = true}, rows));
    for (const char delimiter : {',', ';', '\t', 'x', '\\', ' '}) {
        std::ofstream(file, std::ios::binary)
            << Written({.format = Format::kCsv, .delimiter = delimiter}, rows);
        CsvReader reader(file, delimiter);
        ASSERT_TRUE(reader.Next());
        for (const auto& row : rows) {
            ASSERT_TRUE(reader.Next());
            for (std::size_t j = 0; j < kColumns.size(); ++j) {
                const bool is_hex = row[j] && kColumns[j].IsBinary();
                EXPECT_EQ(reader.Fields()[j], is_hex ? Hex(*row[j]) : row[j]) << delimiter;
            }
        }
        EXPECT_FALSE(reader.Next());
    }
    for (const auto& row : rows) {
        for (std::size_t j = 0; j < kColumns.size(); ++j) {
            std::string field;
            std::getline(lines, field, j + 1 < kColumns.size() ? '\t' : '\n');
            std::string text;
            for (std::size_t i = 0; i < field.size() && field != "\\N"; ++i) {
                const std::map<char, char> signs = {
                    {'\\', '\\'}, {'t', '\t'}, {'n', '\n'}, {'r', '\r'}};
                text += field[i] == '\\' ? signs.at(field[++i]) : field[i];
            }
            const bool is_hex = row[j] && kColumns[j].IsBinary();
            EXPECT_EQ(field == "\\N" ? Value() : text, is_hex ? Hex(*row[j]) : row[j]);
        }
    }
}

/// A folder of a test's own, with a database in it.
class Transfers : public ToolFiles {
protected:
    /// What SQLite's own shell answers.
    std::string Shell(const std::string& sql) const
    {
        const std::string words = "-bail " + File("test.db") + " <" + Written("sql", sql);
        EXPECT_EQ(std::system(("sqlite3 " + words + " >" + File("answer")).c_str()), 0) << sql;
        return Slurp(File("answer"));
    }
};

TEST_F(Transfers, TablesComeBackByteForByte)
{
    std::string sql =
        "BEGIN; CREATE TABLE t(\"a \"\"b\"\",c\" TEXT, n DOUBLE, b BLOB, v VARCHAR(9));\n"
        "CREATE TABLE one(v TEXT); CREATE TABLE bytes(b BLOB); CREATE TABLE theirs(v TEXT);\n";
    for (const auto& row : RandomRows({})) {
        const auto literal = [&](std::size_t i) {
            return row[i] ? "x'" + Hex(*row[i]).substr(2) + "'" : "NULL";
        };
        sql += fmt::format(
            "INSERT INTO t VALUES (CAST({} AS TEXT), CAST({} AS REAL), {}, CAST({} AS TEXT));\n",
            literal(0), literal(1), literal(2), literal(3));
    }
    Shell(sql + "INSERT INTO one SELECT v FROM t; INSERT INTO bytes SELECT b FROM t; COMMIT;");
    const std::string before = Shell(".dump");
    const std::string csv = File("csv");
    for (const char* words : {"", "-u ", "-l ", "--delimiter x "}) {
        for (const char* table : {"t", "one", "bytes"}) {
            const auto run = [&](const char* task) {
                return Tool(fmt::format(fmt::runtime(task), words, csv, table));
            };
            EXPECT_EQ(run("{}-o {} --export {}").exit_code, 0);
            Shell(fmt::format("DELETE FROM {}", table));
            EXPECT_EQ(run("{}--batch 90 --import {} {}").messages, "(500 rows imported)\n");
        }
        EXPECT_TRUE(Shell(".dump") == before) << words;
    }
    EXPECT_EQ(Tool("--csv -o " + csv + " -c 'SELECT v FROM t'").exit_code, 0);
    Shell(".import --csv --skip 1 " + csv + " theirs\n");
    const char* text = "SELECT hex(v) FROM {} WHERE v <> ''";
    EXPECT_EQ(Shell(fmt::format(fmt::runtime(text), "theirs")),
              Shell(fmt::format(fmt::runtime(text), "t")));
}

TEST_F(Transfers, ImportsAsItIsTold)
{
    struct Case {
        std::string words;
        std::string csv;
        const char* rows;     // that are in the table then
        const char* message;  // on stderr
    };
    const std::string import = "--import - t ";
    const Case cases[] = {
        {import + "--null N/A", "id,name\n1,N/A\n2,\n3,\"\"\n", "1 NULL\n2 NULL\n3 ''\n",
         "(3 rows"},
        {import + "--no-header", "1,x\n\n2,y\n", "1 'x'\n2 'y'\n", "(2 rows"},
        {import + "--no-header --columns name", "x\r\n\r\ny", "NULL 'x'\nNULL NULL\nNULL 'y'\n",
         ""},
        {import + "--columns name,id", "a,b\nx,1\n", "1 'x'\n", "(1 row"},
        {import, "id,nam\n1,x\n", "", "did you mean \"name\"?"},
        {import, "id,name\n1,x\n2,y\nz\n", "", "rolled back: no row was imported"},
        {import + "--batch 2", "id,name\n1,x\n2,y\n3,z\n4\n", "1 'x'\n2 'y'\n",
         "rolled back to the last batch: 2 rows stay in t, up to line 3 of standard input"},
        {"--import - b", "data\n\\xZ0\n", "", "column data, \"\\\\xZ0\": behind \\x"},
        {import + "--create", "", "", "standard input can't be"},
        {"--import x t --no-header --create", "", "", "needs the names"},
        {"--import x t --json", "", "", "--json is for statements"},
        {"--export t --null x", "", "", "--null is not for --export"},
        {"-c 'SELECT 1' --json --batch 2", "", "", "--batch is for --import"},
        {"-c 'SELECT 1' --json --csv", "", "", "exclude each other"},
        {"-c 'SELECT 1' --delimiter x", "", "", "--delimiter is for"},
        {"-c 'SELECT 1' --csv --null ,", "", "", "--null can't hold"},
        {"-c 'SELECT 1' --format yaml", "", "", "yaml is none of table|vertical|csv"},
    };
    Shell("CREATE TABLE t(id INTEGER, name VARCHAR(10)); CREATE TABLE b(data BLOB)");
    for (const Case& c : cases) {
        ExpectParts(Tool(c.words + " <" + Written("in", c.csv)).messages, {c.message});
        EXPECT_EQ(Shell("SELECT quote(id) || ' ' || quote(name) FROM t; DELETE FROM t"), c.rows)
            << c.words;
    }
}

TEST_F(Transfers, CreatesTheTableThatFits)
{
    const std::string file =
        Written("csv",
                "i,big,d,code,text,bytes,none,\"od\"\"d\",huge\n1,1,1,007,NULL,\\x00,,x,1\n"
                "-5,-9007199254740993,1.5e3,1,,\\xff41,,y,12345678901234567890\n,,,,é,,," +
                    std::string(4001, 'x') + ",\n");
    EXPECT_EQ(
        Tool("--import " + file + " made --create").messages,
        "CREATE TABLE made (\n    \"i\" INTEGER,\n    \"big\" BIGINT,\n"
        "    \"d\" DOUBLE PRECISION,\n    \"code\" VARCHAR(3),\n    \"text\" VARCHAR(4),\n"
        "    \"bytes\" longvarbinary,\n    \"none\" VARCHAR(1),\n    \"od\"\"d\" longvarchar,\n"
        "    \"huge\" VARCHAR(20)\n)\n(3 rows imported)\n");
    EXPECT_EQ(Shell("SELECT big, code, quote(bytes), huge FROM made LIMIT 2"),
              "1|007|X'00'|1\n-9007199254740993|1|X'FF41'|12345678901234567890\n");
    ExpectParts(Tool("--import " + Written("csv", "a\n1\n\xff\n") + " broken --create").messages,
                {"not UTF-8", "rolled back: no row was imported, and no table created"});
    EXPECT_EQ(Shell(".tables"), "made\n");
}

TEST_F(Transfers, FilesAreWrittenWholeOrNotAtAll)
{
    const std::string out = " -o " + Written("out", "old");
    EXPECT_EQ(Tool("--json -c 'SELECT 1' -c 'SELECT missing'" + out).exit_code, 1);
    EXPECT_EQ(Tool("--export missing" + out).exit_code, 1);
    EXPECT_EQ(Slurp(File("out")), "old");
    EXPECT_EQ(Tool("--csv -c 'SELECT 1 AS a' -c 'SELECT 2 AS b'" + out).exit_code, 0);
    EXPECT_EQ(Slurp(File("out")), "a\n1\nb\n2\n");
    EXPECT_EQ(Tool("--csv -c 'SELECT 1' -o /dev/full").exit_code, 1);
    Shell(
        "CREATE TABLE t(a TEXT); INSERT INTO t SELECT printf('%.*c', 70000, 'x') UNION "
        "SELECT CAST(x'ff' AS TEXT)");
    ExpectParts(Tool("--export t").messages, {"2 values too long for --import, or not UTF-8"});
}

}  // namespace
