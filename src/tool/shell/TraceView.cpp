#include "tool/shell/TraceView.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "client/Gateway.h"
#include "client/HostList.h"
#include "drivers/ConnectionString.h"
#include "text/list_text.h"
#include "text/terminal_text.h"
#include "tool/commands/entry_inputs.h"

namespace {

constexpr std::string_view kBegin = " BEGIN";
constexpr std::string_view kEnd = " END";

// A code of failure in the last element of an END record, which most entries put there. The count
// of rows is -1 where a driver has none.
bool TellsFailure(const TraceRecord& record)
{
    try {
        const auto list = DecodeList(record.data);
        return !record.name.starts_with("RowCount") && !list.empty() && list.back().IsInteger() &&
               list.back().Integer() < 0;
    } catch (const ListError&) {
        return false;
    }
}

// The first argument of an entry, where it is a handle: "conn" or "stmt".
const char* KindOfHandle(std::string_view entry)
{
    const auto inputs = EntryInputs(entry);
    return inputs.starts_with("connection") && !inputs.starts_with("connection string") ? "conn"
           : inputs.starts_with("statement")                                            ? "stmt"
                                                                                        : "";
}

}  // namespace

TraceView::TraceView(const std::string& file)
{
    file_.reset(std::fopen(file.c_str(), "we"));
    if (file_ == nullptr) {
        throw std::system_error(errno, std::generic_category(), file);
    }
}

void TraceView::Watch()
{
    scope_.emplace([this](const TraceRecord& record) { Take(record); });
}

std::string TraceView::TextOf(const TraceRecord& record)
{
    const bool is_text = record.level == "1";  // of "Test"
    return WithoutSecrets(is_text ? Quoted(record.data) : ListText(record.data, &handles_));
}

void TraceView::Take(const TraceRecord& record)
{
    const auto now = Clock::now();
    const char* running = Gateway::CurrentEntry::Name();
    const std::string entry = running != nullptr ? running : "";
    const std::string_view name = record.name;
    if (name.ends_with(kEnd) && !open_.empty()) {
        auto [call, begun] = std::move(open_.back());
        open_.pop_back();
        if (call.entry == "AllocStatement") {
            handles_.NameFirst(record.data, "stmt");
        }
        call.outcome = TextOf(record);
        call.failed = TellsFailure(record);
        call.milliseconds = std::chrono::duration<double, std::milli>(now - begun).count();
        Show(call);
        if (call.entry == "DropStatement" || call.entry == "Disconnect") {
            handles_.Forget(call.handle);
        }
        return;
    }
    TracedCall call;
    call.entry = open_.empty() ? entry : std::string(name.substr(0, name.rfind(' ')));
    call.at = std::chrono::duration<double>(now - start_).count();
    const char* kind = KindOfHandle(call.entry);
    if (*kind != '\0') {
        call.handle = handles_.NameFirst(record.data, kind);
    }
    call.arguments = TextOf(record);
    if (name.ends_with(kBegin)) {
        open_.push_back({std::move(call), Clock::now()});
    } else {
        Show(call);  // a record of its own
    }
}

void TraceView::Show(const TracedCall& call) const
{
    const std::string line = file_ != nullptr ? JsonLine(call) : "trace: " + CallLine(call);
    std::FILE* out = file_ != nullptr ? file_.get() : stderr;
    std::fputs((line + "\n").c_str(), out);
    std::fflush(out);
}
