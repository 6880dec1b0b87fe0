// What all entries share: the process's one environment and error record, and the way into the
// host.
#pragma once

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
