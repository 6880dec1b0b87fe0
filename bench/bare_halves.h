// The halves of pairs that consist of ODBC calls only. Each uses a connection and a statement of
// its own.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Meter.h"
#include "Source.h"

/// The names of the tasks that rivals are measured by, too.
inline constexpr char kFetchWithExecute[] = "FetchRows 100, with execute";
inline constexpr char kByKey[] = "query by key, prepared once";
inline constexpr char kByNewStatement[] = "query by key, one statement each";
inline constexpr char kFourParameters[] = "inserts, 4 parameters";

using Half = std::function<void(Meter&)>;

/// Rows are fetched in slices of the table, one after the other.
inline constexpr long kSliceRows = 5'000;
/// The query for the next slice; advances slice.
std::string NextSlice(const Source& source, long& slice);

/// Whether the driver's Execute is part of what counts.
enum class Counted { kWithExecute, kFetchOnly };

/// Runs a query over a slice and fetches its rows.
template <class Execute, class TakeRows>
void RunSlice(Meter& meter, Counted counted, Execute execute, TakeRows take_rows)
{
    if (counted == Counted::kWithExecute) {
        meter.Start();
    }
    execute();
    if (counted == Counted::kFetchOnly) {
        meter.Start();
    }
    take_rows();
    meter.Stop();
}

Half BareRows(const Source& source, const Mode& mode, Counted counted, SQLLEN buffer_bytes);

/// Queries for single rows throughout the table.
inline constexpr long kQueries = 200;
inline constexpr char kKeyQuery[] =
    "SELECT id, name, city, ordered, amount, note FROM bench_rows WHERE id = ?";
/// The keys of the next queries; advances query.
std::vector<long> NextKeys(const Source& source, long& query);
/// The same as queries with the key in their text.
std::vector<std::string> NextQueries(const Source& source, long& query);

Half BareKeyQueries(const Source& source, const Mode& mode);
Half BareNewStatements(const Source& source, const Mode& mode);

/// Inserts in one transaction, which is rolled back.
inline constexpr long kInserts = 500;
inline constexpr char kInsert[] = "INSERT INTO bench_inserts VALUES (?, ?, ?, ?)";
inline constexpr long kFirstNumber = 1'000;
inline constexpr std::string_view kInsertTexts[] = {"Springfield, north", "a text of usual length"};
inline constexpr double kInsertAmount = 1234.5;

Half BareInserts(const Source& source, const Mode& mode);
