// orvelgw call: entries of the callout table, called as they are typed.
#pragma once

#include "client/Gateway.h"
#include "tool/CommandLine.h"
#include "tool/ExitCode.h"

/// Calls entries by their external names and shows what comes back: code and output on stdout, the
/// error state, the diagnostics and the trace on stderr. Without a connection string only
/// entries that need no connection can be called, or those that make one, which is @connection from
/// then on. That data is wanted or that none is left is no failure. Throws UsageError before
/// anything runs.
ExitCode CallEntries(const CommandLine& command, const Gateway& gateway);

/// Lists the entries: the name, the signature, and what the inputs are.
ExitCode ListEntries(const Gateway& gateway);
