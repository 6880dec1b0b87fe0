// An entry's output in readable form.
#pragma once

#include <string>

#include "client/Gateway.h"

/// Whether an entry has an output besides its result.
bool HasOutput(const ORVEL_ZFE& entry);

/// The bytes of an entry's output; all those of a list, even if it is too long for the length word.
std::string_view OutputBytes(const ORVEL_ZFE& entry, const Reply& reply);

/// Such bytes, decoded according to what the entry writes: data of a column, a handle, a list or a
/// list of lists.
std::string OutputText(const ORVEL_ZFE& entry, std::string_view bytes);
