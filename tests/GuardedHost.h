// A host that grants the library what orvelgw.h says and not a byte more.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "client/CallHost.h"

/// Places every argument at the end of a page, before an inaccessible one. Readable bytes of inputs
/// and the room for outputs are those of conventions 5, 6 and 8.
class GuardedHost : public CallHost {
public:
    /// What the room for some lists depends on; negative numbers count as 0.
    struct Counts {
        long columns = 256;
        long markers = 256;
        long diagnostics = 256;
    };

    GuardedHost() { behind_long_text = 0; }

    char* Take(std::size_t size, std::size_t alignment) override;
    void GiveBack(char* bytes) override;
    std::size_t Readable(const ORVEL_ZFE& row, std::size_t index,
                         const Argument& input) const override;
    std::size_t Room(const ORVEL_ZFE& row, const std::vector<Argument>& inputs) const override;
    void Perform(const std::function<void()>& entry) override;

    /// The functions of HostServices, which pass records only to label "Log" of routine "%ourLog".
    static const orvel_function* Table();
    /// Gives the loaded library another table of functions.
    static void Attach(const char* library, const orvel_function* table);

    /// The length word of a call's first argument, if it is to be wrong.
    std::optional<uint16_t> first_counts;

    /// How many zero bytes follow a counted byte string, for drivers that read beyond its end.
    std::size_t behind_names = 0;

    /// Supplies the counts for the next call; without it they are the largest that occur.
    std::function<Counts()> counts = [] { return Counts(); };

private:
    struct Area {
        char* start;
        std::size_t size;  // less the page behind it
    };

    std::map<std::size_t, std::vector<Area>> unused_;  // by size
    std::map<char*, Area> taken_;
    char* first_taken_ = nullptr;  // since the last call
};

/// Whether the handle that an entry's inputs begin with is a connection's.
bool IsOnConnection(std::string_view entry);

/// An entry's inputs: of each letter the argument given.
std::vector<Argument> InputsOf(const ORVEL_ZFE& row, const std::map<char, Argument>& by_letter);
