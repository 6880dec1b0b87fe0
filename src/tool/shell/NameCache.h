// The names of tables and columns, for completion.
#pragma once

#include <atomic>
#include <future>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "client/Session.h"

/// Reads names when they are first asked for, beside the person who types: whoever asks waits for a
/// moment, and goes without them then. The gateway takes one thread at a time, so Wait comes before
/// any other call of it. Nothing is read inside a transaction, which a failure would spoil.
class NameCache {
public:
    NameCache() = default;
    ~NameCache() { Forget(); }
    NameCache(const NameCache&) = delete;
    NameCache& operator=(const NameCache&) = delete;

    /// What is known by now of the tables.
    std::vector<std::string> Tables(const Session& session);

    /// The same of the columns of a table.
    std::vector<std::string> Columns(const Session& session, const std::string& table);

    /// Stops the reading and waits until the driver has let go.
    void Wait();

    /// The next question reads anew: a statement may have changed what there is.
    void Forget();

private:
    using Names = std::vector<std::string>;

    Names NamesOf(const std::string& key, const std::function<Names()>& read);
    bool MayGoOn() const { return !is_unwanted_; }

    std::map<std::string, Names, std::less<>> known_;  // by table; those of the tables by ""
    std::string key_;                                  // of what is being read
    std::future<Names> reading_;
    std::atomic<bool> is_unwanted_ = false;
};
