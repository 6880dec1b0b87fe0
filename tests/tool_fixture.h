// Runs of the program orvelgw over SQLite.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "run_tool.h"

inline constexpr char kMemory[] = "-d 'DRIVER={SQLite3};Database=:memory:' ";

/// A folder of a test's own, with a database in it.
class ToolFiles : public testing::Test {
protected:
    std::string File(const std::string& name) const { return (folder.path / name).string(); }
    std::string Written(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(File(name), std::ios::binary) << bytes;
        return File(name);
    }
    std::string Database() const
    {
        return "-d 'DRIVER={SQLite3};Database=" + File("test.db") + "' ";
    }
    /// Runs SQL that has to succeed and returns its rows, titles left out.
    std::string Sql(const std::string& sql, const std::string& words = "") const
    {
        const Finished run = RunTool(Database() + words + " -c \"" + sql + "\"");
        EXPECT_EQ(run.exit_code, 0) << run.messages;
        const auto titles = run.data.find('\n');
        return run.data.empty() ? "" : run.data.substr(run.data.find('\n', titles + 1) + 1);
    }
    Finished Tool(const std::string& words) const { return RunTool(Database() + words); }

    const TemporaryFolder folder;
};

/// What a run comes to, and what it says among its messages.
struct ToolCase {
    std::string words;
    int exit_code;
    const char* message;
};

inline std::vector<Finished> ExpectRuns(std::span<const ToolCase> cases)
{
    std::vector<Finished> runs;
    for (const ToolCase& c : cases) {
        const Finished& run = runs.emplace_back(RunTool(c.words));
        EXPECT_EQ(run.exit_code, c.exit_code) << c.words << run.messages;
        ExpectParts(run.messages, {c.message});
    }
    return runs;
}
