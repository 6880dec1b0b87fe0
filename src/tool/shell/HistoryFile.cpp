#include "tool/shell/HistoryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "client/OutputFile.h"
#include "client/ascii.h"
#include "client/sql_text.h"
#include "drivers/ConnectionString.h"

namespace {

constexpr std::size_t kMostLines = 2000;
constexpr mode_t kOwnFolder = 0700;
constexpr mode_t kOwnFile = 0600;

std::filesystem::path StateFolder()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/') {
        return std::filesystem::path(state) / "orvelgw";
    }
    const char* home = std::getenv("HOME");
    return home != nullptr && *home == '/'
               ? std::filesystem::path(home) / ".local" / "state" / "orvelgw"
               : std::filesystem::path();
}

}  // namespace

HistoryFile::HistoryFile()
{
    const std::filesystem::path folder = StateFolder();
    std::error_code error;
    if (!folder.empty()) {
        std::filesystem::create_directories(folder.parent_path(), error);
        ::mkdir(folder.c_str(), kOwnFolder);
        path_ = (folder / "history").string();
    }
}

std::vector<std::string> HistoryFile::Lines() const
{
    std::vector<std::string> lines;
    std::ifstream in(path_);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    if (lines.size() > kMostLines) {
        lines.erase(lines.begin(), lines.end() - kMostLines / 2);
        try {
            OutputFile kept(path_);
            for (const std::string& line : lines) {
                kept.Write(line + "\n");
            }
            kept.Commit();
        } catch (const FileError&) {
            // It grows on.
        }
    }
    return lines;
}

void HistoryFile::Append(const std::string& line) const
{
    const int file =
        ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnFile);
    if (file < 0) {
        return;
    }
    const std::string text = line + "\n";
    if (::fchmod(file, kOwnFile) == 0) {
        static_cast<void>(::write(file, text.data(), text.size()) == 0);
    }
    ::close(file);
}

bool MayHoldPassword(const std::string& text)
{
    if (WithoutSecrets(text) != text) {
        return true;
    }
    bool names_password = false;
    bool has_literal = false;
    for (SqlLexer lexer(text); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        const bool is_word = token.kind == SqlToken::kWord;
        names_password =
            names_password || (is_word && (EqualsIgnoringCase(token.text, "password") ||
                                           EqualsIgnoringCase(token.text, "identified")));
        has_literal = has_literal || token.kind == SqlToken::kQuoted;
    }
    return names_password && has_literal;
}

std::vector<std::string> HistoryLines(const std::string& text)
{
    std::string joined;
    bool is_one_line = true;
    for (SqlLexer lexer(text); !lexer.AtEnd();) {
        const SqlToken token = lexer.Next();
        const bool has_end = token.text.find('\n') != std::string_view::npos;
        is_one_line = is_one_line && !token.text.starts_with("--") &&
                      (!has_end || token.kind == SqlToken::kBlank);
        joined += has_end && token.kind == SqlToken::kBlank ? " " : std::string(token.text);
    }
    std::vector<std::string> lines;
    std::istringstream in(is_one_line ? joined : text);
    for (std::string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(' ') + 1);
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}
