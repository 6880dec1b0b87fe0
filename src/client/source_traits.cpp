#include "client/source_traits.h"

SourceTraits TraitsOfSource(std::string_view dbms)
{
    // Virtuoso 7.2, virtodbc.so 07.20.3229: '2024-02-29' bound as text to a DATE is the year 9006,
    // '1.7' bound as text to an INTEGER is 0, and 'x' is 0 however it is bound. 30000000000 bound
    // as text or as SQL_BIGINT to a BIGINT is 0. A NULL VARBINARY read as SQL_C_BINARY is
    // SQL_NO_DATA from then on, as an empty value is. A CREATE TABLE stays when the transaction
    // that it was in is rolled back, though SQL_TXN_CAPABLE is SQL_TC_ALL (tests/sources, Tool).
    if (dbms.find("Virtuoso") != std::string_view::npos) {
        return {.misreads_text = true,
                .loses_big_integers = true,
                .forgets_null_binary = true,
                .commits_definitions = true};
    }
    return {};
}
