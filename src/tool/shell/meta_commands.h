// The commands of the prompt and of scripts: lines that begin with a backslash.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/StatementSplitter.h"
#include "tool/shell/Workspace.h"

/// A command as it was typed.
struct MetaCall {
    Workspace& workspace;
    std::string_view rest;  // behind the name, without the blanks around it
    StatementSplitter& splitter;

    /// The words of the rest: cut at blanks, but for those in '' (where a quote is doubled) and in
    /// brackets.
    std::vector<std::string> Words() const;

    /// The one word that there is; empty where there is none. Throws UsageError for more.
    std::string Word() const;

    /// "on", "off", or the other state where there is no word.
    bool Switched(bool is_on) const;

    /// The statement that has begun, which is over by that, or else the last one that ran.
    std::string Statement() const;
};

struct MetaCommand {
    /// What completes its arguments.
    enum class Takes { kText, kCommand, kEntry, kFile, kFormat, kSource, kSwitch, kTable };

    const char* name = "";
    const char* arguments = "";
    const char* help = "";  // empty: that of the command behind it is for both
    void (*carry_out)(const MetaCall& call) = nullptr;
    Takes takes = Takes::kText;
};

std::span<const MetaCommand> MetaCommands();

/// Carries out the command of a line. Throws UsageError where there is no such command, or it can't
/// be carried out as it is worded, and what the command throws.
void CarryOut(Workspace& workspace, std::string_view line, StatementSplitter& splitter);
