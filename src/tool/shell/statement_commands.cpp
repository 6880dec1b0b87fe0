#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "client/TemporaryPath.h"
#include "client/file_transfer.h"
#include "text/terminal_text.h"
#include "text/value_syntax.h"
#include "text/variables.h"
#include "tool/shell/handlers.h"
#include "tool/shell/interrupts.h"

namespace {

/// Settings as they were, once this object goes.
class SettingsForOnce {
public:
    explicit SettingsForOnce(Workspace& workspace)
        : workspace_(workspace), before_(workspace.settings)
    {}
    ~SettingsForOnce()
    {
        workspace_.settings = before_;
        workspace_.RenewOutput();
    }
    SettingsForOnce(const SettingsForOnce&) = delete;
    SettingsForOnce& operator=(const SettingsForOnce&) = delete;

private:
    Workspace& workspace_;
    ShellSettings before_;
};

void GoIn(const MetaCall& call, std::optional<Format> format)
{
    const std::string sql = call.Statement();
    const std::string file = call.Word();
    const SettingsForOnce once(call.workspace);
    call.workspace.settings.output.format = format.value_or(call.workspace.settings.output.format);
    call.workspace.RenewOutput(file);
    call.workspace.Run(sql);
    call.workspace.KeepOwnOutput();
}

// Returns false where ^C ended the wait.
bool Wait(double seconds)
{
    constexpr double kMilli = 1000;
    const NotedInterrupts interrupts;
    ::poll(nullptr, 0, static_cast<int>(seconds * kMilli));
    return !NotedInterrupts::Take();
}

double NumberOf(const std::string& word)
{
    char* end = nullptr;
    const double number = std::strtod(word.c_str(), &end);
    constexpr double kMost = 1e6;
    if (*end != '\0' || !(number >= 0 && number <= kMost)) {
        throw UsageError(word + " is no number of seconds or times");
    }
    return number;
}

std::string Edited(const std::string& text)
{
    const TemporaryPath path([] {
        std::string name = (std::filesystem::temp_directory_path() / "orvelgw-XXXXXX.sql").string();
        constexpr int kSuffix = 4;
        const int file = ::mkstemps(name.data(), kSuffix);
        return file >= 0 && ::close(file) == 0 ? name : std::string();
    });
    if (path.Path().empty()) {
        throw std::system_error(errno, std::generic_category(), "a file to edit");
    }
    std::ofstream(path.Path()) << text << "\n";
    const char* visual = std::getenv("VISUAL");
    const char* editor = visual != nullptr ? visual : std::getenv("EDITOR");
    const std::string command = std::string(editor != nullptr ? editor : "vi") + " " + path.Path();
    if (std::system(command.c_str()) != 0) {
        throw UsageError("the editor failed: " + command);
    }
    std::ifstream in(path.Path());
    return {std::istreambuf_iterator<char>(in), {}};
}

struct Setting {
    const char* name;
    std::string (*get)(const ShellSettings& settings);
    void (*set)(ShellSettings& settings, const std::string& word);
};

const char* OnOff(bool is_on)
{
    return is_on ? "on" : "off";
}

bool IsOn(const std::string& word)
{
    if (word != "on" && word != "off") {
        throw UsageError("on or off, not " + word);
    }
    return word == "on";
}

void SetFormat(ShellSettings& settings, const std::string& word)
{
    const auto format = FormatNamed(word);
    if (!format) {
        std::string names;
        for (const NamedFormat& named : kFormats) {
            names += (names.empty() ? "" : ", ") + std::string(named.name);
        }
        throw UsageError(fmt::format("there is no format {}, only {}", word, names));
    }
    settings.output.format = *format;
}

void SetDelimiter(ShellSettings& settings, const std::string& word)
{
    const std::string text = word == "\\t" ? "\t" : word;
    if (text.size() != 1 || text == "\"" || static_cast<unsigned char>(text[0]) >= 0x80U) {
        throw UsageError("one ASCII character is needed, or \\t");
    }
    settings.output.delimiter = text[0];
}

constexpr Setting kSettings[] = {
    {"format",
     [](const ShellSettings& settings) { return std::string(NameOf(settings.output.format)); },
     &SetFormat},
    {"null",
     [](const ShellSettings& settings) {
         return settings.output.null_text ? "'" + *settings.output.null_text + "'"
                                          : std::string("as the format has it");
     },
     [](ShellSettings& settings, const std::string& word) { settings.output.null_text = word; }},
    {"tuples_only",
     [](const ShellSettings& settings) { return std::string(OnOff(settings.output.tuples_only)); },
     [](ShellSettings& settings, const std::string& word) {
         settings.output.tuples_only = IsOn(word);
     }},
    {"delimiter",
     [](const ShellSettings& settings) {
         return Printable(std::string(1, settings.output.delimiter));
     },
     &SetDelimiter},
    {"pager", [](const ShellSettings& settings) { return std::string(OnOff(settings.uses_pager)); },
     [](ShellSettings& settings, const std::string& word) { settings.uses_pager = IsOn(word); }},
};

void ShowSetting(const Workspace& workspace, const Setting& setting)
{
    fmt::print(workspace.Out(), "{:<12} {}\n", setting.name, setting.get(workspace.settings));
}

}  // namespace

void handlers::Go(const MetaCall& call)
{
    GoIn(call, std::nullopt);
}

void handlers::GoVertically(const MetaCall& call)
{
    GoIn(call, Format::kVertical);
}

void handlers::Bind(const MetaCall& call)
{
    for (const std::string& word : call.Words()) {
        call.workspace.Context().values.emplace_back(ValueOf(word));
    }
}

void handlers::Put(const MetaCall& call)
{
    const std::string file = call.Word();
    if (file.empty()) {
        throw UsageError("\\put takes the name of a file");
    }
    call.workspace.Context().values.emplace_back(FileValue{file});
}

void handlers::Get(const MetaCall& call)
{
    const std::string file = call.Word();
    if (file.empty()) {
        throw UsageError("\\get takes the name of a file");
    }
    ScriptContext& context = call.workspace.Context();
    const Session& session = call.workspace.Connected();
    call.workspace.Context().last_sql = call.Statement();
    ::Statement statement(
        session,
        WithVariables(call.workspace.Context().last_sql, context.variables, context.dialect),
        *context.messages);
    statement.Bind(std::exchange(call.workspace.Context().values, {}));
    context.messages->Say(fmt::format(
        "({} written to {})", Counted(WriteFirstValue(statement, file), "byte"), Printable(file)));
}

void handlers::Watch(const MetaCall& call)
{
    const auto words = call.Words();
    const double seconds = words.empty() ? 2 : NumberOf(words[0]);
    const auto times =
        words.size() < 2 ? UINT64_MAX : static_cast<std::uint64_t>(NumberOf(words[1]));
    const std::string sql = call.Statement();
    const auto values = call.workspace.Context().values;
    const SettingsForOnce once(call.workspace);
    call.workspace.settings.uses_pager = false;
    for (std::uint64_t run = 0; run < times; ++run) {
        if (run > 0 && !Wait(seconds)) {
            break;
        }
        call.workspace.RenewOutput();
        call.workspace.Context().values = values;
        call.workspace.Run(sql);
        if (RunningStatement::IsStopped()) {
            break;
        }
    }
}

void handlers::Edit(const MetaCall& call)
{
    const auto begun = call.splitter.Finish();
    if (call.splitter.Pending().find_first_not_of(" \t\r\n") != std::string::npos) {
        throw UsageError("\\e is for the prompt");  // the rest of a script would be lost
    }
    const std::string text = Edited(begun ? begun->text : call.workspace.Context().last_sql);
    call.splitter.Clear();
    call.splitter.Feed(text);
    if (call.workspace.IsAtTerminal()) {
        fmt::print(call.workspace.Out(), "{}", text);
    }
}

void handlers::Include(const MetaCall& call)
{
    const std::string file = call.Word();
    if (file.empty()) {
        throw UsageError("\\i takes the name of a script");
    }
    const Script script = ReadScript(file);
    call.workspace.exit_code =
        std::max(call.workspace.exit_code, RunScript(call.workspace.Context(), script));
    call.workspace.names.Forget();
}

void handlers::SendOutput(const MetaCall& call)
{
    call.workspace.SendOutputTo(call.Word());
}

void handlers::SetVertical(const MetaCall& call)
{
    Format& format = call.workspace.settings.output.format;
    format = call.Switched(format == Format::kVertical) ? Format::kVertical : Format::kTable;
    call.workspace.RenewOutput();
}

void handlers::SetOutput(const MetaCall& call)
{
    const auto words = call.Words();
    if (words.size() > 2) {
        throw UsageError("\\pset takes a name and a value; one with blanks goes in '...'");
    }
    bool is_found = words.empty();
    for (const Setting& setting : kSettings) {
        if (words.empty() || words[0] == setting.name) {
            is_found = true;
            if (words.size() == 2) {
                setting.set(call.workspace.settings, words[1]);
                call.workspace.RenewOutput();
            } else {
                ShowSetting(call.workspace, setting);
            }
        }
    }
    if (!is_found) {
        throw UsageError("there is no setting " + words[0] + "; \\pset shows those that there are");
    }
}

void handlers::SetTiming(const MetaCall& call)
{
    bool& shows_times = call.workspace.Context().shows_times;
    shows_times = call.Switched(shows_times);
}

void handlers::SetVariable(const MetaCall& call)
{
    const auto words = call.Words();
    Variables& variables = call.workspace.Context().variables;
    if (words.empty()) {
        for (const auto& [name, value] : variables) {
            fmt::print(call.workspace.Out(), "{} = '{}'\n", name, Printable(value));
        }
        return;
    }
    if (!IsVariableName(words[0])) {
        throw UsageError("a variable's name has letters, digits and underscores");
    }
    std::string& value = variables[words[0]];
    value.clear();
    for (std::size_t i = 1; i < words.size(); ++i) {  // one behind the other, as in psql
        value += words[i];
    }
}

void handlers::ShowError(const MetaCall& call)
{
    const auto& error = call.workspace.Context().last_error;
    std::FILE* out = call.workspace.Out();
    if (!error) {
        fmt::print(out, "there was no error\n");
        return;
    }
    for (const std::string& line : error->diagnostics) {
        fmt::print(out, "{}\n", Printable(line));
    }
    fmt::print(out, "{}{}\n", error->place.empty() ? "" : error->place + ": ", error->what());
}
