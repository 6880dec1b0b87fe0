// How a host makes its calls: where the arguments are, how much room an output has.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "orvelgw.h"

/// An input argument: no text, an integer, text or bytes, 2-byte characters. Letter c accepts no
/// text or text; b and j text; s 2-byte characters; i an integer.
using Argument = std::variant<std::monostate, int32_t, std::string, std::u16string>;

/// A host that keeps arguments on the heap: a counted input is followed by zeros as far as any
/// entry may read, and an output has the largest room there is. A host that is stricter with the
/// library overrides what it does differently.
class CallHost {
public:
    virtual ~CallHost() = default;

    /// That many zero bytes, at an address of that alignment. Throws std::bad_alloc.
    virtual char* Take(std::size_t size, std::size_t alignment);
    virtual void GiveBack(char* bytes);

    /// How many bytes can be read after the length word of a counted input.
    virtual std::size_t Readable(const ORVEL_ZFE& row, std::size_t index,
                                 const Argument& input) const;

    /// The room for an output's value, in bytes.
    virtual std::size_t Room(const ORVEL_ZFE& row, const std::vector<Argument>& inputs) const;

    /// How many zero bytes follow the text of a long string.
    std::size_t behind_long_text = 1;

    /// Runs an entry whose arguments are in place.
    virtual void Perform(const std::function<void()>& entry) { entry(); }
};
