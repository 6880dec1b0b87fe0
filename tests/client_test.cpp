// The host side over the scripted driver manager: errors of a driver while a result is read.
#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TemporaryFolder.h"
#include "client/ResultSink.h"
#include "client/Session.h"
#include "client/Statement.h"
#include "scripted_fixture.h"

namespace {

/// Records what it receives, one line each.
class Log : public ResultSink, public Reporter {
public:
    void Begin(const std::vector<Column>& /*columns*/) override { text += "begin\n"; }
    void Take(Row row) override
    {
        for (const Cell& cell : row) {
            text += cell.kind == Cell::kUnreadable ? "unreadable\n"
                    : cell.kind == Cell::kNull     ? "NULL\n"
                                                   : std::string(cell.value) + "\n";
        }
    }
    void End() override { text += "end\n"; }
    void Returned(const ResultSummary& summary) override
    {
        text += fmt::format("{} rows, {} truncated, {} unreadable\n", summary.rows,
                            summary.truncated.size(), summary.unreadable.size());
    }
    void Changed(std::int64_t rows) override { text += fmt::format("{} changed\n", rows); }
    void Done() override { text += "done\n"; }
    void Warned(const std::vector<std::string>& diagnostics) override
    {
        text += "warned" + (diagnostics.empty() ? "" : diagnostics[0]) + "\n";
    }

    std::string text;
};

scripted::Value Text(const std::wstring& text, SQLRETURN code = SQL_SUCCESS)
{
    return {.code = code,
            .length = static_cast<SQLLEN>(sizeof(wchar_t) * text.size()),
            .bytes = scripted::WideBytes(text)};
}

class ClientTest : public ScriptedTest {
protected:
    /// Runs a statement and returns everything reported; a failure comes last.
    std::string Run(const std::string& sql, const std::vector<ParameterValue>& values = {})
    {
        Log log;
        try {
            const Session session(*gateway, {}, "x");
            Statement run(session, sql, log);
            run.Bind(values);
            scripted::Current().TakeCalls();
            log.text += run.Run(log).has_unreadable_values ? "exit 1\n" : "";
        } catch (const SqlError& error) {
            log.text += std::string("failed: ") + error.what() +
                        (error.diagnostics.empty() ? "" : error.diagnostics[0]) + "\n";
        }
        return log.text;
    }

    /// SQLFetch and SQLGetData return these in turn, and then no more.
    static void Script(std::deque<SQLRETURN> fetches, std::deque<scripted::Value> values)
    {
        const auto take = [](auto& all, auto otherwise) {
            if (!all.empty()) {
                otherwise = all.front();
                all.pop_front();
            }
            return otherwise;
        };
        auto function = std::make_shared<std::string>();
        auto& script = scripted::Current();
        script.rows = 100;
        script.answer = [=](std::string_view name) mutable {
            *function = name;
            return name == "SQLFetch" ? std::optional(take(fetches, SQLRETURN{SQL_NO_DATA}))
                                      : std::nullopt;
        };
        script.value = [=]() mutable {
            return *function == "SQLGetData" ? take(values, Text(L""))
                                             : scripted::Value{.length = 1, .bytes = "a"};
        };
    }
};

TEST_F(ClientTest, ReportsEverythingAboutAResult)
{
    struct Case {
        const char* what;
        std::deque<SQLRETURN> fetches;
        std::deque<scripted::Value> values;
        std::string log;
    };
    const scripted::Value cut = Text(std::wstring(300, L'x'), SQL_SUCCESS_WITH_INFO);
    const Case cases[] = {
        {"rows before an error",
         {SQL_SUCCESS, SQL_SUCCESS, SQL_ERROR},
         {Text(L"one"), Text(L"two")},
         "begin\none\ntwo\nend\n2 rows, 0 truncated, 0 unreadable\n"
         "failed: Fetch failed with code -1  SQLState: (01004) NativeError: [7] Message: so\n"},
        {"a warning of a row",
         {SQL_SUCCESS_WITH_INFO},
         {Text(L"one")},
         "begin\nwarned  SQLState: (01004) NativeError: [7] Message: so\none\nend\n"
         "1 rows, 0 truncated, 0 unreadable\n"},
        {"NULL and empty text",
         {SQL_SUCCESS, SQL_SUCCESS},
         {{.length = SQL_NULL_DATA}, Text(L"")},
         "begin\nNULL\n\nend\n2 rows, 0 truncated, 0 unreadable\n"},
        {"a value that can't be read, and the next one",
         {SQL_SUCCESS, SQL_SUCCESS},
         {Text(L"", SQL_ERROR), Text(L"two")},
         "begin\nunreadable\ntwo\nend\n2 rows, 0 truncated, 1 unreadable\nexit 1\n"},
        {"a value whose second piece can't be read",
         {SQL_SUCCESS},
         {cut, Text(L"", SQL_ERROR)},
         "begin\n" + std::string(32, 'x') + "\nend\n1 rows, 1 truncated, 0 unreadable\n"},
    };
    scripted::Current().diagnostics = {{"01004", 7, "so"}};
    for (const Case& c : cases) {
        Script(c.fetches, c.values);
        EXPECT_EQ(Run("SELECT"), c.log) << c.what;
    }
}

TEST_F(ClientTest, AsksForMoreResultsOnlyIfThereCanBeSome)
{
    struct Case {
        const char* sql;
        bool asks;
    };
    const Case cases[] = {
        {"UPDATE t SET a = ';'", false},
        {"UPDATE t SET a = 1; ", false},
        {"UPDATE t SET a = 1 -- ; b", false},
        {"UPDATE t SET a = 1; SELECT 1", true},
        {"COMMIT WORK", false},
        {"call two()", true},
        {"{call two()}", true},
        {"CREATE OR REPLACE PROCEDURE p() BEGIN SELECT 1; SELECT 2; END", false},
        {"CREATE TABLE event(a INTEGER); SELECT 1", true},
    };
    scripted::Current().columns = 0;
    scripted::Current().codes["SQLMoreResults"] = SQL_NO_DATA;
    for (const Case& c : cases) {
        scripted::Current().values = {{.length = 1, .bytes = "Y"}};
        Run(c.sql);
        EXPECT_EQ(scripted::Current().TakeCalls().find("SQLMoreResults") != std::string::npos,
                  c.asks)
            << c.sql;
    }
}

TEST_F(ClientTest, CountsWhatChangesRows)
{
    struct Case {
        const char* sql;
        SQLLEN rows;
        const char* log;
    };
    const Case cases[] = {
        {"DELETE FROM t", 0, "0 changed\n"},
        {"/* all */ (UPDATE t)", 0, "0 changed\n"},
        {"WITH n AS (SELECT 1) INSERT INTO t", 0, "0 changed\n"},
        {"CREATE TABLE t(a INTEGER)", 0, "done\n"},
        {"CREATE TABLE t AS SELECT", 5, "5 changed\n"},
        {"BEGIN", -1, "done\n"},
    };
    scripted::Current().columns = 0;
    for (const Case& c : cases) {
        scripted::Current().row_count = c.rows;
        EXPECT_EQ(Run(c.sql), c.log) << c.sql;
    }
    scripted::Current().codes["SQLExecute"] = SQL_SUCCESS_WITH_INFO;
    scripted::Current().diagnostics = {{"01000", 7, "mind"}};
    EXPECT_EQ(Run("BEGIN"), "warned  SQLState: (01000) NativeError: [7] Message: mind\ndone\n");
    scripted::Current().throwing.insert("SQLExecute");
    EXPECT_EQ(Run("BEGIN").substr(0, 32), "failed: Execute met an exception");
}

// The driver changes the file that is sent, once it has taken a piece of it.
TEST_F(ClientTest, SendsAFileAsLongAsItWas)
{
    const TemporaryFolder folder;
    const std::string file = folder.path / "sent";
    struct Case {
        std::uintmax_t size;  // that the file has by the second piece
        const char* log;
    };
    const Case cases[] = {
        {100'000, "0 changed\n"},
        {100'001, "failed: sent: the file became longer while it was sent\n"},
        {70'000, "failed: sent: the file became shorter while it was sent\n"},
    };
    for (const Case& c : cases) {
        std::ofstream(file) << std::string(100'000, 'x');
        scripted::Current().markers = 1;
        bool has_begun = false;
        scripted::Current().columns = 0;
        scripted::Current().answer = [&](std::string_view name) -> std::optional<SQLRETURN> {
            if (name == "SQLPutData") {
                std::filesystem::resize_file(file, c.size);
            }
            const bool asks = name == "SQLParamData" && !std::exchange(has_begun, true);
            return asks || name == "SQLExecute" ? std::optional<SQLRETURN>(SQL_NEED_DATA)
                                                : std::nullopt;
        };
        std::string log = Run("INSERT", {FileValue{file}});
        if (const auto at = log.find(file); at != std::string::npos) {
            log.replace(at, file.size(), "sent");
        }
        EXPECT_EQ(log, c.log);
    }
}

}  // namespace
