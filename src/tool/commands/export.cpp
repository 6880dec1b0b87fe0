#include "tool/commands/export.h"

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "client/HostList.h"
#include "client/Statement.h"
#include "text/terminal_text.h"
#include "text/utf8.h"
#include "tool/output/Destination.h"
#include "tool/output/Messages.h"

namespace {

/// Passes rows on, and notes what Import will not take.
class Importable : public ResultSink {
public:
    explicit Importable(ResultSink& sink) : sink_(sink) {}

    void Begin(const std::vector<Column>& columns) override
    {
        columns_ = columns;
        sink_.Begin(columns);
    }

    void Take(Row row) override
    {
        ++rows_;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (!IsImportable(row[i]) && count_++ == 0) {
                first_ = fmt::format("column {} in row {}", Printable(columns_[i].name), rows_);
            }
        }
        sink_.Take(row);
    }

    void End() override { sink_.End(); }

    /// What there is to say of them; empty: nothing.
    std::string Notice() const
    {
        return count_ == 0
                   ? ""
                   : fmt::format("orvelgw: {} too long for --import, or not UTF-8, first in {}",
                                 Counted(count_, "value"), first_);
    }

private:
    static bool IsImportable(const Cell& cell)
    {
        const bool is_text = cell.kind == Cell::kText;
        return cell.value.size() <= kLongestElement &&
               !(is_text &&
                 (cell.value.find('\0') != std::string_view::npos || FirstInvalidByte(cell.value)));
    }

    ResultSink& sink_;
    std::vector<Column> columns_;
    std::uint64_t rows_ = 0;
    std::uint64_t count_ = 0;
    std::string first_;
};

}  // namespace

ExitCode Export(const CommandLine& command, const Session& session)
{
    Messages messages(stderr);
    Destination destination(command.output_file);
    OutputSettings settings = command.output;
    settings.format = Format::kCsv;
    const auto sink = MakeSink(settings, destination.Stream());
    Statement statement(session, "SELECT * FROM " + command.export_table, messages);
    Importable importable(*sink);
    const Outcome outcome = statement.Run(importable);
    if (outcome.has_unreadable_values || outcome.has_truncated_values) {
        throw SqlError("not every value could be read whole, and so not the table");
    }
    destination.Keep();
    if (const std::string notice = importable.Notice(); !notice.empty()) {
        messages.Say(notice);
    }
    return kDone;
}
