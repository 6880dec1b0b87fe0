// The data sources and drivers of the driver manager's configuration.
#pragma once

#include <string>
#include <vector>

#include "client/Gateway.h"
#include "client/ResultSink.h"
#include "tool/commands/NamePattern.h"

/// Passes on those whose names match.
void ListSources(const Gateway& gateway, const NamePattern& pattern, ResultSink& sink,
                 Reporter& reporter);
void ListDrivers(const NamePattern& pattern, ResultSink& sink, Reporter& reporter);

/// The names of the data sources.
std::vector<std::string> SourceNames(const Gateway& gateway);
