// From a handle to its object.
#pragma once

#include <sql.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// Objects by ODBC handle, with look-ups that cost one memory access however many handles there
/// are: a table of slots, at most half of them in use, in which a handle is in its own slot or, if
/// that is in use, in the next free one. Owns nothing.
template <class Object>
class HandleMap {
public:
    /// The handle's object, or null.
    Object* Find(SQLHANDLE handle) const
    {
        return slots_.empty() ? nullptr : slots_[SlotOf(handle)].object;
    }

    /// Keeps an existing entry for the handle. If it throws std::bad_alloc, nothing has changed.
    void Insert(SQLHANDLE handle, Object* object)
    {
        if (2 * (count_ + 1) > slots_.size()) {
            Grow();
        }
        Slot& slot = slots_[SlotOf(handle)];
        if (slot.object == nullptr) {
            slot = {handle, object};
            ++count_;
        }
    }

    void Erase(SQLHANDLE handle)
    {
        if (Find(handle) == nullptr) {
            return;
        }
        std::size_t hole = SlotOf(handle);
        slots_[hole] = {};
        --count_;
        // An entry after the hole may be there because the hole was in use.
        for (std::size_t at = Next(hole); slots_[at].object != nullptr; at = Next(at)) {
            const Slot moved = slots_[at];
            slots_[at] = {};
            slots_[SlotOf(moved.handle)] = moved;
        }
    }

private:
    struct Slot {
        SQLHANDLE handle = nullptr;
        Object* object = nullptr;  // null: the slot is free
    };

    std::size_t Next(std::size_t slot) const { return (slot + 1) & (slots_.size() - 1); }

    // The slot where the handle is, or would be.
    std::size_t SlotOf(SQLHANDLE handle) const
    {
        // Handles are addresses: the product carries all of their bits into the upper half.
        const std::uint64_t product =
            reinterpret_cast<std::uintptr_t>(handle) * std::uint64_t{0x9E3779B97F4A7C15};
        std::size_t slot = (product >> 32) & (slots_.size() - 1);
        while (slots_[slot].object != nullptr && slots_[slot].handle != handle) {
            slot = Next(slot);
        }
        return slot;
    }

    void Grow()
    {
        constexpr std::size_t kFirst = 64;
        HandleMap larger;
        larger.slots_.resize(slots_.empty() ? kFirst : 2 * slots_.size());
        for (const Slot& slot : slots_) {
            if (slot.object != nullptr) {
                larger.slots_[larger.SlotOf(slot.handle)] = slot;
            }
        }
        slots_.swap(larger.slots_);
    }

    std::vector<Slot> slots_;  // a power of two of them
    std::size_t count_ = 0;
};
