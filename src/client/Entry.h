// Entries that are called repeatedly, with arguments already laid out as the gateway takes them.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "client/Gateway.h"

/// An entry with typed C++ arguments, at no more cost than a call through a pointer. The last one,
/// the result argument of a signature that ends in P, is omitted and returned.
template <class... Arguments>
class Entry {
public:
    /// Throws CallError if the entry has another signature in the table.
    Entry(const Gateway& gateway, std::string_view name, std::string_view signature)
    {
        const ORVEL_ZFE* row = gateway.Find(name);
        if (row == nullptr || row->signature != signature) {
            throw CallError(std::string(name) + " is not " + std::string(signature));
        }
        row_ = row;
        returns_ = signature.ends_with('P');
    }

    std::int32_t operator()(Arguments... arguments) const
    {
        const Gateway::CurrentEntry current(row_->name);
        if (!returns_) {
            return reinterpret_cast<std::int32_t (*)(Arguments...)>(row_->function)(arguments...);
        }
        std::int32_t result = Reply::kUntouched;
        reinterpret_cast<std::int32_t (*)(Arguments..., std::int32_t*)>(row_->function)(
            arguments..., &result);
        return result;
    }

private:
    const ORVEL_ZFE* row_ = nullptr;
    bool returns_ = false;
};

/// A handle as an argument: a counted string of 8 bytes.
class HandleArgument {
public:
    HandleArgument() = default;
    explicit HandleArgument(std::string_view handle) { handle.copy(bytes_ + kWord, kSize); }

    operator const char*() const { return bytes_; }
    bool IsNull() const { return Bytes() == std::string(kSize, '\0'); }
    std::string Bytes() const { return {bytes_ + kWord, kSize}; }

private:
    static constexpr std::size_t kWord = 2;
    static constexpr std::size_t kSize = 8;

    alignas(2) char bytes_[kWord + kSize] = {kSize};
};
