// What distinguishes one shim from the other; each defines it.
#pragma once

#include <sql.h>

#include <span>
#include <string_view>

/// The shim's name in its diagnostics.
std::string_view ShimName();

/// The possible prefixes of the driver's name in the name of a shim's file.
std::span<const std::string_view> Prefixes();

/// Called before a function is forwarded unchanged, with the driver's handle.
void BeginCall(SQLHANDLE handle);
