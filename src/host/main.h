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
/// is a list of length bytes, flags are not used. Callers check the log option. Returns 0.
int PutLog(const char* name, const char* data, int length, int flags);

/// Like PutLog, at a level that the caller chooses.
void WriteHostLog(const char* level, const char* name, const char* data, int length);

/// Returns an input long string to the host.
void ReleaseHostString(ORVEL_EXSTR* string);

/// Returns an input long string to the host when the entry ends, however it does.
class LongStringReturn {
public:
    explicit LongStringReturn(ORVEL_EXSTR* string) : string_(string) {}
    ~LongStringReturn() { ReleaseHostString(string_); }
    LongStringReturn(const LongStringReturn&) = delete;
    LongStringReturn& operator=(const LongStringReturn&) = delete;

private:
    ORVEL_EXSTR* string_;
};

/// Asks the host for length bytes of storage for the text of an output long string; null if it has
/// none.
char* AllocHostText(std::uint16_t length);
