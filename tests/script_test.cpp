// Scripts: how they are split, what becomes of variables, and how the program runs them.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "text/StatementSplitter.h"
#include "text/variables.h"
#include "tool_fixture.h"

namespace {

using Opened = StatementSplitter::Opened;
using Piece = StatementSplitter::Piece;

// The pieces that are complete, each with its line, a command behind a !, an error in brackets.
std::string Pieces(StatementSplitter& splitter)
{
    std::string pieces;
    for (;;) {
        try {
            const auto piece = splitter.Next();
            if (!piece) {
                return pieces;
            }
            pieces += fmt::format("{}{}:{}|", piece->kind == Piece::kCommand ? "!" : "",
                                  piece->line, piece->text);
        } catch (const SplitError& error) {
            pieces += fmt::format("[{}:{}]|", error.line, std::string(error.what()).substr(0, 10));
        }
    }
}

TEST(Splitter, KnowsWhereStatementsEnd)
{
    const std::string body = "create trigger t begin a; if b then c; end if; case d end; end";
    const std::string braces = "CREATE PROCEDURE p() { a; { b; } c; }";
    struct Case {
        const char* quote;
        std::string text;
        std::string pieces{};
        Opened::Kind open = Opened::kNothing;
        std::string mark{};
    };
    const Case cases[] = {
        {"\"", ""},
        {"\"", " ;; -- a;\n/* b; */ ;\n"},
        {"\"", "-- a\n\n select 1 ; -- b\nc", "3:select 1|", Opened::kStatement},
        {"\"", R"(a ';''' ";""" `;` c;d 'e;)", R"(1:a ';''' ";""" `;` c|)", Opened::kQuote, "'"},
        {"\"", "a[';'];b[;\n", "1:a[';']|1:b[|"},
        {"[", "a [;]]';] b; c [;", "1:a [;]]';] b|", Opened::kQuote, "["},
        {"\"", "a /* /* ; */ ; */ b;/* c", "1:a /* /* ; */ ; */ b|", Opened::kComment, "/*"},
        {"\"", "$$;$$;$a$;$b$;$$;$a$;$1;a$$;$x y$;$e$;",
         "1:$$;$$|1:$a$;$b$;$$;$a$|1:$1|1:a$$|1:$x y$|", Opened::kQuote, "$e$"},
        {"\"", R"(e'\';' E'\\';'\';' b)", R"(1:e'\';' E'\\'|1:'\'|)", Opened::kQuote, "'"},
        {"`", "'\\';' \"\\\";\";# a;\n b--1;/* /* ; */-- c;\n/*! ;*/;",
         "1:'\\';' \"\\\";\"|2:b--1|3:/*! ;*/|"},
        {"\"", body + ";\n b;", "1:" + body + "|2:b|"},
        {"\"", "begin; a; end;", "1:begin|1:a|1:end|"},
        {"\"", "create temp trigger t begin a; x", "", Opened::kBody},
        {"\"", braces + ";a;", "1:" + braces + "|1:a|"},
        {"\"", "create procedure p begin a;\n / \nb\n/\nc;",
         "1:create procedure p begin a;|3:b\n/\nc|"},
        {"\"", "\\delimiter //\na; b//\n'//'; //\\delimiter ;\nc;", "2:a; b|3:'//';|4:c|"},
        {"\"", "\\delimiter $$\r\na; END$$ b $$\\delimiter ;", "2:a; END|2:b|"},
        {"\"", "\\delimiter\n\\delimiter GO\na;", "[1:\\delimiter]|[2:\\delimiter]|3:a|"},
        {"\"", "\\x y;\r\na '\\n' \\g  \n b;", "!1:\\x y;|!2:\\g|2:a '\\n' \n b|"},
    };
    for (const Case& c : cases) {
        StatementSplitter splitter{SqlDialect(c.quote)};
        splitter.Feed(c.text);
        EXPECT_EQ(Pieces(splitter), c.pieces) << c.text;
        EXPECT_EQ(splitter.Open().kind, c.open) << c.text;
        EXPECT_EQ(splitter.Open().mark, c.mark) << c.text;
        splitter.Clear();
        splitter.Feed("z;");
        EXPECT_TRUE(Pieces(splitter).ends_with(":z|")) << c.text;
    }
}

TEST(Splitter, GivesBackWhatWasJoined)
{
    const std::vector<std::string> inside{"a",
                                          "'x;''-- '",
                                          "\"y;\"\"/*\"",
                                          "`z;'`",
                                          "/* ; /* ' */ \" */",
                                          "$$;'$$",
                                          "$t$ ;$$ $t$",
                                          "(",
                                          "),\n",
                                          "5",
                                          "é",
                                          "E'\\';'",
                                          "- 1",
                                          "x::text",
                                          "'\n;\n'",
                                          "\n\n",
                                          "-- ;'\n"};
    const std::vector<std::string> between{"", " ", "\n", " -- ;'\"$$\n", "/*;*/\n;\n", ";;"};
    constexpr unsigned kSeed = 7;
    std::mt19937 random(kSeed);
    const auto any = [&](const std::vector<std::string>& of) { return of[random() % of.size()]; };
    for (int round = 0; round < 2000; ++round) {
        std::string script;
        std::string pieces;
        for (auto left = random() % 6; left > 0; --left) {
            std::string statement = "select ";
            for (auto parts = random() % 8; parts > 0; --parts) {
                statement += any(inside) + " ";
            }
            statement += "z";
            script += any(between);
            pieces += fmt::format("{}:{}|", std::ranges::count(script, '\n') + 1, statement);
            script += statement + ";";
        }
        script += any(between);
        StatementSplitter whole;
        whole.Feed(script);
        ASSERT_EQ(Pieces(whole), pieces);
        ASSERT_FALSE(whole.Finish());
    }
}

TEST(Variables, AreKnownOutsideQuotesAndComments)
{
    const Variables variables{{"a", "1"}, {"name", R"(O'H\"]`)"}, {"int", "!"}};
    struct Case {
        const char* quote;
        const char* sql;
        const char* text;
    };
    const Case cases[] = {
        {"\"", "select :a+:a", "select 1+1"},
        {"\"", "x::int ::a :::a a[1:2] :b :'b' :", "x::int ::a :::a a[1:2] :b :'b' :"},
        {"\"", "':a' \":a\" /* :a */ $$:a$$ -- :a", "':a' \":a\" /* :a */ $$:a$$ -- :a"},
        {"\"", R"(:name :'name' :"name")", R"(O'H\"]` 'O''H\"]`' "O'H\""]`")"},
        {"`", R"(:'name' :"name")", R"('O''H\\"]`' `O'H\"]```)"},
        {"[", R"(:"name" [:a])", R"([O'H\"]]`] [:a])"},
        {" ", ":\"a\" :'a", "1 :'a"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(WithVariables(c.sql, variables, SqlDialect(c.quote)), c.text);
    }
}

using Scripts = ToolFiles;

TEST_F(Scripts, RunAsWritten)
{
    const std::string script = Written("a.sql", R"(-- Two tables and what ties them.
CREATE TABLE t(id INTEGER, note TEXT); CREATE TABLE log(id);
CREATE TRIGGER tr AFTER INSERT ON t BEGIN
  INSERT INTO log VALUES (new.id);
  UPDATE t SET note = note || CASE new.id WHEN 1 THEN ';' ELSE '' END;
END;
\delimiter //
CREATE TRIGGER tr2 AFTER DELETE ON t BEGIN DELETE FROM log WHERE id = old.id; END //
\delimiter ;
INSERT INTO t VALUES (1, 'é'), (:id, :'name');
/* nothing; */ ;
DELETE FROM t WHERE id = 5;
SELECT note, (SELECT count(*) FROM log) AS ":id" FROM t
)");
    const Finished run = Tool("-c 'SELECT :id AS a; ' -f " + script +
                              " -v id=2 --set name=\"O'H=\" -c '-- no more'");
    EXPECT_EQ(run.data,
              "a\n-\n2\n"
              "note | :id\n-----+----\né;   |   2\nO'H= |   2\n");
    EXPECT_EQ(run.messages,
              "(1 row)\n(done)\n(done)\n(done)\n(done)\n(2 rows changed)\n"
              "(0 rows changed)\n(2 rows)\n");
    EXPECT_EQ(run.exit_code, 0);
}

TEST_F(Scripts, StopOrGoOnAtErrors)
{
    const std::string script =
        Written("a.sql", "\xEF\xBB\xBFSELECT\t1;\n\nSELECT\n nope;\n\\nonsense\nSELECT 2;\n'");
    const std::string words = "-t -c 'SELECT 0' -f - -c 'SELECT 3' <" + script;
    const std::string line = "orvelgw: standard input: line ";
    const std::string no_column =
        line + "3: no such column: nope (1) (SQLSTATE HY000, native code 1, Prepare)\n";
    const Finished stopped = Tool(words);
    EXPECT_EQ(stopped.data, "0\n1\n");
    EXPECT_EQ(stopped.messages, "(1 row)\n(1 row)\n" + no_column);
    const Finished went_on = Tool("-q --keep-going --echo " + words);
    EXPECT_EQ(went_on.data, "0\n1\n2\n3\n");
    EXPECT_EQ(went_on.messages,
              "SELECT 0\nSELECT\t1\nSELECT\n nope\n" + no_column + line +
                  "5: there is no command \\nonsense; \\? shows those that there are\nSELECT 2\n" +
                  line + "7: the quote ' is not closed\nSELECT 3\n");
    EXPECT_EQ(stopped.exit_code + went_on.exit_code, 2);
    EXPECT_EQ(Tool("<" + script).messages, "(1 row)\n" + no_column) << "nothing else is asked";
}

TEST_F(Scripts, AreReadBeforeAnythingRuns)
{
    struct Case {
        std::string text;
        const char* message;
    };
    const Case cases[] = {
        {"SELECT 1;\nSELECT 'é\xE9'", "line 2, column 10: \\xE9 is not UTF-8"},
        {std::string("\n\0", 2), "line 2, column 1: a zero byte"},
        {"", "No such file"},
    };
    for (const Case& c : cases) {
        const std::string file = c.text.empty() ? "/nowhere" : Written("a.sql", c.text);
        const Finished run = Tool("-c 'SELECT 1' -f " + file);
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_EQ(run.data, "");
        ExpectParts(run.messages, {"orvelgw: " + file, c.message});
    }
}

TEST_F(Scripts, AreOneTransactionIfAsked)
{
    const std::string create =
        "-1 -f " + Written("a.sql", "CREATE TABLE t(a UNIQUE); INSERT INTO t VALUES (1);");
    const std::string insert = " -c 'INSERT INTO t VALUES (2)'";
    const Finished failed = Tool(create + insert + insert);
    EXPECT_EQ(failed.exit_code, 1);
    ExpectParts(failed.messages, {"UNIQUE constraint failed", "Execute)\n(rolled back)\n"});
    EXPECT_EQ(Tool("-tq -c 'SELECT count(*) FROM sqlite_master'").data, "0\n");
    EXPECT_EQ(Tool(create + insert).exit_code, 0);
    EXPECT_EQ(Tool("-tq -c 'SELECT sum(a) FROM t'").data, "3\n");
}

}  // namespace
