// The gateway as a host sees it: a shared object, a table of entries, and calls by name.
#pragma once

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "client/CallHost.h"
#include "orvelgw.h"

/// The shared object can't be loaded, or its callout table is not as orvelgw.h says.
struct LoadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A call doesn't fit the entry's signature, or there is no such entry.
struct CallError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Whether a letter of a signature is an output.
bool IsOutput(char letter);

/// What an entry returned.
class Reply {
public:
    /// The result argument; its preset value if the entry left it unchanged.
    int32_t code = kUntouched;

    /// The length word of a counted output (letters B and S), or the length of a long string.
    uint32_t length = 0;

    /// As many bytes of the output as length says.
    std::string_view Bytes() const { return Area().substr(0, length * unit_); }

    /// All the room that the output was granted, zeros where the entry wrote nothing.
    std::string_view Area() const { return {area_.get() + offset_, size_}; }

    /// The list in a counted output, whole even if it is too long for the length word.
    std::string_view List() const;

    /// A result code that no entry writes.
    static constexpr int32_t kUntouched = -999'999;

private:
    friend class Marshalling;

    explicit Reply(CallHost& host) : area_(nullptr, GiveBack{&host}) {}

    struct GiveBack {
        void operator()(char* area) const { host->GiveBack(area); }

        CallHost* host = nullptr;
    };

    std::unique_ptr<char, GiveBack> area_;
    std::size_t offset_ = 0;  // of the value in the area
    std::size_t size_ = 0;    // of the room granted for it
    std::size_t unit_ = 1;    // bytes per unit of length
};

/// The loaded library. One for a process at a time; unloaded with this object.
class Gateway {
public:
    /// Loads the shared object, passes it the host function table and checks its callout table.
    /// Throws LoadError.
    explicit Gateway(const std::string& path);

    /// The same for a library that is part of the program.
    explicit Gateway(decltype(&GetZFTable) get_table);

    const ORVEL_ZFE* Table() const { return table_; }

    /// The row of an external name, or null.
    const ORVEL_ZFE* Find(std::string_view name) const;

    /// Calls an entry: inputs in the order of the signature, outputs omitted. Throws CallError,
    /// and whatever the host's logging routine throws from a last END record.
    Reply Call(std::string_view name, const std::vector<Argument>& inputs = {}) const;

    /// The same with a handle before the other inputs.
    Reply CallOn(const std::string& handle, std::string_view name,
                 std::vector<Argument> rest = {}) const;

    /// While it exists, tells a signal handler which entry is running.
    class CurrentEntry {
    public:
        explicit CurrentEntry(const char* name) : outer_(Name())
        {
            running.store(name, std::memory_order_relaxed);
        }
        ~CurrentEntry() { running.store(outer_, std::memory_order_relaxed); }
        CurrentEntry(const CurrentEntry&) = delete;
        CurrentEntry& operator=(const CurrentEntry&) = delete;

        /// Null between calls.
        static const char* Name() { return running.load(std::memory_order_relaxed); }

    private:
        inline static std::atomic<const char*> running = nullptr;

        const char* outer_;
    };

private:
    struct Unload {
        void operator()(void* library) const;
    };

    void TakeTable(decltype(&GetZFTable) get_table);
    void CheckTable() const;

    std::unique_ptr<void, Unload> library_;
    const ORVEL_ZFE* table_ = nullptr;
};
