// Statements of the command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/Statement.h"

/// What takes the place of a parameter marker: a value as a person types it, or a file's bytes.
struct Marker {
    std::string word;  // the value, or the file's name
    bool is_file = false;
};

/// The values of a statement's markers, as this session sends them: NULL, a whole number of 64
/// bits, and all else as its text, which loses nothing.
std::vector<ParameterValue> ParameterValues(const std::vector<Marker>& markers,
                                            const Session& session);

/// Runs a statement and passes on all that comes. Returns whether every value could be read.
bool RunQuery(const Session& session, const std::string& sql, const std::vector<Marker>& markers,
              ResultSink& sink, Reporter& reporter);
