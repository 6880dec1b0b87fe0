#include "tool/CommandLine.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <span>

#include "client/version.h"
#include "text/terminal_text.h"
#include "text/utf8.h"
#include "tool/completion.h"
#include "tool/connection_words.h"
#include "tool/data_words.h"
#include "tool/script_words.h"

namespace {

using Task = CommandLine::Task;

void AddConnectionOptions(CLI::App& app, ConnectionWords& connection)
{
    app.add_option("-d,--data-source", connection.string,
                   "Connection string, or the name of a data source")
        ->type_name("STRING");
    app.add_option("--data-source-file", connection.string_file,
                   "Read the connection string from a file")
        ->type_name("FILE");
    app.add_flag("-W,--password", connection.asks_password,
                 "Prompt for the password, which is added as PWD")
        ->disable_flag_override();
    app.add_option("--password-file", connection.password_file,
                   "Read the password from a file that nobody else can read")
        ->type_name("FILE");
}

void AddGatewayOptions(CLI::App& app, CommandLine& command)
{
    app.add_flag("-u,--unicode", command.options.unicode,
                 "Unicode option: text as 2-byte characters");
    app.add_flag("-l,--legacy", command.options.legacy,
                 "Legacy option: ODBC 2, and row values as narrow text");
    app.add_flag("--trace", command.options.log, "Show the gateway's trace records on stderr");
    app.add_option("--library", command.library,
                   "The gateway to load (default: the one beside this program, or as installed)")
        ->type_name("FILE");
}

void AddStatementOptions(CLI::App& app, CommandLine& command)
{
    app.add_option("--get", command.get_file,
                   "Write the first value of the statement's result to a file, whatever its length")
        ->type_name("FILE");
}

/// Options that may come several times and mean something together: what they were given, in the
/// order of the words.
class OrderedOptions {
public:
    enum Kind { kStatement, kScript, kValue, kFile };
    struct Input {
        Kind kind;
        std::string text;
    };

    explicit OrderedOptions(CLI::App& app) : app_(app)
    {
        Add(kStatement, "-c,--command", "SQL",
            "SQL that goes to the driver whole; several run in order");
        Add(kScript, "-f,--file", "FILE",
            "Script of SQL statements to run (- is standard input), in order with --command");
        Add(kValue, "-p,--parameter", "VALUE",
            "Value of the statement's next marker: a number, NULL or text (\\NULL and \\5 are "
            "text)");
        Add(kFile, "--put", "FILE", "Send the bytes of a file as the value of the next marker");
    }

    std::vector<Input> Inputs() const
    {
        std::vector<Input> inputs;
        std::map<const CLI::Option*, std::size_t> taken;
        for (const CLI::Option* option : app_.parse_order()) {
            if (const auto found = kinds_.find(option); found != kinds_.end()) {
                inputs.push_back({found->second, option->results()[taken[option]++]});
            }
        }
        return inputs;
    }

private:
    void Add(Kind kind, const char* names, const char* type, const char* description)
    {
        auto* option = app_.add_option(names)
                           ->description(description)
                           ->type_name(type)
                           ->type_size(1)
                           ->expected(1)
                           ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        kinds_[option] = kind;
    }

    CLI::App& app_;
    std::map<const CLI::Option*, Kind> kinds_;
};

void TakeInputs(const std::vector<OrderedOptions::Input>& inputs, CommandLine& command)
{
    for (const auto& [kind, text] : inputs) {
        if (kind == OrderedOptions::kStatement || kind == OrderedOptions::kScript) {
            command.statements.push_back({text, kind == OrderedOptions::kScript});
        } else {
            command.markers.push_back({text, kind == OrderedOptions::kFile});
        }
    }
}

constexpr char kCallHelp[] = "Call entries of the gateway by name: ENTRY INPUT... [then ENTRY...]";

constexpr char kCallFooter[] =
    "An input is a number, text, NULL, a list [5, 'text', u'text', NULL], bytes 0x0304, or one of\n"
    "the handles @connection and @statement. \"then\" separates calls.\n";

constexpr char kDoctorHelp[] =
    "Check everything between this machine and the data source, and say what is wrong";

constexpr char kDoctorFooter[] =
    "The report covers the library, the driver manager, the driver and its kind, the server, the\n"
    "connection and, for each mode, whether NULL, text and long text come back as they were sent.\n"
    "Where the connection fails it says why.\n";

constexpr char kShimHelp[] =
    "Make a shim for a driver that the driver manager misuses, and print its DRIVER=";

constexpr char kFooter[] =
    "The connection string also comes from ORVELGW_DSN, the password from ORVELGW_PASSWORD.\n"
    "Rows, the results of calls and the doctor's report go to stdout, everything else to stderr.\n"
    "Exit codes: 0 success; 1 an SQL error, a file that can't be read or written, a call that\n"
    "failed, or text that comes back right in no mode; 2 wrong usage; 3 the gateway can't be\n"
    "loaded; 4 the connection failed.\n";

// What a subcommand has of the program's own options.
constexpr const char* kDoctorOptions[] = {"data-source", "data-source-file", "password",
                                          "password-file", "library"};
constexpr const char* kShimOptions[] = {"library"};

std::string OptionLines(const CLI::App& app, std::span<const char* const> names)
{
    const CLI::Formatter formatter;
    std::string lines;
    for (const char* name : names) {
        lines += formatter.make_option(app.get_option("--" + std::string(name)), false);
    }
    return lines;
}

/// The subcommands, and what becomes of their words.
class Subcommands {
public:
    Subcommands(CLI::App& app, CommandLine& command)
        : call_(*app.add_subcommand("call", kCallHelp)->prefix_command()),
          doctor_(*app.add_subcommand("doctor", kDoctorHelp)->fallthrough()),
          shim_(*app.add_subcommand("shim", kShimHelp)->fallthrough())
    {
        call_.add_flag("--hex", command.is_hex, "Show outputs as bytes, too");
        call_.add_flag("--list", lists_entries_, "List the entries with their inputs");
        call_.footer(kCallFooter);
        doctor_.footer(OptionLines(app, kDoctorOptions) + "\n" + kDoctorFooter);
        shim_.add_option("FACE", command.shim_face, "As \"orvelgw doctor\" advises it")
            ->required()
            ->check(CLI::IsMember({"narrow", "wide", "utf16"}));
        shim_.add_option("DRIVER", command.shim_driver, "The driver's file, or its name alone")
            ->required();
        shim_.add_option("FOLDER", command.shim_folder,
                         "Where to put it (default: beside the shims, or beside a driver in a "
                         "folder of its own)");
    }

    void Take(CommandLine& command, std::vector<Task>& tasks) const
    {
        command.call = call_.remaining();
        if (call_.parsed()) {
            tasks.push_back(lists_entries_ ? Task::kListEntries : Task::kCall);
        }
        if (doctor_.parsed()) {
            tasks.push_back(Task::kDoctor);
        }
        if (shim_.parsed()) {
            tasks.push_back(Task::kShim);
        }
    }

private:
    CLI::App& call_;
    CLI::App& doctor_;
    CLI::App& shim_;
    bool lists_entries_ = false;
};

// Where nothing else is asked for and nobody sits at the terminal, standard input is a script.
void TakeStandardInput(CommandLine& command, bool has_no_subcommand)
{
    const bool asks_nothing = has_no_subcommand && command.statements.empty() &&
                              command.import.table.empty() && command.export_table.empty() &&
                              NamesConnection(command.connection);
    if (asks_nothing && ::isatty(STDIN_FILENO) == 0) {
        command.statements.push_back({"-", true});
    }
}

// The one thing that the words ask for.
Task TaskOf(const CommandLine& command, std::vector<Task> tasks)
{
    if (!command.statements.empty()) {
        tasks.push_back(Task::kStatements);
    }
    if (!command.import.table.empty()) {
        tasks.push_back(Task::kImport);
    }
    if (!command.export_table.empty()) {
        tasks.push_back(Task::kExport);
    }
    if (tasks.size() != 1) {
        throw CLI::ValidationError(
            tasks.empty()
                ? "one of --command, --file, --import, --export, call, doctor and shim is required"
                : "statements, --import, --export, call, doctor and shim exclude each other");
    }
    return tasks.front();
}

// Refuses the options that a subcommand has no use for.
void CheckOptions(const CLI::App& app, std::span<const char* const> allowed, const char* refusal)
{
    for (const CLI::Option* option : app.parse_order()) {
        if (std::ranges::none_of(allowed,
                                 [=](const char* name) { return option->check_lname(name); })) {
            throw CLI::ValidationError(refusal);
        }
    }
}

// What no single option says of itself.
void CheckTogether(const CLI::App& app, const CommandLine& command)
{
    const auto& [string, string_file, asks_password, password_file] = command.connection;
    if (string && !string_file.empty()) {
        throw CLI::ValidationError("--data-source and --data-source-file exclude each other");
    }
    if (asks_password && !password_file.empty()) {
        throw CLI::ValidationError("--password and --password-file exclude each other");
    }
    const bool connects = command.task == Task::kStatements || command.task == Task::kImport ||
                          command.task == Task::kExport || command.task == Task::kDoctor;
    if (connects && !NamesConnection(command.connection)) {
        throw CLI::ValidationError("--data-source is required");
    }
    switch (command.task) {
        case Task::kCall:
            if (command.call.empty()) {
                throw CLI::ValidationError(
                    "call: the name of an entry is required; --list shows them");
            }
            break;
        case Task::kDoctor:
            CheckOptions(app, kDoctorOptions,
                         "doctor takes only the options of the connection and --library: it tries "
                         "every mode itself");
            break;
        case Task::kShim:
            CheckOptions(app, kShimOptions, "shim takes no option but --library");
            break;
        default:
            break;
    }
    CheckDataOptions(app, command);
    CheckScriptOptions(app, command);
    const bool needs_one = !command.markers.empty() || command.get_file;
    const bool has_one = command.statements.size() == 1 && !command.statements[0].is_file;
    if (needs_one && !has_one) {
        throw CLI::ValidationError("--parameter, --put and --get need a single --command");
    }
}

void CheckUtf8(const std::string& where, const std::string& text)
{
    if (const auto at = FirstInvalidByte(text)) {
        throw CLI::ValidationError(fmt::format("{}: byte {} (\\x{:02X}) is not UTF-8", where,
                                               *at + 1, static_cast<unsigned char>(text[*at])));
    }
}

// Text that reaches the data source or the terminal. The names of files are bytes.
void CheckEncoding(const CommandLine& command)
{
    for (std::size_t i = 0; i < command.statements.size(); ++i) {
        if (!command.statements[i].is_file) {
            CheckUtf8(fmt::format("--command {}", i + 1), command.statements[i].text);
        }
    }
    for (const auto& [name, value] : command.script.variables) {
        CheckUtf8(fmt::format("--set, the value of {}", name), value);
    }
    for (std::size_t i = 0; i < command.markers.size(); ++i) {
        if (!command.markers[i].is_file) {
            CheckUtf8(fmt::format("--parameter, the value of marker {}", i + 1),
                      command.markers[i].word);
        }
    }
    for (std::size_t i = 0; i < command.call.size(); ++i) {
        CheckUtf8(fmt::format("call, word {}", i + 1), command.call[i]);
    }
    CheckUtf8("--null", command.output.null_text.value_or(""));
    CheckUtf8("--import, the name of the table", command.import.table);
    CheckUtf8("--export", command.export_table);
    for (const std::string& name : command.import.columns) {
        CheckUtf8("--columns", name);
    }
}

std::string Refusal(const CLI::App* /*app*/, const CLI::Error& error)
{
    return "orvelgw: " + Printable(error.what()) + "\nRun with --help for more information.\n";
}

// The words in reverse order, as the parser takes them, an empty value (--null=) as a word of its
// own.
std::vector<std::string> Reversed(int count, const char* const* words)
{
    std::vector<std::string> reversed;
    bool are_options = true;
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        are_options = are_options && word != "call";
        const bool has_no_value = are_options && word.starts_with("--") && word.ends_with('=');
        reversed.push_back(has_no_value ? word.substr(0, word.size() - 1) : word);
        if (has_no_value) {
            reversed.emplace_back();
        }
    }
    std::ranges::reverse(reversed);
    return reversed;
}

void AddCompletion(CLI::App& app)
{
    app.add_flag_callback(
           "--completion",
           [&app] {
               std::cout << BashCompletion(app);
               throw CLI::Success();
           },
           "Print a completion script for bash")
        ->group("");
}

}  // namespace

Parsed ParseCommandLine(int count, const char* const* words)
{
    Parsed parsed;
    CommandLine& command = parsed.command;
    CLI::App app("Runs SQL on an ODBC data source through the Orvel SQL gateway.", "orvelgw");
    app.set_version_flag("--version", std::string("orvelgw ") + kVersion);
    AddConnectionOptions(app, command.connection);
    const OrderedOptions ordered(app);
    AddStatementOptions(app, command);
    AddScriptOptions(app, command);
    AddDataOptions(app, command);
    AddGatewayOptions(app, command);
    AddCompletion(app);
    const Subcommands subcommands(app, command);
    app.footer(kFooter);
    app.failure_message(&Refusal);
    try {
        app.parse(Reversed(count, words));
        TakeInputs(ordered.Inputs(), command);
        std::vector<Task> tasks;
        subcommands.Take(command, tasks);
        TakeStandardInput(command, tasks.empty());
        command.task = TaskOf(command, tasks);
        CheckTogether(app, command);
        CheckEncoding(command);
        parsed.has_task = true;
    } catch (const CLI::ParseError& error) {
        parsed.exit_code = app.exit(error, std::cout, std::cerr) == 0 ? kDone : kWrongUsage;
    }
    return parsed;
}
