// What was typed in sessions before.
#pragma once

#include <string>
#include <vector>

/// A file of lines, which nobody but the user can read, in the folder of the user's state. Where it
/// can't be read or written there is no history, and nothing else suffers.
class HistoryFile {
public:
    /// ${XDG_STATE_HOME:-~/.local/state}/orvelgw/history; the folder is made.
    HistoryFile();

    /// The last lines, the oldest first.
    std::vector<std::string> Lines() const;

    void Append(const std::string& line) const;

private:
    std::string path_;  // empty: there is none
};

/// Whether what was typed may hold a password: that of a connection string or a URL, or a literal
/// beside PASSWORD or IDENTIFIED.
bool MayHoldPassword(const std::string& text);

/// A statement in one line, where that doesn't change it; otherwise its lines.
std::vector<std::string> HistoryLines(const std::string& text);
