// Entries of the callout table, called as a person words it.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "client/Session.h"

/// Calls entries by their external names and shows what comes back: code and output as data, the
/// error state and the trace as messages.
///
/// The words of a call are the entry's name and its inputs, in the order of its signature:
///   i   a whole number of 32 bits, decimal or hexadecimal (0x..)
///   c   text, or NULL for no text at all
///   b   text; [..], a list; 0x.., bytes; @connection or @statement, a handle; NULL, nothing
///   j   as b
///   s   text, passed as 2-byte characters
/// A backslash in front makes what follows it text. "then" begins another call.
class Caller {
public:
    /// session may be null: then only entries that need no connection can be called, or those that
    /// make one, which is @connection from then on. is_hex shows outputs as bytes, too.
    Caller(const Gateway& gateway, const Session* session, bool is_hex, std::FILE* data,
           std::FILE* messages);
    ~Caller();
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    /// Returns whether no call failed; that data is wanted or that none is left is no failure.
    /// Throws UsageError before the first call.
    bool Run(const std::vector<std::string>& words);

private:
    struct Call;

    std::vector<Call> Worded(const std::vector<std::string>& words) const;
    const std::string& Handle(const std::string& name);
    void FollowHandles(const ORVEL_ZFE& entry, const Reply& reply);
    bool Carry(const Call& call, bool reads_errors);
    void ShowOutput(const ORVEL_ZFE& entry, const Reply& reply) const;
    bool ShowErrors(const Call& call, const Reply& reply, bool reads_errors) const;

    const Gateway& gateway_;
    bool is_hex_;
    std::FILE* data_;
    std::FILE* messages_;
    std::string connection_;
    std::string statement_;
};
