// The words of "call", as calls that can be made.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/Gateway.h"

/// An input as it goes out, or the handle that stands for it once there is one.
struct CallInput {
    enum Handle { kNone, kConnection, kStatement };

    Argument value;
    Handle handle = kNone;
};

/// A call as it was typed, with all that can be known before it is made.
struct EntryCall {
    const ORVEL_ZFE& entry;
    std::vector<CallInput> inputs;

    bool Names(CallInput::Handle handle) const;
};

/// The words of a call are the entry's name and its inputs, in the order of its signature:
///   i   a whole number of 32 bits, decimal or hexadecimal (0x..)
///   c   text, or NULL for no text at all
///   b   text; [..], a list; 0x.., bytes; @connection or @statement, a handle; NULL, nothing
///   j   as b
///   s   text, passed as 2-byte characters
/// A backslash in front makes what follows it text. "then" begins another call. Throws UsageError
/// for whatever can't be called.
std::vector<EntryCall> CallsOf(const std::vector<std::string>& words, const Gateway& gateway,
                               bool has_connection);

/// Whether an entry makes a connection.
bool MakesConnection(std::string_view entry);
