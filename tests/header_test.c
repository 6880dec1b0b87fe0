/* The public header is C: it compiles as C11, and its layouts are what its assertions say. */
#include "orvelgw.h"

const ORVEL_ZFE* orvelgw_header_in_c(const orvel_function* functabp)
{
    ORVEL_EXSTR string = {0, NULL};
    const ORVEL_ZFE row = {"Test", "c", NULL};
    return string.length == 0 && row.name != NULL ? GetZFTable(NULL, functabp) : NULL;
}
