// What tells one shim from the other; each defines it.
#pragma once

#include <sql.h>

#include <span>
#include <string_view>

/// The shim in its diagnostics.
std::string_view ShimName();

/// What a shim's file can begin with, in front of the driver's name.
std::span<const std::string_view> Prefixes();

/// A function that goes to the driver untouched is called with a handle of the driver's.
void BeginCall(SQLHANDLE handle);
