// What a host offers the gateway: the five operations of the host function table.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "client/CallHost.h"
#include "orvelgw.h"

/// One record of the gateway's trace, from its five strings.
struct TraceRecord {
    std::string level;   // "2", or "1" for "Test"
    std::string source;  // "Gateway"
    std::string name;    // "Execute BEGIN"
    std::string data;    // the bytes of a host list
};

/// The host function table of this process. The slots take no context, so there is one.
class HostServices {
public:
    static HostServices& Instance();
    ~HostServices() = default;
    HostServices(const HostServices&) = delete;
    HostServices& operator=(const HostServices&) = delete;

    /// The table for GetZFTable; lives as long as the process.
    static const orvel_function* Table();

    /// Called with every trace record, inside the entry that writes it. May throw.
    std::function<void(const TraceRecord&)> on_record;

    /// How calls are made, and where long strings are stored.
    CallHost* call_host = &heap_;

    /// Creates a long string, to be released by ReleaseLongString.
    ORVEL_EXSTR NewLongString(const std::string& text);

    /// Long strings created and not yet released: 0 between calls.
    int LongStringsOut() const { return long_strings_out_; }

private:
    HostServices() = default;

    static int32_t PushString(int32_t length, const char* text);
    static int32_t RoutineRef(int32_t* call, int32_t label_length, const char* label,
                              int32_t routine_length, const char* routine);
    static int32_t CallRoutine(int32_t call, int32_t argument_count);
    static void ReleaseLongString(ORVEL_EXSTR* string);
    static char* AllocLongString(void* scratch, uint16_t length);

    CallHost heap_;
    std::vector<std::string> arguments_;
    int long_strings_out_ = 0;
};

/// While it exists, sends trace records to its own sink; afterwards they go where they went before.
/// An empty sink drops them.
class TraceScope {
public:
    using Sink = std::function<void(const TraceRecord&)>;

    explicit TraceScope(Sink sink)
        : previous_(std::exchange(HostServices::Instance().on_record, std::move(sink)))
    {}
    ~TraceScope() { HostServices::Instance().on_record = std::move(previous_); }
    TraceScope(const TraceScope&) = delete;
    TraceScope& operator=(const TraceScope&) = delete;

private:
    Sink previous_;
};
