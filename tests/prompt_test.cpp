// The prompt at a real terminal, and its commands in scripts.
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include "run_tool.h"

namespace {

constexpr char kInterrupt[] = "\x03";
constexpr char kEndOfInput[] = "\x04";
constexpr char kUp[] = "\x1b[A";

/// The tool at a terminal of its own. What is expected has a deadline.
class Terminal {
public:
    Terminal(const std::vector<std::string>& words, const std::string& home,
             const char* pager = "sed 's/^/paged:/'")
    {
        const winsize size = Size(24);
        child_ = ::forkpty(&master_, nullptr, nullptr, &size);
        if (child_ == 0) {
            ::setenv("XDG_STATE_HOME", home.c_str(), 1);
            ::setenv("XDG_CONFIG_HOME", home.c_str(), 1);
            ::setenv("PAGER", pager, 1);
            ::setenv("TERM", "xterm", 1);
            std::vector<const char*> arguments{ORVELGW_TOOL};
            for (const std::string& word : words) {
                arguments.push_back(word.c_str());
            }
            arguments.push_back(nullptr);
            ::execv(ORVELGW_TOOL, const_cast<char**>(arguments.data()));
            ::_exit(127);
        }
    }
    ~Terminal()
    {
        if (child_ > 0) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
        }
        ::close(master_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void Send(const std::string& keys) const
    {
        EXPECT_EQ(::write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void Type(const std::string& line) const { Send(line + "\r"); }

    /// Waits until a text has come, and returns all that came before it.
    std::string Until(const std::string& text)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        for (;;) {
            if (const auto at = came_.find(text); at != std::string::npos) {
                std::string before = came_.substr(0, at);
                came_.erase(0, at + text.size());
                return before;
            }
            if (!ReadSome() || std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "no \"" << text << "\" in:\n" << came_;
                return "";
            }
        }
    }

    void Resize(unsigned short lines) const
    {
        const winsize size = Size(lines);
        EXPECT_EQ(::ioctl(master_, TIOCSWINSZ, &size), 0);
    }

    /// Waits for the end, and returns the status.
    int End()
    {
        while (ReadSome()) {
        }
        int status = 0;
        EXPECT_EQ(::waitpid(child_, &status, 0), child_);
        child_ = -1;
        return status;
    }

private:
    static winsize Size(unsigned short lines) { return {lines, 200, 0, 0}; }

    bool ReadSome()
    {
        char bytes[4096];
        pollfd ready{master_, POLLIN, 0};
        if (::poll(&ready, 1, 30'000) <= 0) {
            return false;
        }
        const ssize_t size = ::read(master_, bytes, sizeof bytes);
        came_.append(bytes, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return size > 0;
    }

    int master_ = -1;
    pid_t child_ = -1;
    std::string came_;
};

class Prompt : public testing::Test {
protected:
    Prompt()
    {
        const Finished made = RunTool(
            "-d '" + Source() +
            "' -c 'CREATE TABLE teams(id INTEGER PRIMARY KEY, name VARCHAR(40) NOT NULL)'"
            " -c 'CREATE TABLE people(id INTEGER PRIMARY KEY, nickname TEXT, team INTEGER"
            " REFERENCES teams(id))' -c 'CREATE UNIQUE INDEX by_nick ON people(nickname, team)'"
            " -c \"INSERT INTO people VALUES (7, 'Ω', NULL)\"");
        EXPECT_EQ(made.exit_code, 0) << made.messages;
    }
    std::string File(const std::string& name) const { return (folder.path / name).string(); }
    std::string Source() const { return "DRIVER={SQLite3};Database=" + File("x.db"); }
    std::vector<std::string> Words() const { return {"-d", Source()}; }
    Finished Script(const std::string& script, const std::string& words = "") const
    {
        std::ofstream(File("script")) << script;
        return RunTool("-d '" + Source() + "' " + words + " < " + File("script"));
    }

    const TemporaryFolder folder;
};

constexpr char kReady[] = "x.db> ";
constexpr char kRows[] =
    "WITH RECURSIVE r(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM r {}) SELECT n FROM r;";

TEST_F(Prompt, TakesStatementsOfSeveralLinesAndShowsItsState)
{
    std::filesystem::create_directory(File("orvelgw"));
    std::ofstream(File("orvelgw/rc")) << "\\pset null ~\n";
    Terminal terminal(Words(), folder.path);
    terminal.Until(kReady);
    terminal.Type("SELECT 'a");
    terminal.Until("'> ");
    terminal.Type("b' AS ab,");
    terminal.Until("-> ");
    terminal.Type("NULL AS n;");
    terminal.Until("a\\nb | ~");
    terminal.Until(kReady);
    terminal.Type("SELECT 1");
    terminal.Until("-> ");
    terminal.Send("not this");
    terminal.Send(kInterrupt);
    terminal.Until(std::string("^C\r\nSQLite3/") + kReady);
    terminal.Type("SELEC;");
    terminal.Until("syntax error");
    terminal.Until(kReady);
    terminal.Type("\\begin");
    terminal.Until("x.db*> ");
    terminal.Type("DELETE FROM people;");
    terminal.Until("x.db*> ");
    terminal.Type("\\rollback");
    terminal.Until(kReady);
    terminal.Type("\\legacy on");
    terminal.Until("x.db legacy> ");
    terminal.Type("SELECT count(*) AS c FROM people \\gx");
    terminal.Until("c | 1");
    terminal.Until("> ");
    terminal.Send(kEndOfInput);
    EXPECT_EQ(terminal.End(), 0);
}

TEST_F(Prompt, RemembersWhatWasTypedWithoutPasswords)
{
    Terminal first(Words(), folder.path);
    first.Until(kReady);
    first.Type("SELECT 'first',\n'session' AS s;");
    first.Until("first");
    first.Until("1 row)");
    first.Type("\\connect -W " + Source());
    first.Until("Password: ");
    first.Type("unechoed");
    EXPECT_EQ(first.Until(kReady).find("unechoed"), std::string::npos);
    first.Type("\\connect " + Source() + ";PWD=hush");
    first.Until(kReady);
    first.Type("CREATE USER u IDENTIFIED BY 'hush';");
    first.Until("error");
    first.Type("\\q");
    EXPECT_EQ(first.End(), 0);

    struct stat status {};
    ASSERT_EQ(::stat(File("orvelgw/history").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600);
    EXPECT_EQ(Slurp(File("orvelgw/history")),
              "SELECT 'first', 'session' AS s;\n\\connect -W " + Source() + "\n\\q\n");

    Terminal second(Words(), folder.path);
    second.Until(kReady);
    second.Send(std::string(kUp) + kUp + kUp + "\r");
    second.Until("session");
    second.Until("1 row)");
}

TEST_F(Prompt, CompletesKeywordsNamesCommandsAndEntries)
{
    Terminal terminal(Words(), folder.path);
    terminal.Until(kReady);
    terminal.Type("sel\tpeople.nick\tfr\tpeo\t;");
    terminal.Until("\r\nnickname\r\n");
    terminal.Until(kReady);
    terminal.Type("\\connin\t");
    terminal.Until("driver manager");
    terminal.Until(kReady);
    terminal.Send("\\call GetDataE\t\t");
    terminal.Until("GetDataEx   GetDataExW");
    terminal.Send(" \t");
    terminal.Until("GetDataEx: statement, column, C type, length");
}

TEST_F(Prompt, PagesWhatIsTallerThanTheScreen)
{
    Terminal terminal(Words(), folder.path);
    terminal.Until(kReady);
    const auto is_paged = [&](int rows) {
        terminal.Type(fmt::format(kRows, fmt::format("WHERE n < {}", rows)));
        const bool paged =
            terminal.Until(fmt::format("({} rows)", rows)).find("paged:") != std::string::npos;
        terminal.Until(kReady);
        return paged;
    };
    EXPECT_FALSE(is_paged(20));
    EXPECT_TRUE(is_paged(30));
    terminal.Resize(50);
    EXPECT_FALSE(is_paged(30));
    EXPECT_TRUE(is_paged(60));
    terminal.Type("\\pset pager off");
    terminal.Until(kReady);
    EXPECT_FALSE(is_paged(60));
    terminal.Type(fmt::format(kRows, "WHERE n < 300000"));
    terminal.Until("\r\n200\r\n");
    terminal.Send(kInterrupt);
    terminal.Until("the rest of the rows is left out");
    terminal.Until(kReady);
}

TEST_F(Prompt, EndsAtTheSecondInterruptOfAStatement)
{
    Terminal terminal(Words(), folder.path);
    terminal.Until(kReady);
    terminal.Type("\\trace on");
    terminal.Until(kReady);
    terminal.Type(fmt::format(kRows, ""));
    terminal.Until("Prepare(stmt");  // it runs
    terminal.Send(kInterrupt);
    terminal.Until("another ^C ends the process");
    terminal.Send(kInterrupt);
    EXPECT_EQ(WTERMSIG(terminal.End()), SIGINT);
}

TEST_F(Prompt, CommandsWorkInScripts)
{
    std::ofstream(File("bytes")) << "blob";
    std::ofstream(File("included")) << "SELECT :'who' AS who;\n";
    struct Case {
        std::string script;
        std::string data;  // all of it, or an error's part
    };
    const Case cases[] = {
        {"\\d people",
         "table  | column   | type    | null | default\n"
         "-------+----------+---------+------+--------\n"
         "people | id       | INTEGER | yes  | NULL\n"
         "people | nickname | TEXT    | yes  | NULL\n"
         "people | team     | INTEGER | yes  | NULL\n"
         "primary key\n-----------\nid\n"
         "index              | unique | columns\n"
         "-------------------+--------+---------------\n"
         "sqlite_autoindex_0 | yes    | id\n"
         "by_nick            | yes    | nickname, team\n"
         "foreign key | refers to table | column\n"
         "------------+-----------------+-------\n"
         "team        | teams           | id\n"},
        {"CREATE TABLE \"A \"\"b.c\"\"\"(d);\n\\pset tuples_only on\n\\dt \"A "
         "\"\"b.c\"\"\";\n\\dt;",
         " | A \"b.c\" | TABLE |\n | A \"b.c\" | TABLE |\n | people  | TABLE |\n | teams   | TABLE "
         "|\n"},
        {"\\pset tuples_only on\n\\dt TE*\n\\di by?nick\n",
         " | teams | TABLE |\n | by_nick | yes | people | nickname, team\n"},
        {"\\set who 'it''s'\n\\i " + File("included"), "who\n----\nit's\n"},
        {"\\x\nSELECT ? AS a, hex(?) AS b \\bind 'x y' \\put " + File("bytes") + " \\g",
         "-[ RECORD 1 ]-\na | x y\nb | 626C6F62\n"},
        {"\\begin\nDELETE FROM people;\n\\rollback\nSELECT count(*) AS c FROM people;\n\\q\n\\no",
         "c\n-\n1\n"},
        {"SELECT 1 AS a \\watch 0 2", "a\n-\n1\na\n-\n1\n"},
        {"\\put " + File("bytes") + "\nSELECT hex(?) AS b;\nSELECT 1 AS a;\n\\watch 0 1",
         "b\n--------\n626C6F62\na\n-\n1\na\n-\n1\n"},
        {"\\list 0x03040501", "5, none\n"},
        {"\\call GetInfo @connection 17", "GetInfo\n  \"SQLite\"\n"},
        {"\\h FetchRows", "FetchRows biB\n  inputs: statement, rows\n"},
        {"\\modes SELECT '😀' AS a, 5 AS b",
         "row | column | none | unicode | legacy | differs\n"
         "----+--------+------+---------+--------+--------\n"
         "1   | a      | 😀   | \xEF\x98\x80       | 😀     | <--\n"
         "1   | b      | 5    | 5       | 5      |\n"},
    };
    for (const Case& c : cases) {
        const Finished run = Script(c.script);
        EXPECT_EQ(run.exit_code, 0) << c.script << run.messages;
        EXPECT_EQ(run.data, c.data) << c.script;
    }
    const Case refused[] = {{"\\conect x", "did you mean \\connect?"},
                            {"\\d nothing", "there is no such table"},
                            {"\\commit", "no transaction is open"},
                            {"\\x maybe", "on or off"},
                            {"SELECT 1;\n\\pset format xml", "line 2: there is no format xml"}};
    for (const Case& c : refused) {
        const Finished run = Script(c.script);
        EXPECT_EQ(run.exit_code, 1) << c.script;
        ExpectParts(run.messages, {c.data});
    }
}

TEST_F(Prompt, TracesIntoAFileThatCanBeReadAgain)
{
    const std::string file = File("trace");
    const Finished run =
        Script("\\trace " + file + "\nSELECT 1 AS a;\nSELECT 2 AS b;\n\\connect " + Source() +
               ";PWD=hush\n\\call Execute @statement\n\\trace off\nSELECT 3 AS c;");
    EXPECT_EQ(run.exit_code, 1) << run.messages;  // of the call
    EXPECT_EQ(Slurp(file).find("hush"), std::string::npos);
    const std::string prepared = RunTool("trace --entry Prepare " + file).data;
    ExpectParts(prepared, {"Prepare(stmt#1, \"SELECT 1 AS a\") -> 0\n",
                           "Prepare(stmt#2, \"SELECT 2 AS b\") -> 0\n"});
    EXPECT_EQ(prepared.find("SELECT 3"), std::string::npos);
    ExpectParts(RunTool("trace --failed " + file).data, {"Execute(stmt#3) -> -1  FAILED"});
    ExpectParts(RunTool("--csv trace --summary --handle stmt#1 " + file).data,
                {"entry,calls,errors,ms,ms a call,longest\n", "\nFetch,2,0,"});
    EXPECT_EQ(RunTool("trace " + File("x.db")).exit_code, 2);
}

TEST_F(Prompt, ShortcutsListForTheShell)
{
    EXPECT_EQ(RunTool("tables --csv -d '" + Source() + "' 'p*'").data,
              "schema,name,type,remarks\n\"\",people,TABLE,\"\"\n");
    ExpectParts(RunTool("columns -t -d '" + Source() + "' TEAMS").data,
                {"teams | id", "VARCHAR(40) | no"});
    ExpectParts(RunTool("drivers 'sqlite*'").data, {"SQLite3"});
    std::ofstream(File("odbc.ini")) << "[ODBC Data Sources]\nours=a driver\n[ours]\nDriver=x\n";
    ExpectParts(RunTool("sources", "ODBCINI=" + File("odbc.ini")).data, {"ours   | a driver\n"});
}

}  // namespace
