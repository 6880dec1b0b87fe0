// The call frame that every entry runs in.
//
// An entry resets the error record, traces BEGIN with its arguments, finds the object of its
// handle, does its work inside a guard that lets nothing escape, reports the code, and traces END.
// RunEntry is that frame. An entry supplies only what is its own: an Entry, the arguments it
// traces, its work, and, if its END record holds more than a code, that record. Entries that do
// this in another order are built from the same pieces: RunWithoutBegin, Guarded, Report, Traced,
// Trace, HandleOf.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstring>
#include <string>

#include "encoding/ZString.h"
#include "host/main.h"
#include "odbc/Connection.h"
#include "odbc/HostGuard.h"
#include "odbc/Statement.h"
#include "odbc/result.h"

namespace frame {

// Append adds an argument to a trace record, as its type is shown there.

/// The first bytes of an argument, for a record that holds fewer than the argument's length.
struct LeadingBytes {
    const zarray* argument;
    unsigned long count;
};

inline void Append(ZString& record, const char* text)
{
    record.AppendNTString(text != nullptr ? text : "");
}
inline void Append(ZString& record, int value)
{
    record.AppendLong(value);
}
inline void Append(ZString& record, LeadingBytes bytes)
{
    record.AppendString(reinterpret_cast<const char*>(bytes.argument->bytes), bytes.count);
}
inline void Append(ZString& record, const zarray* bytes)
{
    Append(record, LeadingBytes{bytes, bytes->length});
}
inline void Append(ZString& record, const zustring* text)
{
    record.AppendCUString(text->characters, text->length);
}
inline void Append(ZString& record, const ORVEL_EXSTR* text)
{
    record.AppendString(text->text, text->text != nullptr ? text->length : 0);
}

/// Elements appended by a callable: append(record).
template <std::invocable<ZString&> Fill>
void Append(ZString& record, Fill append)
{
    append(record);
}

/// The arguments of an entry, in the order in which its BEGIN record shows them.
template <class... Arguments>
auto Traced(Arguments... arguments)
{
    return [=](ZString& record) { (Append(record, arguments), ...); };
}

/// The name of a trace record: a function's name followed by BEGIN or END, or another text alone.
struct Label {
    const char* text;
    const char* phase = "";
};

inline Label Begin(const char* function)
{
    return {function, " BEGIN"};
}
inline Label End(const char* function)
{
    return {function, " END"};
}

/// Writes a record, whatever the log option.
template <class... Arguments>
void TraceAlways(Label label, const Arguments&... arguments)
{
    ZString record;
    (Append(record, arguments), ...);
    const std::string name = std::string(label.text) + label.phase;
    PutLog(name.c_str(), record.data(), static_cast<int>(record.size()), 0);
}

/// Writes a record if tracing is on. An argument is an element, or appends elements of its own.
template <class... Arguments>
void Trace(Label label, const Arguments&... arguments)
{
    if (env.log_option != 0) {
        TraceAlways(label, arguments...);
    }
}

/// How many bytes of a handle argument make up the handle: 8 whatever its length word says, or as
/// many as that says (at most 8; the rest of the handle is zero).
enum class HandleBytes { kEight, kCounted };

inline SQLHANDLE HandleOf(const zarray* argument, HandleBytes bytes = HandleBytes::kEight)
{
    SQLHANDLE handle = nullptr;
    const std::size_t size = bytes == HandleBytes::kEight
                                 ? sizeof handle
                                 : std::min<std::size_t>(argument->length, sizeof handle);
    std::memcpy(&handle, argument->bytes, size);
    return handle;
}

/// Writes a handle to an output; the length word says 8 even for a null handle.
inline void StoreHandle(zarray* output, SQLHANDLE handle)
{
    std::memcpy(output->bytes, &handle, sizeof handle);
    output->length = sizeof handle;
}

/// Whether work may wait for a driver. Work that never waits may still create a guard of its own.
enum class Waits { kForDriver, kNever };

/// Runs work. An exception ends here: it sets the exception flag, and the result is false.
template <class Work>
bool Guarded(Work work, Waits waits = Waits::kForDriver)
{
    using enum HostGuard::Cancellation;
    const bool never_waits = waits == Waits::kNever && env.log_option == 0;
    const HostGuard guard(never_waits ? kAsItIs : kOff);
    try {
        work();
        return true;
    } catch (...) {
        err.exception = 1;
        return false;
    }
}

/// Where the code of the work goes: into the result argument, into the error record for
/// "GetLastSQLCode", or only into the error flag.
enum class Code { kToResult, kToRecord, kUnreported };

/// What SQL_NO_DATA means to an entry.
enum class NoData { kIsError, kIsSuccess, kSetsFlag };

/// An entry's properties; the defaults are those of most entries.
struct Entry {
    const char* name = "";           // of the function: trace records are labelled with it
    const zarray* handle = nullptr;  // the handle argument
    int* result = nullptr;           // the result argument
    Code code = Code::kToResult;
    HandleBytes handle_bytes = HandleBytes::kEight;
    NoData no_data = NoData::kIsError;
    Waits waits = Waits::kForDriver;
    bool failure_end_guarded = code != Code::kToResult;  // the END record of a failing code
    const char* begin_label = name;                      // its name in the BEGIN record
    const char* unknown_handle_label = name;  // in the END record of an unknown handle; null: none
};

/// The outcome of an entry's work: a code, and a text if the END record of a failure holds that
/// instead of the code.
struct Outcome {
    Outcome(SQLRETURN return_code) : code(return_code) {}
    Outcome(SQLRETURN return_code, const char* text) : code(return_code), end_text(text) {}

    static Outcome UnknownHandle()
    {
        Outcome outcome(kUnknownHandle);
        outcome.unknown_handle = true;
        return outcome;
    }

    SQLRETURN code;
    const char* end_text = nullptr;
    bool unknown_handle = false;
};

/// Sets the flag for a code that is not success, and returns as Report does.
inline bool ReportFailure(const Entry& entry, const Outcome& outcome)
{
    if (outcome.code == SQL_NO_DATA && entry.no_data != NoData::kIsError) {
        err.no_data = entry.no_data == NoData::kSetsFlag ? 1 : 0;
        return true;
    }
    err.error = 1;
    if (outcome.unknown_handle) {
        if (entry.unknown_handle_label != nullptr) {
            Trace(End(entry.unknown_handle_label), static_cast<int>(outcome.code));
        }
        return false;
    }
    if (outcome.end_text != nullptr) {
        Trace(End(entry.name), outcome.end_text);
        return false;
    }
    if (entry.failure_end_guarded) {
        Trace(End(entry.name), static_cast<int>(outcome.code));
        return false;
    }
    return true;
}

/// Reports an outcome. Returns false if it has already written an END record, inside the guard:
/// that of an unknown handle, and that of a failure if the entry asks for it.
inline bool Report(const Entry& entry, const Outcome& outcome)
{
    if (entry.code == Code::kToResult) {
        *entry.result = outcome.code;
    } else if (entry.code == Code::kToRecord && !outcome.unknown_handle) {
        err.last_sql_code = outcome.code;
    }
    return Succeeded(outcome.code) || ReportFailure(entry, outcome);
}

/// The frame without a BEGIN record. work() does what the entry is for and returns its Outcome;
/// end_record(record) fills the END record of a success, and of a call whose work was cut short by
/// an exception. Only that record is written outside the guard.
template <class Work, class EndRecord>
int RunWithoutBegin(const Entry& entry, Work work, EndRecord end_record)
{
    bool ended = false;
    err.Reset();
    Guarded([&] { ended = !Report(entry, work()); }, entry.waits);
    if (!ended) {
        Trace(End(entry.name), end_record);
    }
    return 0;
}

/// The frame.
template <class Arguments, class Work, class EndRecord>
int RunEntry(const Entry& entry, const Arguments& arguments, Work work, EndRecord end_record)
{
    return RunWithoutBegin(
        entry,
        [&]() -> Outcome {
            Trace(Begin(entry.begin_label), arguments);
            return work();
        },
        end_record);
}

/// The END record of an entry that reports nothing in it.
inline void NothingAtEnd(ZString& /*record*/)
{}

/// The frame's usual END record, for success and failure: the current result argument, or nothing
/// if there is none.
inline auto UsualEnd(const Entry& entry)
{
    return [result = entry.code == Code::kToResult ? entry.result : nullptr](ZString& record) {
        if (result != nullptr) {
            record.AppendLong(*result);
        }
    };
}

template <class Find, class Arguments, class Work, class EndRecord>
int OnFound(Find find, const Entry& entry, const Arguments& arguments, Work work,
            EndRecord end_record)
{
    return RunEntry(
        entry, arguments,
        [&]() -> Outcome {
            auto* found = find(HandleOf(entry.handle, entry.handle_bytes));
            return found != nullptr ? Outcome(work(*found)) : Outcome::UnknownHandle();
        },
        end_record);
}

/// The frame around work on a registered statement: work(CStatement&).
template <class Arguments, class Work, class EndRecord>
int OnStatement(const Entry& entry, const Arguments& arguments, Work work, EndRecord end_record)
{
    return OnFound([](SQLHANDLE handle) { return env.GetStatementPointer(handle); }, entry,
                   arguments, work, end_record);
}

template <class Arguments, class Work>
int OnStatement(const Entry& entry, const Arguments& arguments, Work work)
{
    return OnStatement(entry, arguments, work, UsualEnd(entry));
}

/// The frame around work on a registered connection: work(CConnection&).
template <class Arguments, class Work, class EndRecord>
int OnConnection(const Entry& entry, const Arguments& arguments, Work work, EndRecord end_record)
{
    return OnFound([](SQLHANDLE handle) { return env.GetConnectionPointer(handle); }, entry,
                   arguments, work, end_record);
}

}  // namespace frame
