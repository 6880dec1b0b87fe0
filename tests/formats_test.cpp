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
#include <utility>
#include <vector>

#include "client/odbc_numbers.h"
#include "run_tool.h"
#include "text/CsvReader.h"
#include "text/byte_text.h"
#include "tool/output/format.h"

namespace {

using Value = std::optional<std::string>;
using Values = std::vector<std::vector<Value>>;

const std::vector<Column> kColumns = {{"text \"é\"", kVarcharType},
                                      {"number", kDoubleType},
                                      {"bytes", kVarbinaryType},
                                      {"text \"é\"", kWideLongVarcharType}};

/// A sink's text of results of those columns.
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
                cells.push_back(value ? Cell{kind, *value} : Cell{});
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

/// Values of all that formats have signs for, the same in each run.
class Random {
public:
    explicit Random(bool has_broken_text) : has_broken_text_(has_broken_text) {}

    Values Rows(std::size_t count)
    {
        Values rows;
        for (std::size_t i = 0; i < count; ++i) {
            rows.push_back({Text(), Number(), Bytes(), Text()});
        }
        return rows;
    }

private:
    std::size_t Below(std::size_t end) { return generator_() % end; }

    Value Text()
    {
        static const std::vector<std::string> parts = {
            "\"",    "\"\"", ",",     ";", "\n",   "\r\n", "\r",   "\\", "\\N",
            "\\x00", "\\n",  "\t",    " ", "x",    "é",    "日本", "😀",  "NULL",
            "|",     "<b>",  "&amp;", "'", "\x01", "\x7f", "\xff"};
        if (Below(8) == 0) {
            return std::nullopt;
        }
        std::string text;
        for (auto left = Below(8); left > 0; --left) {
            text += parts[Below(parts.size() - (has_broken_text_ ? 0 : 1))];
        }
        return text;
    }

    Value Number()
    {
        static const std::vector<Value> numbers = {
            "0",  "-1", "12.50", "1e10", "-0.5E-3", "900719925474099", "NaN", "007", ".5",
            "1.", "+1", "-",     "1e",   "",        std::nullopt};
        return numbers[Below(numbers.size())];
    }

    Value Bytes()
    {
        std::string bytes = Below(4) == 0 ? "\\x" : "";
        for (auto left = Below(6); left > 0; --left) {
            bytes += static_cast<char>(Below(256));
        }
        return Below(8) == 0 ? std::nullopt : Value(bytes);
    }

    bool has_broken_text_;
    std::mt19937 generator_{1};
};

std::string Hex(const std::string& bytes)
{
    std::string text;
    AppendHex(text, bytes);
    return text;
}

TEST(Formats, LookAsTheyAreNamed)
{
    const Values rows = {{"a|b", "1.5", std::string("\0f", 2), ""},
                         {std::nullopt, std::nullopt, std::nullopt, std::nullopt},
                         {"c\n<\\", "x", "", "NULL,"}};
    struct Case {
        const char* format;
        const char* text;
        const char* tuples_only;  // with <> for NULL
    };
    const Case cases[] = {
        {"table",
         "text \"é\" | number | bytes  | text \"é\"\n"
         "---------+--------+--------+---------\n"
         "a|b      |    1.5 | \\x0066 |\n"
         "NULL     |   NULL | NULL   | NULL\n"
         "c\\n<\\\\   |      x | \\x     | NULL,\n",
         "a|b    | 1.5 | \\x0066 |\n<>     |  <> | <>     | <>\nc\\n<\\\\ |   x | \\x     | "
         "NULL,\n"},
        {"csv",
         "\"text \"\"é\"\"\",number,bytes,\"text \"\"é\"\"\"\na|b,1.5,\\x0066,\"\"\n,,,\n"
         "\"c\n<\\\",x,\\x,\"NULL,\"\n",
         "a|b,1.5,\\x0066,\"\"\n<>,<>,<>,<>\n\"c\n<\\\",x,\\x,\"NULL,\"\n"},
        {"tsv",
         "text \"é\"\tnumber\tbytes\ttext \"é\"\na|b\t1.5\t\\\\x0066\t\n\\N\t\\N\t\\N\t\\N\n"
         "c\\n<\\\\\tx\t\\\\x\tNULL,\n",
         "a|b\t1.5\t\\\\x0066\t\n<>\t<>\t<>\t<>\nc\\n<\\\\\tx\t\\\\x\tNULL,\n"},
        {"vertical",
         "-[ RECORD 1 ]-\ntext \"é\" | a|b\nnumber   | 1.5\nbytes    | \\x0066\ntext \"é\" |\n"
         "-[ RECORD 2 ]-\ntext \"é\" | NULL\nnumber   | NULL\nbytes    | NULL\ntext \"é\" | NULL\n"
         "-[ RECORD 3 ]-\ntext \"é\" | c\\n<\\\\\nnumber   | x\nbytes    | \\x\n"
         "text \"é\" | NULL,\n",
         "text \"é\" | a|b\nnumber   | 1.5\nbytes    | \\x0066\ntext \"é\" |\n\n"
         "text \"é\" | <>\nnumber   | <>\nbytes    | <>\ntext \"é\" | <>\n\n"
         "text \"é\" | c\\n<\\\\\nnumber   | x\nbytes    | \\x\ntext \"é\" | NULL,\n"},
        {"json",
         "[\n{\"text \\\"é\\\"\":\"a|b\",\"number\":1.5,\"bytes\":\"AGY=\",\"text "
         "\\\"é\\\"_2\":\"\"},"
         "\n{\"text \\\"é\\\"\":null,\"number\":null,\"bytes\":null,\"text \\\"é\\\"_2\":null},"
         "\n{\"text \\\"é\\\"\":\"c\\n<\\\\\",\"number\":\"x\",\"bytes\":\"\","
         "\"text \\\"é\\\"_2\":\"NULL,\"}\n]\n",
         nullptr},
        {"markdown",
         "| text \"é\" | number | bytes | text \"é\" |\n| --- | ---: | --- | --- |\n"
         "| a\\|b | 1.5 | \\\\x0066 |  |\n| NULL | NULL | NULL | NULL |\n"
         "| c<br>&lt;\\\\ | x | \\\\x | NULL, |\n\n",
         "| a\\|b | 1.5 | \\\\x0066 |  |\n| &lt;&gt; | &lt;&gt; | &lt;&gt; | &lt;&gt; |\n"
         "| c<br>&lt;\\\\ | x | \\\\x | NULL, |\n\n"},
    };
    for (const Case& c : cases) {
        OutputSettings settings{.format = *FormatNamed(c.format)};
        EXPECT_EQ(Written(settings, rows), c.text);
        settings.tuples_only = true;
        settings.null_text = "<>";
        EXPECT_EQ(Written(settings, rows), c.tuples_only != nullptr ? c.tuples_only : c.text);
    }
    EXPECT_EQ(
        Written({.format = Format::kHtml}, {{"<&\n", std::nullopt, "", ""}}),
        "<table>\n<tr><th>text \"é\"</th><th>number</th><th>bytes</th><th>text \"é\"</th></tr>"
        "\n<tr><td>&lt;&amp;<br></td><td class=\"null\">NULL</td><td>\\x</td><td></td></tr>\n"
        "</table>\n");
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
    const Values rows = Random(true).Rows(500);
    std::istringstream arrays(Written({.format = Format::kJson}, rows, 2));
    std::istringstream lines(Written({.format = Format::kJsonl}, rows, 2));
    const std::vector<std::string> keys = {"text \"é\"", "number", "bytes", "text \"é\"_2"};
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
    for (const auto& [bytes, base64] : std::vector<std::pair<std::string, std::string>>{
             {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"\xfb\xff\xfe~", "+//+fg=="}}) {
        std::string text;
        AppendBase64(text, bytes);
        EXPECT_EQ(text, base64);
    }
}

Value Unescaped(const std::string& field)
{
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        static const std::map<char, char> escapes = {
            {'\\', '\\'}, {'t', '\t'}, {'n', '\n'}, {'r', '\r'}};
        text += field[i] == '\\' ? escapes.at(field[++i]) : field[i];
    }
    return text;
}

TEST(Formats, SeparatedValuesAreReadBack)
{
    const TemporaryFolder folder;
    const std::string file = folder.path / "file.csv";
    const Values rows = Random(true).Rows(500);
    const auto expected = [&](std::size_t i, std::size_t j) {
        const Value& value = rows[i][j];
        return value && kColumns[j].IsBinary() ? Value(Hex(*value)) : value;
    };
    for (const char delimiter : {',', ';', '\t', 'x', '\\', ' '}) {
        std::ofstream(file, std::ios::binary)
            << Written({.format = Format::kCsv, .delimiter = delimiter}, rows);
        CsvReader reader(file, delimiter);
        ASSERT_TRUE(reader.Next());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            ASSERT_TRUE(reader.Next());
            for (std::size_t j = 0; j < kColumns.size(); ++j) {
                EXPECT_EQ(reader.Fields()[j], expected(i, j)) << delimiter << i;
            }
        }
        EXPECT_FALSE(reader.Next());
    }
    std::istringstream lines(Written({.format = Format::kTsv, .tuples_only = true}, rows));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = 0; j < kColumns.size(); ++j) {
            std::string field;
            std::getline(lines, field, j + 1 < kColumns.size() ? '\t' : '\n');
            EXPECT_EQ(field == "\\N" ? Value() : Unescaped(field), expected(i, j));
        }
    }
}

/// A folder of a test's own, with a database in it.
class Transfers : public testing::Test {
protected:
    std::string File(const std::string& name) const { return (folder.path / name).string(); }
    Finished Tool(const std::string& words, const std::string& before = "") const
    {
        return RunTool("-d 'DRIVER={SQLite3};Database=" + File("test.db") + "' " + words, before);
    }
    /// What SQLite's own shell makes of its words.
    std::string Shell(const std::string& words) const
    {
        const int status = std::system(
            fmt::format("sqlite3 {} {} >{} 2>&1", File("test.db"), words, File("shell")).c_str());
        EXPECT_EQ(status, 0) << words << Slurp(File("shell"));
        return Slurp(File("shell"));
    }

    const TemporaryFolder folder;
};

TEST_F(Transfers, TablesComeBackByteForByte)
{
    std::ofstream sql(File("sql"));
    sql << "CREATE TABLE t(\"a \"\"b\"\",c\" TEXT, n DOUBLE, b BLOB, v VARCHAR(9));"
           "CREATE TABLE one(v TEXT); CREATE TABLE bytes(b BLOB);";
    for (const auto& row : Random(false).Rows(500)) {
        std::string values;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string literal = row[i] ? "x'" + Hex(*row[i]).substr(2) + "'" : "NULL";
            values += (i > 0 ? "," : "") +
                      (i == 2 ? literal : "CAST(" + literal + (i == 1 ? " AS REAL)" : " AS TEXT)"));
        }
        sql << "INSERT INTO t VALUES (" << values << ");";
    }
    sql << "INSERT INTO one SELECT v FROM t; INSERT INTO bytes SELECT b FROM t;" << std::flush;
    Shell("<" + File("sql"));
    const std::string before = Shell(".dump");
    for (const char* words : {" ", " -u ", " -l ", " --delimiter x ", " --batch 90 "}) {
        for (const char* table : {"t", "one", "bytes"}) {
            const std::string out = words[3] == 'b' ? " " : words;
            EXPECT_EQ(Tool(out + "--export " + table + " -o " + File("csv")).exit_code, 0);
            Shell(fmt::format("'DELETE FROM {}'", table));
            const Finished run = Tool(words + ("--import " + File("csv")) + " " + table);
            EXPECT_EQ(run.messages, "(500 rows imported)\n") << words;
        }
        EXPECT_TRUE(Shell(".dump") == before) << words;
    }
    EXPECT_EQ(Tool("--csv -o " + File("csv") + " -c 'SELECT v FROM t'").exit_code, 0);
    Shell("'CREATE TABLE theirs(v TEXT)' '.import --csv --skip 1 " + File("csv") + " theirs'");
    const char* text = "\"SELECT hex(ifnull(v, '')) FROM {} WHERE v <> ''\"";
    EXPECT_EQ(Shell(fmt::format(fmt::runtime(text), "theirs")),
              Shell(fmt::format(fmt::runtime(text), "t")));
}

TEST_F(Transfers, ImportsAsItIsTold)
{
    struct Case {
        std::string words;
        std::string csv;
        const char* rows;          // that are in the table then
        const char* message = "";  // on stderr
    };
    const std::string import = "--import - t ";
    const Case cases[] = {
        {import + "--null N/A", "id,name\n1,N/A\n2,\n3,\"\"\n", "1 NULL\n2 NULL\n3 ''\n",
         "(3 rows"},
        {import + "--no-header", "1,x\n\n2,y\n", "1 'x'\n2 'y'\n", "(2 rows"},
        {import + "--no-header --columns name", "x\n\ny", "NULL 'x'\nNULL NULL\nNULL 'y'\n", ""},
        {import + "--no-header --columns name", "x\r\n\r\ny\r\n",
         "NULL 'x'\nNULL NULL\nNULL 'y'\n"},
        {import + "--columns name,id", "a,b\nx,1\n", "1 'x'\n", "(1 row"},
        {import, "id,nam\n1,x\n", "", "did you mean \"name\"?"},
        {import, "id,name\n1,x\n2,y\nz\n", "", "rolled back: no row was imported"},
        {import + "--batch 2", "id,name\n1,x\n2,y\n3,z\n4\n", "1 'x'\n2 'y'\n",
         "rolled back to the last batch: 2 rows stay in t, up to line 3 of standard input"},
        {import + "--batch 2", "id,name\n1,x\n2,y\n", "1 'x'\n2 'y'\n", "(2 rows"},
        {"--import - b", "data\n\\xZ0\n", "", "column data, \"\\\\xZ0\": behind \\x"},
        {import + "--create", "", "", "standard input can't be"},
        {import + "--no-header --create", "", "", "standard input can't be"},
        {"--import x t --no-header --create", "", "", "needs the names"},
        {"--import x t --json", "", "", "--json is for statements"},
        {"--export t --null x", "", "", "--null is not for --export"},
        {"--export t --batch 2", "", "", "--batch is for --import"},
        {"-c 'SELECT 1' --json --csv", "", "", "exclude each other"},
        {"-c 'SELECT 1' --delimiter x", "", "", "--delimiter is for"},
        {"-c 'SELECT 1' --format yaml", "", "", "yaml is none of table|vertical|csv"},
    };
    Shell("'CREATE TABLE t(id INTEGER, name VARCHAR(10)); CREATE TABLE b(data BLOB)'");
    for (const Case& c : cases) {
        std::ofstream(File("in"), std::ios::binary) << c.csv;
        const Finished run = Tool(c.words + " <" + File("in"));
        ExpectParts(run.messages, {c.message});
        EXPECT_EQ(Shell("-separator ' ' 'SELECT quote(id), quote(name) FROM t; DELETE FROM t'"),
                  c.rows)
            << c.words << run.messages;
    }
}

TEST_F(Transfers, CreatesTheTableThatFits)
{
    const std::string long_text(4001, 'x');
    std::ofstream(File("csv")) << "i,big,d,code,text,bytes,none,\"od\"\"d\",huge\n"
                                  "1,1,1,007,NULL,\\x00,,x,1\n-5,-9007199254740993,1.5e3,1,,"
                                  "\\xff41,,y,12345678901234567890\n"
                               << ",,,,é,,," << long_text << ",\n";
    const Finished run = Tool("--import " + File("csv") + " made --create");
    EXPECT_EQ(
        run.messages,
        "CREATE TABLE made (\n    \"i\" INTEGER,\n    \"big\" BIGINT,\n"
        "    \"d\" DOUBLE PRECISION,\n    \"code\" VARCHAR(3),\n    \"text\" VARCHAR(4),\n"
        "    \"bytes\" longvarbinary,\n    \"none\" VARCHAR(1),\n    \"od\"\"d\" longvarchar,\n"
        "    \"huge\" VARCHAR(20)\n)\n(3 rows imported)\n");
    EXPECT_EQ(Shell("'SELECT big, code, quote(bytes), huge FROM made LIMIT 2'"),
              "1|007|X'00'|1\n-9007199254740993|1|X'FF41'|12345678901234567890\n");
    std::ofstream(File("csv")) << "a\n1\n\xff\n";
    ExpectParts(Tool("--import " + File("csv") + " broken --create").messages,
                {"not UTF-8", "rolled back: no row was imported, and no table created"});
    EXPECT_EQ(Shell(".tables"), "made\n");
}

TEST_F(Transfers, FilesAreWrittenWholeOrNotAtAll)
{
    struct Case {
        std::string words;
        int exit_code;
        const char* content;
    };
    const Case cases[] = {
        {"--csv -c 'SELECT 1 AS a' -c 'SELECT 2 AS b'", 0, "a\n1\nb\n2\n"},
        {"--json -c 'SELECT 1' -c 'SELECT missing'", 1, "old"},
        {"--export missing", 1, "old"},
    };
    for (const Case& c : cases) {
        std::ofstream(File("out")) << "old";
        const Finished run = Tool(c.words + " -o " + File("out"));
        EXPECT_EQ(run.exit_code, c.exit_code) << run.messages;
        EXPECT_EQ(Slurp(File("out")), c.content);
    }
    EXPECT_EQ(Tool("--csv -c 'SELECT 1' -o /dev/full").exit_code, 1);
    Shell(
        "\"CREATE TABLE t(a TEXT); INSERT INTO t SELECT printf('%.*c', 70000, 'x') UNION "
        "SELECT CAST(x'ff' AS TEXT)\"");
    ExpectParts(Tool("--export t").messages, {"2 values too long for --import, or not UTF-8"});
}

}  // namespace
