// What the inputs of the gateway's entries are.
#pragma once

#include <string_view>

/// The names of an entry's inputs in the order of its signature, separated by commas; empty where
/// it has none. docs/callouts.md says what they mean.
std::string_view EntryInputs(std::string_view entry);
