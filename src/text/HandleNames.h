// Handles by names that a person can tell apart.
#pragma once

#include <map>
#include <string>
#include <string_view>

/// Numbers handles in the order in which they are first seen, each kind for itself.
class HandleNames {
public:
    /// Names the handle that is the first element of a list: "stmt#2". Empty where there is none.
    std::string NameFirst(std::string_view list, const char* kind);

    /// The name of a handle's bytes; empty where it has none.
    std::string NameOf(std::string_view handle) const;

    /// Its address may be that of another handle from now on.
    void Forget(std::string_view name);

private:
    std::map<std::string, std::string, std::less<>> names_;  // by the bytes
    std::map<std::string, int, std::less<>> counts_;         // by kind
};
