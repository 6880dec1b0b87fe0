// Drivers and data sources that handle values wrongly and need them bound or read differently.
#pragma once

#include <string_view>

/// The defaults are those of all others.
struct SourceTraits {
    bool misreads_text = false;  // silently stores another value for the text of a date or number
    bool loses_big_integers = false;   // integers beyond 32 bits arrive as 0
    bool forgets_null_binary = false;  // a NULL read as bytes is not NULL when read again
    bool commits_definitions = false;  // even in a transaction, though it reports otherwise
};

/// dbms: the driver's value of SQL_DBMS_NAME.
SourceTraits TraitsOfSource(std::string_view dbms);
