// The gateway's trace as pairs of records.
#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/HostServices.h"
#include "text/HandleNames.h"
#include "tool/commands/trace_file.h"

/// Makes a call of the records BEGIN and END of an entry, with the time between them, and shows it
/// as a line on standard error, or in a file as a line of JSON. Handles are named in the order in
/// which they are first seen: conn#1, stmt#2. Passwords are stars.
class TraceView {
public:
    TraceView() = default;
    /// Throws std::system_error where the file can't be written.
    explicit TraceView(const std::string& file);
    ~TraceView() = default;
    TraceView(const TraceView&) = delete;
    TraceView& operator=(const TraceView&) = delete;

    /// Records come here from now on.
    void Watch();

private:
    using Clock = std::chrono::steady_clock;

    struct Begun {
        TracedCall call;
        Clock::time_point at;
    };

    void Take(const TraceRecord& record);
    void Show(const TracedCall& call) const;
    std::string TextOf(const TraceRecord& record);

    Clock::time_point start_ = Clock::now();
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, &std::fclose};
    HandleNames handles_;
    std::vector<Begun> open_;  // the inner ones last
    std::optional<TraceScope> scope_;
};
