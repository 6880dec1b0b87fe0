// The callout table, and the one function through which a host finds it.
#include <string_view>
#include <type_traits>

#include "host/entries.h"
#include "host/main.h"

namespace {

// Which signature letters an argument type allows.
template <class Argument>
constexpr std::string_view kLetters{};
template <>
constexpr std::string_view kLetters<const char*> = "c";
template <>
constexpr std::string_view kLetters<char*> = "c";
template <>
constexpr std::string_view kLetters<const zarray*> = "b";
template <>
constexpr std::string_view kLetters<zarray*> = "B";
template <>
constexpr std::string_view kLetters<const zustring*> = "s";
template <>
constexpr std::string_view kLetters<zustring*> = "S";
template <>
constexpr std::string_view kLetters<int> = "i";
template <>
constexpr std::string_view kLetters<int*> = "P";
template <>
constexpr std::string_view kLetters<ORVEL_EXSTR*> = "jJN";

template <class... Arguments>
consteval bool Agree(std::string_view signature, int (* /*function*/)(Arguments...))
{
    std::size_t at = 0;
    return signature.size() == sizeof...(Arguments) &&
           ((kLetters<Arguments>.find(signature[at++]) != std::string_view::npos) && ...);
}

/// The signature of a function; doesn't compile if the two disagree.
template <auto Function>
consteval const char* Signature(const char* letters)
{
    if (!Agree(letters, Function)) {
        throw "the signature does not fit the function's arguments";
    }
    return letters;
}

}  // namespace

// A macro, since the cast rules out a constexpr function and the table would no longer be constant
// data.
#define ROW(name, signature, function)                                                     \
    {                                                                                      \
        name, Signature<&function>(signature), reinterpret_cast<orvel_function>(&function) \
    }

#pragma GCC visibility push(default)

extern "C" {

const ORVEL_ZFE zfedll[ORVEL_TABLE_ROWS + 1] = {
    ROW("Connect", "cccB", Connect),
    ROW("DSNConnect", "cB", DSNConnect),
    ROW("Prepare", "bjP", PrepareHandle),
    ROW("Execute", "bP", Execute),
    ROW("AllocStatement", "bB", AllocSt),
    ROW("Disconnect", "bP", Disconnect),
    ROW("Fetch", "bP", Fetch),
    ROW("BindParameters", "bbbbbbP", Bind),
    ROW("SetParameter", "bjiP", SetParam),
    ROW("DescribeColumns", "bB", DescribeCols),
    ROW("FetchRows", "biB", ExtendedFetch),
    ROW("GetSQLErrors", "bbB", GetSQLErrors),
    ROW("WasError", "P", WasError),
    ROW("Columns", "bbbbbP", Columns),
    ROW("Tables", "bbbbbP", Tables),
    ROW("DropStatement", "bP", DropStatement),
    ROW("CloseCursor", "bP", CloseCursor),
    ROW("UnbindParameters", "bP", UnbindParams),
    ROW("SetConnectOption", "biiP", SetConnectOption),
    ROW("SetStmtOption", "biiP", SetStmtOption),
    ROW("Transact", "biP", Transact),
    ROW("GetParameter", "biJ", GetParam),
    ROW("DescribeProcedureColumns", "bbbbbP", ProcedureColumns),
    ROW("DescribeProcedures", "bbbbP", Procedures),
    ROW("GetData", "biiB", GetData),
    ROW("GetOneRow", "bbB", GetOneRow),
    ROW("DescribeParameters", "bB", DescribeParams),
    ROW("GetInfo", "biB", GetInfo),
    ROW("SpecialColumns", "bibbbiiP", SpecialColumns),
    ROW("PrimaryKeys", "bbbbP", PrimaryKeys),
    ROW("RowCount", "bP", RowCount),
    ROW("SetStrConnectOption", "bicP", SetStrConnectOption),
    ROW("SetUnicodeOption", "iP", SetUnicodeOption),
    ROW("TablesW", "bssssP", TablesW),
    ROW("ColumnsW", "bssssP", ColumnsW),
    ROW("PrimaryKeysW", "bsssP", PrimaryKeysW),
    ROW("PrepareW", "bsP", PrepareHandleW),
    ROW("PreparseSQL", "sibB", PreparseSQL),
    ROW("DataSources", "iB", DataSources),
    ROW("GetTypeInfo", "biP", GetTypeInfo),
    ROW("Statistics", "bbbbiP", Statistics),
    ROW("StatisticsW", "bsssiP", StatisticsW),
    ROW("ForeignKeys", "bbbbbbbP", ForeignKeys),
    ROW("ForeignKeysW", "bssssssP", ForeignKeysW),
    ROW("ConnectWithTimeout", "ccciB", ConnectWithTimeout),
    ROW("DSNConnectWithTimeout", "ciB", DSNConnectWithTimeout),
    ROW("DescribeProcedureColumnsW", "bssssP", ProcedureColumnsW),
    ROW("DescribeProceduresW", "bsssP", ProceduresW),
    ROW("SpecialColumnsW", "bisssiiP", SpecialColumnsW),
    ROW("GetDataW", "biiS", GetDataW),
    ROW("SetLogOption", "iP", SetLogOption),
    ROW("GetUV", "P", GetUV),
    ROW("RemoveConnection", "bP", RemoveConnection),
    ROW("PutData", "bbP", PutData),
    ROW("ParamData", "bB", ParamData),
    ROW("PutDataW", "bsP", PutDataW),
    ROW("MoreResults", "bP", MoreResults),
    ROW("GetLastSQLCode", "P", GetLastSQLCode),
    ROW("StrColAttribute", "biiB", StrColAttribute),
    ROW("NumColAttribute", "biiB", NumColAttribute),
    ROW("NumResultCols", "bP", NumResultCols),
    ROW("BindParameter", "biiiiiiiP", BindParameter),
    ROW("SetLegacyOption", "iP", SetLegacyOption),
    ROW("GetGTWVersion", "P", GetGTWVersion),
    ROW("SetParameterBinary", "bjiP", SetParamBinary),
    ROW("TablePrivileges", "bbbbP", TablePrivileges),
    ROW("TablePrivilegesW", "bsssP", TablePrivilegesW),
    ROW("ColumnPrivileges", "bbbbbP", ColumnPrivileges),
    ROW("ColumnPrivilegesW", "bssssP", ColumnPrivilegesW),
    ROW("GetDataEx", "biiiJ", GetDataEx),
    ROW("GetDataExW", "biiiN", GetDataEx),
    ROW("StrColAttributeW", "biiB", StrColAttributeW),
    ROW("Test", "c", Test),
    {nullptr, nullptr, nullptr},
};

const ORVEL_ZFE* GetZFTable(const void* callbackp, const orvel_function* functabp)
{
    orvelcallbackp = callbackp;
    orvelfunctabp = functabp;
    return zfedll;
}

}  // extern "C"

#pragma GCC visibility pop
