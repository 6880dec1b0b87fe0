#include "shell/CommandLine.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "shell/version.h"

Parsed ParseCommandLine(int count, const char* const* words)
{
    Parsed parsed;
    CommandLine& command = parsed.command;
    CLI::App app("Runs SQL on an ODBC data source through the Orvel SQL gateway.", "orvelgw");
    app.set_version_flag("--version", std::string("orvelgw ") + kVersion);
    app.add_option("-d,--data-source", command.connection_string,
                   "Connection string, or the name of a data source")
        ->required()
        ->type_name("STRING");
    app.add_option("-c,--command", command.statements,
                   "SQL statement to run; several are run in order")
        ->required()
        ->allow_extra_args(false)
        ->type_name("SQL");
    app.add_flag("-u,--unicode", command.options.unicode,
                 "Unicode option: text as 2-byte characters");
    app.add_flag("-l,--legacy", command.options.legacy,
                 "Legacy option: ODBC 2, and row values as narrow text");
    app.add_flag("--trace", command.options.log, "Show the gateway's trace records on stderr");
    app.add_option("--null", command.null_text, "What a NULL looks like")
        ->type_name("TEXT")
        ->capture_default_str();
    app.add_option("--library", command.library,
                   "The gateway to load (default: liborvelgw.so beside this program)")
        ->type_name("FILE");
    app.footer(
        "Rows go to stdout, all else to stderr. Exit codes: 0; 1 SQL error; 2 wrong usage;\n"
        "3 the gateway can't be loaded; 4 the connection failed.\n");
    try {
        app.parse(count, words);
        parsed.carry_out = true;
    } catch (const CLI::ParseError& error) {
        parsed.exit_code = app.exit(error, std::cout, std::cerr) == 0 ? kDone : kWrongUsage;
    }
    return parsed;
}
