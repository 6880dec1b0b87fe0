// A diagnosis of a data source.
#pragma once

#include <cstdio>
#include <string>

/// The outcome of a diagnosis.
enum class Diagnosis {
    kAllRight,  // every kind of text comes back right in at least one mode
    kTextWrong,
    kGatewayUnusable,
    kConnectionFailed
};

/// Reports what lies between this machine and a data source, whether or not that can be reached:
/// library, driver manager, driver and its kind, server, connection, and what round trips bring
/// back. Drivers are loaded and called in child processes only. library: the gateway's file;
/// data_source: a connection string or the name of a data source.
Diagnosis Diagnose(const std::string& library, const std::string& data_source, std::FILE* out);
