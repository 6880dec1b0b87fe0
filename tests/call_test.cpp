// orvelgw call, as a user runs it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include "client/Gateway.h"
#include "text/near_name.h"
#include "tool/commands/entry_inputs.h"
#include "tool_fixture.h"

namespace {

Finished Call(const std::string& words)
{
    return RunTool(kMemory + ("call " + words));
}

TEST(Call, ReachesAnyEntry)
{
    const Finished columns = Call(
        "Prepare @statement 'CREATE TABLE t(id INTEGER, name VARCHAR(10))' then Execute @statement "
        "then DropStatement @statement then Columns @statement '' NULL t % "
        "then Fetch @statement then FetchRows @statement 10");
    EXPECT_EQ(columns.exit_code, 0) << columns.messages;
    ExpectParts(columns.data,
                {"Columns: result 0\nFetch: result 0\nFetchRows\n  \"", "\"t\", \"name\""});
    ExpectParts(columns.messages,
                {"trace: Columns BEGIN  handle 0x", ", \"\", \"\", \"t\", \"%\"\n",
                 "error state: WasError 0, GetLastSQLCode 0\n"});
    const Finished values = Call(
        "--hex Prepare @statement 'SELECT ?, 5' then BindParameter @statement 1 1 1 12 9 0 0 "
        "then SetParameter @statement \"['it''s']\" 1 then Execute @statement "
        "then Fetch @statement then GetOneRow @statement '[2, 1]' "
        "then GetParameter @statement 1 then GetData @statement 2 0x4");
    EXPECT_EQ(values.data,
              "Prepare: result 0\nBindParameter: result 0\nSetParameter: result 0\n"
              "Execute: result 0\nFetch: result 0\n"
              "GetOneRow\n  \"5\", \"it's\"\n  03 01 35 06 01 69 74 27 73\n"
              "GetParameter\n  \"it's\"\n  06 01 69 74 27 73\nGetData\n  (nothing)\n");
    EXPECT_EQ(values.exit_code, 1) << "a C type that is not served";
    ExpectParts(values.messages, {"WasError -27"});
    const Finished late = Call(
        "Prepare @statement 'SELECT ?' then "
        "BindParameter @statement 1 1 -2 -4 2 0 -102 then Execute @statement then "
        "ParamData @statement then PutData @statement 0x4142 then ParamData @statement then "
        "MoreResults @statement then GetDataEx @statement 1 -2 60000000 then "
        "DropStatement @statement then Prepare @statement 'SELECT 1'");
    ExpectParts(late.data,
                {"Execute: result 99\n", "DropStatement: result 0\nPrepare: result 0\n"});
    const Finished alone = RunTool(
        "call DSNConnect 'DRIVER={SQLite3};Database=:memory:;PWD=hush' then GetInfo @connection 17 "
        "then AllocStatement @connection then TablesW @statement '' '' 0x1F600é '' "
        "then GetSQLErrors @connection @statement then Connect NULL NULL NULL");
    ExpectParts(alone.data, {"GetInfo\n  \"SQLite\"\n", "GetSQLErrors\n  \"\"\n"});
    ExpectParts(alone.messages, {"u\"0x1F600é\"", ";PWD=***\""});
    EXPECT_EQ(alone.messages.find("hush"), std::string::npos);
}

TEST(Call, SaysWhatIsWrong)
{
    struct Case {
        std::string words;
        int exit_code;
        const char* message;
    };
    const std::string long_word = "$(head -c 65536 /dev/zero | tr '\\0' x)";
    const Case cases[] = {
        {"", 2, "orvelgw: call: the name of an entry is required"},
        {"Nonsense", 2, "orvelgw: there is no entry Nonsense; \"orvelgw call --list\""},
        {"fetchrow @statement 1", 2, "did you mean FetchRows?"},
        {"Execute", 2, "Execute takes 1 input, not 0: statement"},
        {"Fetch @statement then FetchRows @statement", 2, "takes 2 inputs, not 1: statement, rows"},
        {"GetUV 1", 2, "GetUV takes no inputs, not 1"},
        {"Transact @connection x", 2, "Transact, input 2: x is not a 32-bit integer"},
        {"GetUV then", 2, "the name of an entry is missing"},
        {"Execute @nope", 2, "there is no handle @nope"},
        {"Prepare @statement '\\@nope'", 0, ", \"@nope\"\n"},
        {"PutData @statement " + long_word, 2, "input 2: an input of 65536 bytes is too long"},
        {"PrepareW @statement " + long_word, 2, "input 2: an input of 65536 characters"},
        {"PutData @statement '[5'", 2, "[5 is not a list in brackets"},
        {"PutData @statement '[five]'", 2, "five is not a number, NULL or quoted text"},
        {"PutData @statement '0x0'", 2, "hexadecimal"},
        {"Test 'a\xE9'", 2, "call, word 2: byte 2 (\\xE9) is not UTF-8"},
        {"Test NULL", 0, "trace: Test  \"\"\n"},
        {"Prepare @statement 'SELECT missing' then GetUV", 1, "no such column: missing"},
        {"Prepare @statement 'SELECT 1' then Execute @statement then Fetch @statement then Fetch "
         "@statement then MoreResults @statement",
         0, "GetLastSQLCode 0"},
    };
    for (const Case& c : cases) {
        const Finished run = Call(c.words);
        EXPECT_EQ(run.exit_code, c.exit_code) << c.words << run.messages;
        ExpectParts(run.messages, {c.message});
        if (c.exit_code == 2) {
            EXPECT_EQ(run.data, "");
            EXPECT_EQ(run.messages.find("trace:"), std::string::npos) << "nothing ran";
        }
    }
    const Finished alone = RunTool("call GetUV then Execute @statement");
    EXPECT_EQ(alone.exit_code, 2);
    ExpectParts(alone.messages, {"there is no connection; name a data source with -d"});
}

std::string Words(std::string text)
{
    std::ranges::replace_if(
        text,
        [](unsigned char c) {
            return std::string_view(",.;:()`").find(static_cast<char>(c)) != std::string_view::npos;
        },
        ' ');
    return " " + text + " ";
}

// The paragraph on the arguments of each entry in the page of callouts, by its heading.
std::map<std::string, std::string> ArgumentsInPage()
{
    std::ifstream page(ORVELGW_CALLOUTS);
    std::map<std::string, std::string> arguments;
    std::string entry;
    bool is_open = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("### \"")) {
            entry = line.substr(5, line.find('"', 5) - 5);
        }
        is_open = line.starts_with("- **Arguments**") || (is_open && line.starts_with("  "));
        if (is_open) {
            arguments[entry] += Words(line);
        }
    }
    return arguments;
}

TEST(Call, ListsEveryEntryWithItsInputs)
{
    const Gateway gateway(ORVELGW_LIBRARY);
    const Finished run = RunTool("call --list");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(std::ranges::count(run.data, '\n'), ORVEL_TABLE_ROWS);
    const auto page = ArgumentsInPage();
    for (const ORVEL_ZFE* row = gateway.Table(); row->name != nullptr; ++row) {
        const std::string inputs(EntryInputs(row->name));
        const auto letters = std::ranges::count_if(std::string_view(row->signature),
                                                   [](char c) { return !IsOutput(c); });
        const auto names = inputs.empty() ? 0 : std::ranges::count(inputs, ',') + 1;
        EXPECT_EQ(names, letters) << row->name;
        ExpectParts(run.data, {std::string(row->name) + " "});
        // "as for" refers to another entry; the catalog entries share their statement.
        std::string described = page.at(row->name) + " statement ";
        for (auto as = described.find("as for \""); as != std::string::npos;
             as = described.find("as for \"", as + 1)) {
            described += page.at(described.substr(as + 8, described.find('"', as + 8) - as - 8));
        }
        std::istringstream words(Words(inputs));
        for (std::string word; words >> word;) {
            ExpectParts(described, {" " + word + " "});
        }
    }
}

TEST(NearName, IsTheNearestOfThoseThatAreNear)
{
    const std::pair<const char*, const char*> cases[] = {
        {"FetchRow", "FetchRows"},
        {"fetch", "Fetch"},
        {"GetDatEx", "GetDataEx"},
        {"Fetcj", "Fetch"},
        {"x", ""},
        {"Nonsense", ""},
        {"", ""},
        {"FetchRowsRowsRows", ""},
    };
    for (const auto& [typed, meant] : cases) {
        EXPECT_EQ(NearName(typed, {"Fetch", "FetchRows", "GetDataEx"}), meant) << typed;
    }
}

}  // namespace
