#include "tool/data_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <initializer_list>

namespace {

using Task = CommandLine::Task;

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

std::string FormatNames()
{
    std::string names;
    for (const auto& [name, format] : kFormats) {
        names.append(names.empty() ? "" : "|").append(name);
    }
    return names;
}

Format FormatOf(const std::string& word)
{
    const auto format = FormatNamed(word);
    if (!format) {
        throw CLI::ValidationError("--format", word + " is none of " + FormatNames());
    }
    return *format;
}

void AddFormatOptions(CLI::App& app, CommandLine& command)
{
    OutputSettings& output = command.output;
    app.add_option_function<std::string>(
           "--format", [&output](const std::string& word) { output.format = FormatOf(word); },
           "How results look (default: table)")
        ->type_name(FormatNames());
    const auto add_short = [&](const char* names, Format format) {
        app.add_flag_callback(
               names, [&output, format] { output.format = format; },
               fmt::format("The same as --format {}", NameOf(format)))
            ->disable_flag_override();
    };
    add_short("--csv", Format::kCsv);
    add_short("--json", Format::kJson);
    add_short("-x,--vertical", Format::kVertical);
    app.add_option("-o,--output", command.output_file,
                   "Write results, or the rows of --export, to a file, whole or not at all")
        ->type_name("FILE");
    app.add_option_function<std::string>(
           "--null",
           [&command](const std::string& text) {
               command.output.null_text = text;
               command.import.null_text = text;
           },
           "What NULL looks like; a field of --import that is NULL, beside an empty one")
        ->type_name("TEXT");
    app.add_option_function<std::string>(
           "--delimiter",
           [&command](const std::string& word) {
               command.output.delimiter = command.import.delimiter = DelimiterOf(word);
           },
           "What separates the fields of CSV: one ASCII character, or \\t (default: ,)")
        ->type_name("CHARACTER");
}

void AddImportOptions(CLI::App& app, CommandLine& command)
{
    ImportOptions& import = command.import;
    app.add_option_function<std::vector<std::string>>(
           "--import",
           [&import](const std::vector<std::string>& words) {
               import.file = words[0];
               import.table = words[1];
           },
           "Insert the records of a CSV file (- is standard input) into a table; the first one "
           "names the columns")
        ->expected(2)
        ->type_name("FILE TABLE");
    app.add_flag_callback(
           "--no-header", [&import] { import.has_header = false; },
           "The first record of --import is a row; the fields are for the columns of the table in "
           "their order, or those of --columns")
        ->disable_flag_override();
    app.add_option_function<std::string>(
           "--columns",
           [&import](const std::string& word) { import.columns = CLI::detail::split(word, ','); },
           "The columns that the fields of --import are for, whatever the header says")
        ->type_name("NAME,...");
    app.add_flag("--create", import.creates,
                 "Create the table of --import, its types guessed from all records")
        ->disable_flag_override();
    app.add_option("--batch", import.batch,
                   "Rows of --import that are a transaction (default: all)")
        ->check([](const std::string& word) {
            const bool is_number = word.find_first_not_of("0123456789") == std::string::npos &&
                                   word.find_first_not_of('0') != std::string::npos;
            return is_number ? "" : "a number of rows is needed";
        })
        ->type_name("NUMBER");
    app.add_option("--export", command.export_table,
                   "Write the rows of a table as CSV that --import reads back")
        ->type_name("TABLE");
}

std::string Given(const CLI::App& app, std::initializer_list<const char*> names)
{
    const auto* const given =
        std::ranges::find_if(names, [&](const char* name) { return app.count(name) > 0; });
    return given != names.end() ? *given : "";
}

void Refuse(const std::string& given, const char* why)
{
    if (!given.empty()) {
        throw CLI::ValidationError(given + " " + why);
    }
}

}  // namespace

void AddDataOptions(CLI::App& app, CommandLine& command)
{
    AddFormatOptions(app, command);
    AddImportOptions(app, command);
}

void CheckDataOptions(const CLI::App& app, const CommandLine& command)
{
    const bool imports = command.task == Task::kImport;
    const bool exports = command.task == Task::kExport;
    const auto formats = {"--format", "--csv", "--json", "--vertical"};
    if (std::ranges::count_if(formats, [&](const char* name) { return app.count(name) > 0; }) > 1) {
        throw CLI::ValidationError("--format, --csv, --json and --vertical exclude each other");
    }
    const std::string marks = {command.output.delimiter, '"', '\r', '\n'};
    if (command.output.format == Format::kCsv &&
        command.output.null_text.value_or("").find_first_of(marks) != std::string::npos) {
        Refuse("--null", "can't hold a delimiter, quote or end of line in CSV");
    }
    if (imports || exports) {
        Refuse(Given(app, formats), "is for statements; --import and --export are of CSV");
    }
    if (exports) {
        Refuse(Given(app, {"--null"}), "is not for --export, whose NULL is an empty field");
    }
    if (imports || command.get_file) {
        Refuse(Given(app, {"--output"}), "is for results and --export");
    }
    if (!imports) {
        Refuse(Given(app, {"--no-header", "--columns", "--create", "--batch"}), "is for --import");
    }
    if (!imports && !exports && command.output.format != Format::kCsv) {
        Refuse(Given(app, {"--delimiter"}), "is for --import, --export and --csv");
    }
    if (command.import.creates && command.import.file == "-") {
        Refuse("--create", "reads the file twice, which standard input can't be");
    }
    if (command.import.creates && !command.import.has_header && command.import.columns.empty()) {
        Refuse("--create", "needs the names of columns: --columns, or a header");
    }
}
