// What an entry with a handle does, as a row of a table.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "shell/Gateway.h"

/// How an entry answers: by a result code, by a count and a code in the record, by an output.
enum class Answers { kCode, kCount, kOutput };

struct HandleCase {
    const char* name = "";
    std::vector<Argument> rest = {};  // inputs behind the handle
    const char* odbc = "";            // the ODBC function it calls
    Answers answers = Answers::kCode;
    const char* begin = nullptr;           // BEGIN record behind the handle; null: the inputs
    const char* function = name;           // its name in the trace
    const char* unknown_label = function;  // its name there for an unknown handle; null: no record
    const char* end = answers == Answers::kCode ? "  0" : "";  // END record of a success
    const char* thrown_end = answers == Answers::kOutput ? "" : "  -999999";
    bool on_connection = false;
    const char* failed_end = "  -1";
    const char* call = nullptr;          // the arguments of the ODBC call behind the handle
    const char* begin_label = function;  // its name in the BEGIN record
    bool traces_two_handle_bytes = false;
    bool begins_only_unknown = false;  // there is a BEGIN record of an unknown handle only

    friend void PrintTo(const HandleCase& entry, std::ostream* out) { *out << entry.name; }
};

/// The rows of the catalog entries.
std::vector<HandleCase> CatalogCases();
