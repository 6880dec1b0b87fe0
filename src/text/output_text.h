// What an entry gave back, as a person reads it.
#pragma once

#include <string>

#include "client/Gateway.h"

/// Whether an entry has an output beside its result.
bool HasOutput(const ORVEL_ZFE& entry);

/// The bytes of an entry's output; of a list all of them, even where it outgrows the length word.
std::string_view OutputBytes(const ORVEL_ZFE& entry, const Reply& reply);

/// Such bytes, decoded as what the entry writes: data of a column, a handle, a list or a list of
/// lists.
std::string OutputText(const ORVEL_ZFE& entry, std::string_view bytes);
