// What all entries share: the process's one environment and error record, and the way into the
// host.
#pragma once

#include <cstdint>

#include "odbc/Environment.h"
#include "odbc/Error.h"
#include "orvelgw.h"

extern CEnvironment env;
extern CError err;

/// 1 until a connection entry or "DataSources" has created the ODBC environment.
extern int first_time_thru;

/// The host's callback structure (not used) and its function table; GetZFTable stores both.
extern const void* orvelcallbackp;
extern const orvel_function* orvelfunctabp;

/// Writes one trace record, level "2", through the host's logging routine: name is terminated, data
/// is a list of length bytes, flags are not used. Looks at no switch: its callers do. Returns 0.
int PutLog(const char* name, const char* data, int length, int flags);

/// As PutLog, at a level of the caller's choice.
void WriteHostLog(const char* level, const char* name, const char* data, int length);

/// Hands an input long string back to the host.
void ReleaseHostString(ORVEL_EXSTR* string);

/// Hands an input long string back to the host when the entry ends, whichever way it does.
class LongStringReturn {
public:
    explicit LongStringReturn(ORVEL_EXSTR* string) : string_(string) {}
    ~LongStringReturn() { ReleaseHostString(string_); }
    LongStringReturn(const LongStringReturn&) = delete;
    LongStringReturn& operator=(const LongStringReturn&) = delete;

private:
    ORVEL_EXSTR* string_;
};

/// Asks the host for storage of so many bytes for the text of an output long string; null where it
/// has none.
char* AllocHostText(std::uint16_t length);
