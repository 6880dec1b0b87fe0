// Entries that are not built yet: each answers result -1, where it has a result, and the error
// flag.
#include "host/entries.h"
#include "host/main.h"

namespace {

int NotBuilt(int* result = nullptr)
{
    err.Reset();
    err.error = 1;
    if (result != nullptr) {
        *result = ORVEL_ERROR;
    }
    return 0;
}

int NotBuiltReleasing(ORVEL_EXSTR* value, int* result)
{
    NotBuilt(result);
    ReleaseHostString(value);
    return 0;
}

}  // namespace

extern "C" {

int Bind(const zarray*, const zarray*, const zarray*, const zarray*, const zarray*, const zarray*,
         int* result)
{
    return NotBuilt(result);
}
int SetParam(const zarray*, ORVEL_EXSTR* value, int, int* result)
{
    return NotBuiltReleasing(value, result);
}
int Columns(const zarray*, const zarray*, const zarray*, const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int Tables(const zarray*, const zarray*, const zarray*, const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int UnbindParams(const zarray*, int* result)
{
    return NotBuilt(result);
}
int SetConnectOption(const zarray*, int, int, int* result)
{
    return NotBuilt(result);
}
int Transact(const zarray*, int, int* result)
{
    return NotBuilt(result);
}
int GetParam(const zarray*, int, ORVEL_EXSTR*)
{
    return NotBuilt();
}
int ProcedureColumns(const zarray*, const zarray*, const zarray*, const zarray*, const zarray*,
                     int* result)
{
    return NotBuilt(result);
}
int Procedures(const zarray*, const zarray*, const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int GetData(const zarray*, int, int, zarray*)
{
    return NotBuilt();
}
int DescribeParams(const zarray*, zarray*)
{
    return NotBuilt();
}
int GetInfo(const zarray*, int, zarray*)
{
    return NotBuilt();
}
int SpecialColumns(const zarray*, int, const zarray*, const zarray*, const zarray*, int, int,
                   int* result)
{
    return NotBuilt(result);
}
int PrimaryKeys(const zarray*, const zarray*, const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int SetStrConnectOption(const zarray*, int, const char*, int* result)
{
    return NotBuilt(result);
}
int TablesW(const zarray*, const zustring*, const zustring*, const zustring*, const zustring*,
            int* result)
{
    return NotBuilt(result);
}
int ColumnsW(const zarray*, const zustring*, const zustring*, const zustring*, const zustring*,
             int* result)
{
    return NotBuilt(result);
}
int PrimaryKeysW(const zarray*, const zustring*, const zustring*, const zustring*, int* result)
{
    return NotBuilt(result);
}
int DataSources(int, zarray*)
{
    return NotBuilt();
}
int GetTypeInfo(const zarray*, int, int* result)
{
    return NotBuilt(result);
}
int Statistics(const zarray*, const zarray*, const zarray*, const zarray*, int, int* result)
{
    return NotBuilt(result);
}
int StatisticsW(const zarray*, const zustring*, const zustring*, const zustring*, int, int* result)
{
    return NotBuilt(result);
}
int ForeignKeys(const zarray*, const zarray*, const zarray*, const zarray*, const zarray*,
                const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int ForeignKeysW(const zarray*, const zustring*, const zustring*, const zustring*, const zustring*,
                 const zustring*, const zustring*, int* result)
{
    return NotBuilt(result);
}
int ProcedureColumnsW(const zarray*, const zustring*, const zustring*, const zustring*,
                      const zustring*, int* result)
{
    return NotBuilt(result);
}
int ProceduresW(const zarray*, const zustring*, const zustring*, const zustring*, int* result)
{
    return NotBuilt(result);
}
int SpecialColumnsW(const zarray*, int, const zustring*, const zustring*, const zustring*, int, int,
                    int* result)
{
    return NotBuilt(result);
}
int GetDataW(const zarray*, int, int, zustring*)
{
    return NotBuilt();
}
int PutData(const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int ParamData(const zarray*, zarray*)
{
    return NotBuilt();
}
int PutDataW(const zarray*, const zustring*, int* result)
{
    return NotBuilt(result);
}
int BindParameter(const zarray*, int, int, int, int, int, int, int, int* result)
{
    return NotBuilt(result);
}
int SetParamBinary(const zarray*, ORVEL_EXSTR* value, int, int* result)
{
    return NotBuiltReleasing(value, result);
}
int TablePrivileges(const zarray*, const zarray*, const zarray*, const zarray*, int* result)
{
    return NotBuilt(result);
}
int TablePrivilegesW(const zarray*, const zustring*, const zustring*, const zustring*, int* result)
{
    return NotBuilt(result);
}
int ColumnPrivileges(const zarray*, const zarray*, const zarray*, const zarray*, const zarray*,
                     int* result)
{
    return NotBuilt(result);
}
int ColumnPrivilegesW(const zarray*, const zustring*, const zustring*, const zustring*,
                      const zustring*, int* result)
{
    return NotBuilt(result);
}
int GetDataEx(const zarray*, int, int, int, ORVEL_EXSTR*)
{
    return NotBuilt();
}

}  // extern "C"
