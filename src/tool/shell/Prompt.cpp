#include "tool/shell/Prompt.h"

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "client/version.h"
#include "text/terminal_text.h"
#include "tool/failures.h"
#include "tool/shell/Completer.h"
#include "tool/shell/HistoryFile.h"
#include "tool/shell/LineEditor.h"
#include "tool/shell/interrupts.h"
#include "tool/shell/meta_commands.h"

namespace {

using Opened = StatementSplitter::Opened;
using Piece = StatementSplitter::Piece;

std::filesystem::path StartFile()
{
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config != nullptr && *config == '/') {
        return std::filesystem::path(config) / "orvelgw" / "rc";
    }
    const char* home = std::getenv("HOME");
    return home != nullptr ? std::filesystem::path(home) / ".config" / "orvelgw" / "rc"
                           : std::filesystem::path();
}

class Prompt {
public:
    explicit Prompt(Workspace& workspace)
        : workspace_(workspace),
          splitter_(workspace.Context().dialect),
          editor_([this](std::string_view before) {
              return Complete(workspace_, splitter_.Pending(), before);
          })
    {
        for (const std::string& line : history_.Lines()) {
            editor_.Remember(line);
        }
    }

    void Run();

private:
    std::string Text() const;
    void Take(const std::string& line);
    void TakePieces();
    void Remember();
    void CarryOut(const Piece& piece);
    void RunStartFile();

    /// Runs what may fail, and reports it.
    template <class Work>
    void Attempt(Work work);

    Workspace& workspace_;
    StatementSplitter splitter_;
    HistoryFile history_;
    std::string typed_;  // since the last statement or command
    LineEditor editor_;
};

// The source, the mode, a star inside a transaction; behind the first line of a statement what is
// open.
std::string Prompt::Text() const
{
    const SessionOptions& options = workspace_.Options();
    const std::string head = fmt::format(
        "{}{}{}{}", Printable(workspace_.SourceName()), options.unicode ? " unicode" : "",
        options.legacy ? " legacy" : "", workspace_.IsInTransaction() ? "*" : "");
    const Opened open = splitter_.Open();
    const std::string blanks(DisplayWidth(head) - std::min<std::size_t>(DisplayWidth(head), 1),
                             ' ');
    switch (open.kind) {
        case Opened::kNothing:
            return head + "> ";
        case Opened::kStatement:
            return blanks + "-> ";
        case Opened::kBody:
            return blanks + "{> ";
        default:
            return blanks + open.mark.front() + "> ";
    }
}

template <class Work>
void Prompt::Attempt(Work work)
{
    if (NotedInterrupts::Take()) {
        return;  // ^C came before it
    }
    const RunningStatement running;
    try {
        work();
        workspace_.RenewOutput();
    } catch (const Stopped& stopped) {
        workspace_.RenewOutput();
        fmt::print("({})\n", stopped.what());
    } catch (const SqlError& error) {
        workspace_.RenewOutput();
        workspace_.Context().last_error = error;
        Report(error);
    } catch (...) {
        workspace_.RenewOutput();
        ReportFailure(workspace_.Words());
    }
}

void Prompt::CarryOut(const Piece& piece)
{
    Attempt([&] {
        if (piece.kind == Piece::kStatement) {
            workspace_.Run(piece.text);
        } else {
            ::CarryOut(workspace_, piece.text, splitter_);
        }
    });
}

void Prompt::TakePieces()
{
    for (bool has_more = true; has_more && !workspace_.is_done;) {
        try {
            const auto piece = splitter_.Next();
            has_more = piece.has_value();
            if (piece) {
                CarryOut(*piece);
            }
        } catch (const SplitError& error) {
            Report(SqlError(error.what()));
        }
    }
}

void Prompt::Remember()
{
    if (!MayHoldPassword(typed_)) {
        for (const std::string& line : HistoryLines(typed_)) {
            editor_.Remember(line);
            history_.Append(line);
        }
    }
    typed_.clear();
}

void Prompt::Take(const std::string& line)
{
    const bool is_first = splitter_.Open().kind == Opened::kNothing;
    if (is_first && line.find_first_not_of(' ') == std::string::npos) {
        return;
    }
    typed_ += line + "\n";
    const bool is_word = is_first && (line == "exit" || line == "quit" || line == "help");
    splitter_.Feed(is_word ? (line == "help" ? "\\?\n" : "\\q\n") : line + "\n");
    TakePieces();
    if (splitter_.Open().kind == Opened::kNothing) {
        Remember();
        if (splitter_.Dialect().Quote() != workspace_.Context().dialect.Quote()) {
            splitter_ = StatementSplitter(workspace_.Context().dialect);
        }
    }
}

void Prompt::RunStartFile()
{
    const auto file = StartFile();
    std::error_code none;
    if (!file.empty() && std::filesystem::exists(file, none)) {
        Attempt([&] { RunScript(workspace_.Context(), ReadScript(file.string())); });
    }
}

void Prompt::Run()
{
    const NotedInterrupts interrupts;  // between a line and its statement, too
    fmt::print("orvelgw {}. \\? lists the commands, \\q leaves.\n", kVersion);
    RunStartFile();
    for (std::string line; !workspace_.is_done;) {
        switch (editor_.Read(Text(), line)) {
            case LineEditor::End::kLine:
                Take(line);
                break;
            case LineEditor::End::kInterrupted:
                splitter_.Clear();
                typed_.clear();
                workspace_.Context().values.clear();
                break;
            case LineEditor::End::kEndOfInput:
                workspace_.is_done = true;
        }
    }
}

}  // namespace

void RunPrompt(Workspace& workspace)
{
    std::signal(SIGPIPE, SIG_IGN);  // a pager that was left
    Prompt(workspace).Run();
}
