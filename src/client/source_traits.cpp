#include "client/source_traits.h"

SourceTraits TraitsOfSource(std::string_view dbms)
{
    // Virtuoso 7.2, virtodbc.so 07.20.3229: '2024-02-29' bound as text to a DATE is stored as the
    // year 9006, '1.7' bound as text to an INTEGER as 0, and 'x' as 0 however it is bound.
    // 30000000000 bound as text or as SQL_BIGINT to a BIGINT is stored as 0. After a NULL VARBINARY
    // has been read as SQL_C_BINARY it is SQL_NO_DATA, like an empty value. A CREATE TABLE remains
    // when its transaction is rolled back, though SQL_TXN_CAPABLE is SQL_TC_ALL (tests/sources,
    // Tool).
    if (dbms.find("Virtuoso") != std::string_view::npos) {
        return {.misreads_text = true,
                .loses_big_integers = true,
                .forgets_null_binary = true,
                .commits_definitions = true};
    }
    return {};
}
