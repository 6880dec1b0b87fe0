// The locale of a process whose text is UTF-8.
#pragma once

#include <string>

/// Sets LC_CTYPE, by which the gateway and the driver manager convert text, to C.UTF-8, and nothing
/// else: numbers keep their point. Drivers that read the environment themselves, such as
/// psqlodbca.so, find UTF-8 there, too.
void UseUtf8Locale();

/// The encoding that the environment names for LC_CTYPE, as it was before UseUtf8Locale.
std::string EncodingOfEnvironment();
