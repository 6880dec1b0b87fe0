// A host that grants the library what orvelgw.h says and not a byte more.
#pragma once

#include <functional>
#include <map>
#include <vector>

#include "client/CallHost.h"

/// Places every argument so that it ends where a page ends, before one that nobody may touch. What
/// is readable of an input, and the room for an output, are those of conventions 5, 6 and 8.
class GuardedHost : public CallHost {
public:
    /// What the room for some lists depends on; a negative number counts as none.
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

    /// How many zero bytes follow a counted byte string, for drivers that read on.
    std::size_t behind_names = 0;

    /// Who knows the counts of the next call; nobody: more than there will be.
    std::function<Counts()> counts = [] { return Counts(); };

private:
    struct Area {
        char* start;
        std::size_t size;  // less the page behind it
    };

    std::map<std::size_t, std::vector<Area>> unused_;  // by size
    std::map<char*, Area> taken_;
};
