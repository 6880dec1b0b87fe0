// Entries: one column's value, in pieces if it is long.
#include <sqlucode.h>

#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

namespace {

// Shared by the entries. read(CStatement&, column, C type) calls the driver.
template <class Read>
int ReadColumn(const char* name, const zarray* statement, int column, int c_type, Read read)
{
    return OnStatement(
        {.name = name,
         .handle = statement,
         .code = Code::kToRecord,
         .handle_bytes = HandleBytes::kCounted},
        Traced(statement, column, c_type),
        [&](CStatement& fetched) -> SQLRETURN {
            if (c_type != SQL_C_CHAR && c_type != SQL_C_BINARY && c_type != SQL_C_WCHAR) {
                err.bad_type = 1;
                return SQL_SUCCESS;
            }
            return read(fetched, static_cast<SQLUSMALLINT>(column),
                        static_cast<SQLSMALLINT>(c_type));
        },
        NothingAtEnd);
}

}  // namespace

extern "C" int GetData(const zarray* statement, int column, int c_type, zarray* output)
{
    return ReadColumn("GetData", statement, column, c_type,
                      [output](CStatement& fetched, SQLUSMALLINT of, SQLSMALLINT as) {
                          return fetched.GetData(of, as, output);
                      });
}

extern "C" int GetDataW(const zarray* statement, int column, int c_type, zustring* output)
{
    // The output has the same layout; the host reads its length word as characters.
    return ReadColumn("GetDataW", statement, column, c_type,
                      [output](CStatement& fetched, SQLUSMALLINT of, SQLSMALLINT as) {
                          return fetched.GetData(of, as, reinterpret_cast<zarray*>(output));
                      });
}

extern "C" int GetDataEx(const zarray* statement, int column, int c_type, int length,
                         ORVEL_EXSTR* output)
{
    return ReadColumn("GetDataEx", statement, column, c_type,
                      [=](CStatement& fetched, SQLUSMALLINT of, SQLSMALLINT as) {
                          return fetched.GetDataEx(of, as, length, output);
                      });
}
