// A run of the program orvelgw.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

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

inline Finished RunTool(const std::string& words, const std::string& environment = "")
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

inline Finished RunDoctor(const std::string& connection_string, const std::string& environment = "")
{
    return RunTool("doctor -d '" + connection_string + "'", environment);
}
