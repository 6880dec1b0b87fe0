#include "tool/output/Messages.h"

#include <fmt/format.h>

#include "text/terminal_text.h"

std::string Counted(std::uint64_t count, const char* noun)
{
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void Messages::Say(const std::string& line) const
{
    std::fputs((line + "\n").c_str(), stream_);
}

void Messages::Count(const std::string& line) const
{
    if (has_counts_) {
        Say(line);
    }
}

void Messages::Mention(const std::vector<ColumnNotice>& notices, const char* what) const
{
    for (const ColumnNotice& notice : notices) {
        Say(fmt::format("orvelgw: column {}: {} {}, first in row {}", Printable(notice.column),
                        Counted(notice.count, "value"), what, notice.first_row));
        for (const std::string& line : notice.diagnostics) {
            Say(Printable(line));
        }
    }
}

void Messages::Returned(const ResultSummary& summary)
{
    Mention(summary.truncated, "truncated, since the driver does not deliver the rest");
    Mention(summary.unreadable, "could not be read");
    Count(fmt::format("({})", Counted(summary.rows, "row")));
}

void Messages::Changed(std::int64_t rows)
{
    Count(fmt::format("({} changed)", Counted(static_cast<std::uint64_t>(rows), "row")));
}

void Messages::Done()
{
    Count("(done)");
}

void Messages::Warned(const std::vector<std::string>& diagnostics)
{
    for (const std::string& line : diagnostics) {
        Say(Printable(line));
    }
}
