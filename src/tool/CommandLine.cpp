#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "client/version.h"
#include "text/terminal_text.h"

namespace {

void AddStatementOptions(CLI::App& app, CommandLine& command)
{
    app.add_option("-c,--command", command.statements,
                   "SQL statement to run; several are run in order")
        ->allow_extra_args(false)
        ->type_name("SQL");
    app.add_option("--get", command.get_file,
                   "Write the first value of the statement's result into a file, of any length")
        ->type_name("FILE");
    app.add_option("--null", command.null_text, "What a NULL looks like")
        ->type_name("TEXT")
        ->capture_default_str();
}

// -p and --put give the markers their values together, in the order of their words.
class MarkerOptions {
public:
    explicit MarkerOptions(CLI::App& app)
        : app_(app),
          value_(app.add_option("-p,--parameter", values_,
                                "Value of the statement's next marker: a number, NULL or text "
                                "(\\NULL and \\5 are text)")
                     ->allow_extra_args(false)
                     ->type_name("VALUE")),
          file_(app.add_option("--put", files_, "The bytes of a file are the next marker's value")
                    ->allow_extra_args(false)
                    ->type_name("FILE"))
    {}

    std::vector<Marker> Markers() const
    {
        std::vector<Marker> markers;
        auto value = values_.begin();
        auto file = files_.begin();
        for (const CLI::Option* option : app_.parse_order()) {
            if (option == value_) {
                markers.push_back({*value++, false});
            } else if (option == file_) {
                markers.push_back({*file++, true});
            }
        }
        return markers;
    }

private:
    CLI::App& app_;
    std::vector<std::string> values_;
    std::vector<std::string> files_;
    CLI::Option* value_;
    CLI::Option* file_;
};

// Refuses the options that a subcommand has no use for.
void CheckOptions(const CLI::App& app, const std::vector<const char*>& allowed, const char* refusal)
{
    for (const CLI::Option* option : app.parse_order()) {
        if (std::ranges::none_of(allowed,
                                 [=](const char* name) { return option->check_lname(name); })) {
            throw CLI::ValidationError(refusal);
        }
    }
}

// What no single option says of itself.
void CheckTogether(const CLI::App& app, const CommandLine& command, bool calls)
{
    const int wanted = (command.statements.empty() ? 0 : 1) + (command.import.empty() ? 0 : 1) +
                       (calls ? 1 : 0) + (command.diagnose ? 1 : 0) +
                       (command.shim_face.empty() ? 0 : 1);
    if (wanted != 1) {
        throw CLI::ValidationError(
            wanted == 0 ? "one of --command, --import, call, doctor and shim is required"
                        : "--command, --import, call, doctor and shim exclude each other");
    }
    if (!command.shim_face.empty()) {
        CheckOptions(app, {"library"}, "shim takes no option but --library");
        return;
    }
    if (!command.connection_string && !calls) {
        throw CLI::ValidationError("--data-source is required");
    }
    if (calls && command.call.empty()) {
        throw CLI::ValidationError("call: the name of an entry is required");
    }
    if (command.diagnose) {
        CheckOptions(
            app, {"data-source", "library"},
            "doctor takes --data-source and --library alone: it tries every mode by itself");
    }
    const bool needs_one = !command.markers.empty() || command.get_file;
    if (needs_one && command.statements.size() != 1) {
        throw CLI::ValidationError("--parameter, --put and --get are for a single --command");
    }
}

constexpr char kFooter[] =
    "Rows, results of calls, the doctor's report and the words of shim go to stdout, all else to\n"
    "stderr. Exit codes:\n"
    "0; 1 SQL error, a file that can't be read or written, a call that failed, or text that is\n"
    "right in no mode; 2 wrong usage; 3 the gateway can't be loaded; 4 the connection failed.\n";

constexpr char kCallHelp[] =
    "Call entries of the gateway: NAME INPUT..., several parted by \"then\". An input is a\n"
    "number, text, NULL, a list [5, 'text', u'text', NULL], bytes 0x0304, or the handle\n"
    "@connection or @statement.";

constexpr char kDoctorHelp[] =
    "Say what there is between here and the data source (-d): library, driver manager, driver\n"
    "and its kind, connection, what comes back of NULL, text and long text in each mode; where\n"
    "the connection fails, why.";

constexpr char kDoctorFooter[] =
    "  -d,--data-source STRING     Connection string, or the name of a data source\n"
    "  --library FILE              The gateway to load";

constexpr char kShimHelp[] =
    "Make a shim for a driver that the driver manager misuses: FACE is narrow, wide or utf16, as\n"
    "doctor advises it; DRIVER the driver's file. Prints the DRIVER= for a connection string.";

std::string Refusal(const CLI::App* /*app*/, const CLI::Error& error)
{
    return Printable(error.what()) + "\nRun with --help for more information.\n";
}

// The words in reverse order, as the parser takes them, a value of none (--null=) as one of its
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

}  // namespace

Parsed ParseCommandLine(int count, const char* const* words)
{
    Parsed parsed;
    CommandLine& command = parsed.command;
    CLI::App app("Runs SQL on an ODBC data source through the Orvel SQL gateway.", "orvelgw");
    app.set_version_flag("--version", std::string("orvelgw ") + kVersion);
    app.add_option("-d,--data-source", command.connection_string,
                   "Connection string, or the name of a data source")
        ->type_name("STRING");
    AddStatementOptions(app, command);
    const MarkerOptions markers(app);
    app.add_option("--import", command.import,
                   "Insert the records of a CSV file into a table; the first names the columns")
        ->expected(2)
        ->type_name("FILE TABLE");
    app.add_flag("-u,--unicode", command.options.unicode,
                 "Unicode option: text as 2-byte characters");
    app.add_flag("-l,--legacy", command.options.legacy,
                 "Legacy option: ODBC 2, and row values as narrow text");
    app.add_flag("--trace", command.options.log, "Show the gateway's trace records on stderr");
    app.add_option("--library", command.library,
                   "The gateway to load (default: liborvelgw.so beside this program)")
        ->type_name("FILE");
    CLI::App* call = app.add_subcommand("call", kCallHelp);
    call->prefix_command();
    call->add_flag("--hex", command.is_hex, "Show outputs as bytes, too");
    CLI::App* doctor = app.add_subcommand("doctor", kDoctorHelp)->fallthrough();
    doctor->footer(kDoctorFooter);
    CLI::App* shim = app.add_subcommand("shim", kShimHelp)->fallthrough();
    shim->add_option("FACE", command.shim_face, "narrow, wide or utf16")
        ->required()
        ->check(CLI::IsMember({"narrow", "wide", "utf16"}));
    shim->add_option("DRIVER", command.shim_driver, "The driver's file, or its name alone")
        ->required();
    shim->add_option("FOLDER", command.shim_folder,
                     "Where to put it (default: beside the gateway, or beside a driver in a folder "
                     "of its own)");
    app.footer(kFooter);
    app.failure_message(&Refusal);
    try {
        app.parse(Reversed(count, words));
        command.markers = markers.Markers();
        command.call = call->remaining();
        command.diagnose = doctor->parsed();
        CheckTogether(app, command, call->parsed());
        parsed.carry_out = true;
    } catch (const CLI::ParseError& error) {
        parsed.exit_code = app.exit(error, std::cout, std::cerr) == 0 ? kDone : kWrongUsage;
    }
    return parsed;
}
