#include "rivals.h"

#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <sstream>

#include "Host.h"

std::vector<Rival> RunRival(const std::string& command, const Source& source, double seconds)
{
    const std::string with_arguments =
        fmt::format("{} '{}' {} {}", command, source.connection_string, source.rows, seconds);
    std::FILE* output = popen(with_arguments.c_str(), "r");
    Require(output != nullptr, "can't be run: " + command);
    std::string text;
    std::array<char, 4096> piece{};
    while (const std::size_t size = std::fread(piece.data(), 1, piece.size(), output)) {
        text.append(piece.data(), size);
    }
    Require(pclose(output) == 0, "failed: " + command);

    std::vector<Rival> rivals;
    std::istringstream lines(text);
    Rival rival{};
    while (std::getline(lines, rival.name, '\t') && std::getline(lines, rival.task, '\t') &&
           lines >> rival.ratio.low >> rival.ratio.median >> rival.ratio.high >> rival.time >>
               rival.base >> std::ws) {
        rivals.push_back(rival);
    }
    Require(lines.eof() && !rivals.empty(), "no figures: " + text);
    return rivals;
}
