// What some drivers and data sources do with values, where it takes another binding to be right.
#pragma once

#include <string_view>

/// A default is what the others do.
struct SourceTraits {
    bool misreads_text = false;        // text for a date or a number is another one, silently
    bool loses_big_integers = false;   // integers beyond 32 bits arrive as 0
    bool forgets_null_binary = false;  // a NULL read as bytes is no NULL when it is read again
    bool commits_definitions = false;  // in a transaction, though it says otherwise
};

/// dbms: what the driver says to SQL_DBMS_NAME.
SourceTraits TraitsOfSource(std::string_view dbms);
