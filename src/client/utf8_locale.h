// The locale of a process whose text is UTF-8.
#pragma once

#include <string>

/// Makes LC_CTYPE C.UTF-8, by which the gateway and the driver manager convert text, and nothing
/// else: numbers keep their point. Drivers that look at the environment themselves, as psqlodbca.so
/// does, find UTF-8 there, too.
void UseUtf8Locale();

/// The encoding that the environment names for LC_CTYPE, as it was before UseUtf8Locale.
std::string EncodingOfEnvironment();
