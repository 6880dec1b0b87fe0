#include "tool/CommandLine.h"

#include <fmt/format.h>

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

char DelimiterOf(const std::string& word)
{
    const std::string text = word == "\\t" ? "\t" : word;
    constexpr std::string_view kUnusable("\"\r\n\0", 4);
    if (text.size() != 1 || static_cast<unsigned char>(text[0]) >= 0x80 ||
        kUnusable.find(text[0]) != std::string_view::npos) {
        throw CLI::ValidationError("--delimiter", "one ASCII character is needed, or \\t");
    }
    return text[0];
}

void AddStatementOptions(CLI::App& app, CommandLine& command)
{
    app.add_option("--get", command.get_file,
                   "Write the first value of the statement's result to a file, whatever its length")
        ->type_name("FILE");
    app.add_option("--null", command.null_text, "What NULL looks like")
        ->type_name("TEXT")
        ->capture_default_str();
    app.add_option_function<std::vector<std::string>>(
           "--import",
           [&command](const std::vector<std::string>& words) {
               command.import.file = words[0];
               command.import.table = words[1];
           },
           "Insert the records of a CSV file (- is standard input) into a table; the first one "
           "names the columns")
        ->expected(2)
        ->type_name("FILE TABLE");
    app.add_option_function<std::string>(
           "--delimiter",
           [&command](const std::string& word) { command.import.delimiter = DelimiterOf(word); },
           "What separates the fields of --import: one ASCII character, or \\t (default: ,)")
        ->type_name("CHARACTER");
}

/// Options that may come several times and mean something together: what they were given, in the
/// order of the words.
class OrderedOptions {
public:
    enum Kind { kStatement, kValue, kFile };
    struct Input {
        Kind kind;
        std::string text;
    };

    explicit OrderedOptions(CLI::App& app) : app_(app)
    {
        Add(kStatement, "-c,--command", "SQL", "SQL statement to run; several run in order");
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
        if (kind == OrderedOptions::kStatement) {
            command.statements.push_back(text);
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

// The one thing that the words ask for.
Task TaskOf(const CommandLine& command, std::vector<Task> tasks)
{
    if (!command.statements.empty()) {
        tasks.push_back(Task::kStatements);
    }
    if (!command.import.table.empty()) {
        tasks.push_back(Task::kImport);
    }
    if (tasks.size() != 1) {
        throw CLI::ValidationError(
            tasks.empty() ? "one of --command, --import, call, doctor and shim is required"
                          : "--command, --import, call, doctor and shim exclude each other");
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
                          command.task == Task::kDoctor;
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
    if (app.count("--delimiter") > 0 && command.task != Task::kImport) {
        throw CLI::ValidationError("--delimiter is for --import");
    }
    const bool needs_one = !command.markers.empty() || command.get_file;
    if (needs_one && command.statements.size() != 1) {
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
        CheckUtf8(fmt::format("--command {}", i + 1), command.statements[i]);
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
    CheckUtf8("--null", command.null_text);
    if (!command.import.table.empty()) {
        CheckUtf8("--import, the name of the table", command.import.table);
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
        command.task = TaskOf(command, tasks);
        CheckTogether(app, command);
        CheckEncoding(command);
        parsed.has_task = true;
    } catch (const CLI::ParseError& error) {
        parsed.exit_code = app.exit(error, std::cout, std::cerr) == 0 ? kDone : kWrongUsage;
    }
    return parsed;
}
