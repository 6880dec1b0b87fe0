// Entries: the catalogs of a data source. One family: every member traces its arguments, finds the
// statement, turns each name into a pointer and a length, and calls the ODBC function of its name,
// whose result set stays on the statement. What is particular to a member is in its row of the
// table below and in how it wraps its arguments.
#include <tuple>

#include "encoding/conversions.h"
#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

namespace {

// What differs between members.

constexpr std::size_t kAsCounted = SIZE_MAX;

struct Member {
    const char* name = "";           // of the function, in its records
    std::size_t traced = 0;          // bytes of the handle in the BEGIN record
    HandleBytes looked_up{};         // bytes of the handle in the look-up
    const char* begin_label = name;  // another name in the BEGIN record
};

constexpr auto kEight = HandleBytes::kEight;
constexpr auto kCounted = HandleBytes::kCounted;

// clang-format off
constexpr Member kTables           {"Tables",            8,          kCounted};
constexpr Member kColumns          {"Columns",           8,          kCounted};
constexpr Member kColumnPrivileges {"ColumnPrivileges",  8,          kCounted};
constexpr Member kTablePrivileges  {"TablePrivileges",   8,          kCounted};
constexpr Member kProcedures       {"Procedures",        kAsCounted, kCounted};
constexpr Member kProcedureColumns {"ProcedureColumns",  8,          kCounted};
constexpr Member kPrimaryKeys      {"PrimaryKeys",       8,          kEight};
constexpr Member kSpecialColumns   {"SpecialColumns",    8,          kCounted};
constexpr Member kStatistics       {"Statistics",        8,          kEight};
constexpr Member kForeignKeys      {"ForeignKeys",       kAsCounted, kEight};

constexpr Member kTablesW          {"TablesW",           kAsCounted, kEight};
constexpr Member kColumnsW         {"ColumnsW",          kAsCounted, kEight};
constexpr Member kColumnPrivilegesW{"ColumnPrivilegesW", kAsCounted, kEight};
constexpr Member kTablePrivilegesW {"TablePrivilegesW",  kAsCounted, kEight};
constexpr Member kProceduresW      {"ProceduresW",       kAsCounted, kEight};
constexpr Member kProcedureColumnsW{"ProcedureColumnsW", kAsCounted, kEight};
constexpr Member kPrimaryKeysW     {"PrimaryKeysW",      kAsCounted, kEight};
constexpr Member kSpecialColumnsW  {"SpecialColumnsW",   kAsCounted, kCounted};
constexpr Member kStatisticsW      {"StatisticsW",       8,          kEight, "Statistics"};
constexpr Member kForeignKeysW     {"ForeignKeysW",      2,          kEight};
// clang-format on

// Arguments other than the usual name (zarray, zustring) and number (int).

/// A name of which only its presence matters: it is passed as the empty name, or not at all.
struct Emptied {
    const zarray* name;
};

/// A wide name that, if it starts with two zero characters, is passed as it is in the host's
/// memory: with length 0, or with its own length.
struct ZeroStart {
    const zustring* name;
    bool keeps_count = false;
};

/// A wide name that is passed as it is in the host's memory.
struct Unconverted {
    const zustring* name;
};

void Append(ZString& record, Emptied argument)
{
    frame::Append(record, argument.name);
}
void Append(ZString& record, ZeroStart argument)
{
    frame::Append(record, argument.name);
}
void Append(ZString& record, Unconverted argument)
{
    frame::Append(record, argument.name);
}

/// A number, in 16 bits.
class Number {
public:
    explicit Number(int number) : number_(static_cast<SQLUSMALLINT>(number)) {}

    static bool IsPassable() { return true; }
    auto Passed() const { return std::tuple(number_); }

private:
    SQLUSMALLINT number_;
};

/// A narrow name: null if its length is 0; passed with length 0 if it starts with a zero byte.
class NarrowName {
public:
    explicit NarrowName(const zarray* name) : NarrowName(Emptied{name})
    {
        if (text_ != nullptr && *text_ != 0) {
            length_ = static_cast<SQLSMALLINT>(name->length);
        }
    }
    explicit NarrowName(Emptied argument)
        : text_(argument.name->length != 0 ? const_cast<SQLCHAR*>(argument.name->bytes) : nullptr)
    {}

    /// A length of 65,533 would mean SQL_NTS, for a text without a terminator.
    bool IsPassable() const { return length_ != SQL_NTS; }
    auto Passed() const { return std::tuple(text_, length_); }

private:
    SQLCHAR* text_;
    SQLSMALLINT length_ = 0;
};

/// A wide name: null if its length is 0, otherwise widened here, or the host's own characters.
class WideName {
public:
    explicit WideName(const zustring* name) : length_(static_cast<SQLSMALLINT>(name->length))
    {
        if (name->length != 0) {
            fits_ = uni2_uni4_no_swap(reinterpret_cast<const unsigned char*>(name->characters),
                                      2 * name->length, buffer_, kCapacity) != 0;
            text_ = buffer_;
        }
    }
    WideName(Unconverted argument, int length) : length_(static_cast<SQLSMALLINT>(length))
    {
        if (argument.name->length != 0) {
            const void* characters = argument.name->characters;
            text_ = static_cast<SQLWCHAR*>(const_cast<void*>(characters));
        }
    }
    WideName(const WideName&) = delete;  // text_ may point into buffer_
    WideName& operator=(const WideName&) = delete;
    ~WideName() = default;

    bool IsPassable() const { return fits_ && length_ != SQL_NTS; }
    auto Passed() const { return std::tuple(text_, length_); }

private:
    // The conversion writes up to two characters more than the capacity that it is given.
    static constexpr int kCapacity = 512;

    SQLWCHAR buffer_[kCapacity + 2] = {};
    SQLWCHAR* text_ = nullptr;
    SQLSMALLINT length_;
    bool fits_ = true;
};

// Reads two characters at once, even of a name that has only one.
bool StartsWithTwoZeros(const zustring* name)
{
    std::uint32_t start = 0;
    std::memcpy(&start, name->characters, sizeof start);
    return start == 0;
}

Number ForOdbc(int number)
{
    return Number(number);
}
NarrowName ForOdbc(const zarray* name)
{
    return NarrowName(name);
}
NarrowName ForOdbc(Emptied argument)
{
    return NarrowName(argument);
}
WideName ForOdbc(const zustring* name)
{
    return WideName(name);
}
WideName ForOdbc(Unconverted argument)
{
    return {argument, argument.name->length};
}
WideName ForOdbc(ZeroStart argument)
{
    if (argument.name->length != 0 && StartsWithTwoZeros(argument.name)) {
        return {Unconverted{argument.name}, argument.keeps_count ? argument.name->length : 0};
    }
    return WideName(argument.name);
}

// Calls the member's operation; kOutOfRange, without a call, if a name can't be passed.
template <class Operation, class... Converted>
SQLRETURN CallWith(CStatement& queried, Operation operation, const Converted&... converted)
{
    if (!(converted.IsPassable() && ...)) {
        return kOutOfRange;
    }
    return std::apply([&](auto... passed) { return (queried.*operation)(passed...); },
                      std::tuple_cat(converted.Passed()...));
}

Entry EntryOf(const Member& member, const zarray* statement, int* result)
{
    return {.name = member.name,
            .handle = statement,
            .result = result,
            .handle_bytes = member.looked_up,
            .failure_end_guarded = true,
            .begin_label = member.begin_label};
}

template <class... Arguments>
auto TracedBy(const Member& member, const zarray* statement, Arguments... arguments)
{
    const auto bytes = member.traced == kAsCounted ? statement->length : member.traced;
    return Traced(LeadingBytes{statement, bytes}, arguments...);
}

// The arguments are in the order that the entry, its BEGIN record and ODBC share.
template <class Operation, class... Arguments>
int Query(const Member& member, const zarray* statement, int* result, Operation operation,
          Arguments... arguments)
{
    return OnStatement(
        EntryOf(member, statement, result), TracedBy(member, statement, arguments...),
        [&](CStatement& queried) { return CallWith(queried, operation, ForOdbc(arguments)...); });
}

}  // namespace

extern "C" int Tables(const zarray* statement, const zarray* catalog, const zarray* schema,
                      const zarray* table, const zarray* table_type, int* result)
{
    return Query(kTables, statement, result, &CStatement::Tables, catalog, schema, table,
                 table_type);
}

extern "C" int TablesW(const zarray* statement, const zustring* catalog, const zustring* schema,
                       const zustring* table, const zustring* table_type, int* result)
{
    return Query(kTablesW, statement, result, &CStatement::TablesW, catalog, schema, table,
                 table_type);
}

extern "C" int Columns(const zarray* statement, const zarray* catalog, const zarray* schema,
                       const zarray* table, const zarray* column, int* result)
{
    return Query(kColumns, statement, result, &CStatement::Columns, catalog, schema, table, column);
}

extern "C" int ColumnsW(const zarray* statement, const zustring* catalog, const zustring* schema,
                        const zustring* table, const zustring* column, int* result)
{
    return Query(kColumnsW, statement, result, &CStatement::ColumnsW, catalog, schema, table,
                 column);
}

extern "C" int ColumnPrivileges(const zarray* statement, const zarray* catalog,
                                const zarray* schema, const zarray* table, const zarray* column,
                                int* result)
{
    return Query(kColumnPrivileges, statement, result, &CStatement::ColumnPrivileges, catalog,
                 schema, table, column);
}

extern "C" int ColumnPrivilegesW(const zarray* statement, const zustring* catalog,
                                 const zustring* schema, const zustring* table,
                                 const zustring* column, int* result)
{
    return Query(kColumnPrivilegesW, statement, result, &CStatement::ColumnPrivilegesW, catalog,
                 schema, table, column);
}

extern "C" int TablePrivileges(const zarray* statement, const zarray* catalog, const zarray* schema,
                               const zarray* table, int* result)
{
    return Query(kTablePrivileges, statement, result, &CStatement::TablePrivileges, catalog, schema,
                 table);
}

extern "C" int TablePrivilegesW(const zarray* statement, const zustring* catalog,
                                const zustring* schema, const zustring* table, int* result)
{
    return Query(kTablePrivilegesW, statement, result, &CStatement::TablePrivilegesW, catalog,
                 schema, table);
}

extern "C" int Procedures(const zarray* statement, const zarray* catalog, const zarray* schema,
                          const zarray* procedure, int* result)
{
    return Query(kProcedures, statement, result, &CStatement::Procedures, Emptied{catalog}, schema,
                 procedure);
}

extern "C" int ProceduresW(const zarray* statement, const zustring* catalog, const zustring* schema,
                           const zustring* procedure, int* result)
{
    return Query(kProceduresW, statement, result, &CStatement::ProceduresW,
                 ZeroStart{catalog, true}, ZeroStart{schema}, ZeroStart{procedure});
}

extern "C" int ProcedureColumns(const zarray* statement, const zarray* catalog,
                                const zarray* schema, const zarray* procedure, const zarray* column,
                                int* result)
{
    return Query(kProcedureColumns, statement, result, &CStatement::ProcedureColumns, catalog,
                 schema, procedure, column);
}

extern "C" int ProcedureColumnsW(const zarray* statement, const zustring* catalog,
                                 const zustring* schema, const zustring* procedure,
                                 const zustring* column, int* result)
{
    return Query(kProcedureColumnsW, statement, result, &CStatement::ProcedureColumnsW,
                 ZeroStart{catalog}, ZeroStart{schema}, ZeroStart{procedure}, ZeroStart{column});
}

extern "C" int PrimaryKeys(const zarray* statement, const zarray* catalog, const zarray* schema,
                           const zarray* table, int* result)
{
    return Query(kPrimaryKeys, statement, result, &CStatement::PrimaryKeys, catalog, schema, table);
}

extern "C" int PrimaryKeysW(const zarray* statement, const zustring* catalog,
                            const zustring* schema, const zustring* table, int* result)
{
    return Query(kPrimaryKeysW, statement, result, &CStatement::PrimaryKeysW, catalog, schema,
                 table);
}

extern "C" int SpecialColumns(const zarray* statement, int identifier_type, const zarray* catalog,
                              const zarray* schema, const zarray* table, int scope, int nullable,
                              int* result)
{
    return Query(kSpecialColumns, statement, result, &CStatement::SpecialColumns, identifier_type,
                 catalog, schema, table, scope, nullable);
}

// Traces BEGIN only for an unknown handle, after the look-up and without the last number.
extern "C" int SpecialColumnsW(const zarray* statement, int identifier_type,
                               const zustring* catalog, const zustring* schema,
                               const zustring* table, int scope, int nullable, int* result)
{
    const Entry entry = EntryOf(kSpecialColumnsW, statement, result);
    return RunWithoutBegin(
        entry,
        [&]() -> Outcome {
            CStatement* queried = env.GetStatementPointer(HandleOf(statement, entry.handle_bytes));
            if (queried == nullptr) {
                Trace(Begin(entry.name), TracedBy(kSpecialColumnsW, statement, identifier_type,
                                                  catalog, schema, table, scope));
                return Outcome::UnknownHandle();
            }
            return CallWith(*queried, &CStatement::SpecialColumnsW, ForOdbc(identifier_type),
                            ForOdbc(catalog), ForOdbc(schema), ForOdbc(table), ForOdbc(scope),
                            ForOdbc(nullable));
        },
        UsualEnd(entry));
}

extern "C" int Statistics(const zarray* statement, const zarray* catalog, const zarray* schema,
                          const zarray* table, int unique, int* result)
{
    return Query(kStatistics, statement, result, &CStatement::Statistics, catalog, schema, table,
                 unique);
}

extern "C" int StatisticsW(const zarray* statement, const zustring* catalog, const zustring* schema,
                           const zustring* table, int unique, int* result)
{
    return Query(kStatisticsW, statement, result, &CStatement::StatisticsW, Unconverted{catalog},
                 Unconverted{schema}, Unconverted{table}, unique);
}

extern "C" int ForeignKeys(const zarray* statement, const zarray* pk_catalog,
                           const zarray* pk_schema, const zarray* pk_table,
                           const zarray* fk_catalog, const zarray* fk_schema,
                           const zarray* fk_table, int* result)
{
    return Query(kForeignKeys, statement, result, &CStatement::ForeignKeys, pk_catalog, pk_schema,
                 pk_table, fk_catalog, fk_schema, fk_table);
}

extern "C" int ForeignKeysW(const zarray* statement, const zustring* pk_catalog,
                            const zustring* pk_schema, const zustring* pk_table,
                            const zustring* fk_catalog, const zustring* fk_schema,
                            const zustring* fk_table, int* result)
{
    return Query(kForeignKeysW, statement, result, &CStatement::ForeignKeysW, pk_catalog, pk_schema,
                 pk_table, fk_catalog, fk_schema, fk_table);
}
