#include "tool/commands/export.h"

#include "client/Statement.h"
#include "tool/output/Destination.h"
#include "tool/output/Messages.h"

ExitCode Export(const CommandLine& command, const Session& session)
{
    Messages messages(stderr);
    Destination destination(command.output_file);
    OutputSettings settings = command.output;
    settings.format = Format::kCsv;
    const auto sink = MakeSink(settings, destination.Stream());
    Statement statement(session, "SELECT * FROM " + command.export_table, messages);
    const Outcome outcome = statement.Run(*sink);
    if (outcome.has_unreadable_values || outcome.has_truncated_values) {
        throw SqlError("not every value could be read whole, and so not the table");
    }
    destination.Keep();
    return kDone;
}
