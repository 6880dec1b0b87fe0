// A run of the program orvelgw.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

struct Finished {
    int exit_code;
    std::string data;      // stdout
    std::string messages;  // stderr
};

inline std::string Slurp(const std::filesystem::path& path)
{
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Expects a text to contain all the parts.
inline void ExpectParts(const std::string& text, const std::vector<std::string>& parts)
{
    for (const std::string& part : parts) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

inline Finished RunTool(const std::string& words, const std::string& environment = "")
{
    const TemporaryFolder folder;
    const std::string out = folder.path / "out";
    const std::string messages = folder.path / "messages";
    const int status = std::system(
        (environment + " " ORVELGW_TOOL " " + words + " >" + out + " 2>" + messages).c_str());
    return {WEXITSTATUS(status), Slurp(out), Slurp(messages)};
}

/// The string goes through the environment: other users can see a command line.
inline Finished RunDoctor(const std::string& connection_string, const std::string& environment = "")
{
    ::setenv("ORVELGW_DSN", connection_string.c_str(), 1);
    Finished run = RunTool("doctor", environment);
    ::unsetenv("ORVELGW_DSN");
    return run;
}
