#include <array>
#include <cstring>
#include <memory>

#include "Bare.h"
#include "Case.h"
#include "Host.h"

namespace {

/// A statement on either side.
struct Statements {
    Statements(const Source& source, const Mode& used)
        : mode(used),
          host(used),
          connection(host.Connect(source)),
          statement(host.Statement(connection)),
          bare_connection(source, used),
          bare(bare_connection)
    {}

    Mode mode;
    Host host;
    Handle connection;
    Handle statement;
    BareConnection bare_connection;
    BareStatement bare;
};

/// Slices of the table, one behind the other, each for both sides.
class Slices {
public:
    Slices(const Source& source, long rows) : rows_(rows), count_(source.rows / rows) {}

    std::string Next(long& slice) const { return SliceOf(slice++ % count_ * rows_ + 1, rows_); }

private:
    long rows_;
    long count_;
};

enum class Counted { kWithExecute, kFetchOnly };

// Runs a query over a slice, then rows(); the stretch that counts starts before or after Execute.
template <class Side, class Rows>
void RunSlice(Meter& meter, Counted counted, Side execute, Rows rows)
{
    if (counted == Counted::kWithExecute) {
        meter.Start();
    }
    execute();
    if (counted == Counted::kFetchOnly) {
        meter.Start();
    }
    rows();
    meter.Stop();
}

constexpr long kSliceRows = 5'000;

// Rows as fetch(), which the gateway's side does its own way, and as ODBC calls.
template <class FetchAll>
Pair RowsPair(const Source& source, const Mode& mode, Counted counted, SQLLEN buffer, long calls,
              FetchAll fetch_all)
{
    auto side = std::make_shared<Statements>(source, mode);
    const Slices slices(source, kSliceRows);
    Pair pair{{}, {}, kSliceRows, calls};
    pair.gateway = [=, slice = 0L](Meter& meter) mutable {
        side->host.Prepare(side->statement, slices.Next(slice));
        RunSlice(
            meter, counted, [&] { side->host.Execute(side->statement); },
            [&] { fetch_all(*side); });
        side->host.CloseCursor(side->statement);
    };
    pair.base = [=, slice = 0L](Meter& meter) mutable {
        side->bare.Prepare(slices.Next(slice));
        RunSlice(
            meter, counted, [&] { side->bare.Execute(); },
            [&] {
                for (long row = 0; row < kSliceRows; ++row) {
                    SQLFetch(side->bare.Handle());
                    ReadColumns(side->bare.Handle(), side->mode, buffer);
                }
            });
        side->bare.CloseCursor();
    };
    return pair;
}

auto FetchRows(int rows, Counted counted)
{
    return [=](const Source& source, const Mode& mode) {
        return RowsPair(source, mode, counted, mode.row_buffer, kSliceRows / rows,
                        [=](const Statements& side) {
                            for (long taken = 0; taken < kSliceRows; taken += rows) {
                                side.host.call.fetch_rows(side.statement.In(), rows, OutputArea());
                            }
                            Require(OutputArea()->length != 0, "rows are missing");
                        });
    };
}

Pair GetOneRow(const Source& source, const Mode& mode)
{
    return RowsPair(source, mode, Counted::kFetchOnly, mode.one_row_buffer, 2 * kSliceRows,
                    [](const Statements& side) {
                        int32_t result = 0;
                        for (long row = 0; row < kSliceRows; ++row) {
                            side.host.call.fetch(side.statement.In(), &result);
                            side.host.call.get_one_row(side.statement.In(), EmptyArgument(),
                                                       OutputArea());
                        }
                        Require(result == SQL_SUCCESS, "rows are missing");
                    });
}

constexpr long kQueries = 200;

// Rows here and there in the table, others each time; query counts on.
std::vector<long> NextKeys(const Source& source, long& query)
{
    std::vector<long> keys;
    for (long i = 0; i < kQueries; ++i) {
        keys.push_back(query++ * 7'919 % source.rows + 1);
    }
    return keys;
}

Pair KeyQueries(const Source& source, const Mode& mode)
{
    const std::string sql = std::string("SELECT ") + kColumns + " FROM " + kTable + " WHERE id = ?";
    auto side = std::make_shared<Statements>(source, mode);
    auto key = std::make_shared<SQLINTEGER>(0);
    side->host.Prepare(side->statement, sql);
    side->host.BindParameter(side->statement, 1, SQL_C_SLONG, SQL_INTEGER);
    side->bare.Prepare(sql);
    side->bare.BindInteger(1, *key);

    Pair pair{{}, {}, kQueries, 4 * kQueries};
    pair.gateway = [=, query = 0L](Meter& meter) mutable {
        std::vector<LongString> values;
        for (const long value : NextKeys(source, query)) {
            values.push_back(LongString::Integer(value));
        }
        const Entries& call = side->host.call;
        const zarray* statement = side->statement.In();
        int32_t result = 0;
        meter.Start();
        for (LongString& value : values) {
            call.set_parameter(statement, value.In(), 1, &result);
            call.execute(statement, &result);
            call.fetch_rows(statement, 1, OutputArea());
            call.close_cursor(statement, &result);
        }
        meter.Stop();
        Require(OutputArea()->length != 0, "a row is missing");
    };
    pair.base = [=, query = 0L](Meter& meter) mutable {
        const std::vector<long> keys = NextKeys(source, query);
        SQLHSTMT statement = side->bare.Handle();
        meter.Start();
        for (const long value : keys) {
            *key = static_cast<SQLINTEGER>(value);
            SQLExecute(statement);
            SQLFetch(statement);
            ReadColumns(statement, side->mode, side->mode.row_buffer);
            SQLFreeStmt(statement, SQL_CLOSE);
        }
        meter.Stop();
    };
    return pair;
}

Pair NewStatements(const Source& source, const Mode& mode)
{
    auto side = std::make_shared<Statements>(source, mode);
    const auto next_queries = [source](long& query) {
        std::vector<std::string> queries;
        for (const long key : NextKeys(source, query)) {
            queries.push_back(SliceOf(key, 1));
        }
        return queries;
    };
    Pair pair{{}, {}, kQueries, 5 * kQueries};
    pair.gateway = [=, count = 0L](Meter& meter) mutable {
        const std::vector<std::string> queries = next_queries(count);
        const Entries& call = side->host.call;
        const zarray* connection = side->connection.In();
        int32_t result = 0;
        Handle statement;
        meter.Start();
        for (const std::string& query : queries) {
            ORVEL_EXSTR text{static_cast<uint32_t>(query.size()), const_cast<char*>(query.data())};
            call.alloc_statement(connection, statement.Out());
            call.prepare(statement.In(), &text, &result);
            call.execute(statement.In(), &result);
            call.fetch_rows(statement.In(), 1, OutputArea());
            call.drop_statement(statement.In(), &result);
        }
        meter.Stop();
        Require(OutputArea()->length != 0, "a row is missing");
    };
    pair.base = [=, count = 0L](Meter& meter) mutable {
        const std::vector<std::string> queries = next_queries(count);
        meter.Start();
        for (const std::string& query : queries) {
            SQLHSTMT statement = nullptr;
            SQLAllocHandle(SQL_HANDLE_STMT, side->bare_connection.Handle(), &statement);
            SQLPrepare(statement, AsText(query), static_cast<SQLINTEGER>(query.size()));
            SQLExecute(statement);
            SQLFetch(statement);
            ReadColumns(statement, side->mode, side->mode.row_buffer);
            SQLFreeHandle(SQL_HANDLE_STMT, statement);
        }
        meter.Stop();
    };
    return pair;
}

constexpr long kInserts = 500;
constexpr std::array kTexts{"Springfield, north", "a text of usual length"};

// The values that the ODBC side binds once, and changes where they lie.
struct InsertValues {
    SQLINTEGER number = 0;
    std::array<std::array<char, 64>, 2> texts{};
    std::array<SQLLEN, 2> indicators{SQL_NTS, SQL_NTS};
    double amount = 0;
};

Pair Inserts(const Source& source, const Mode& mode)
{
    constexpr char kInsert[] = "INSERT INTO bench_inserts VALUES (?, ?, ?, ?)";
    auto side = std::make_shared<Statements>(source, mode);
    auto bound = std::make_shared<InsertValues>();
    side->host.SetAutocommit(side->connection, false);
    side->host.Prepare(side->statement, kInsert);
    side->host.BindParameter(side->statement, 1, SQL_C_SLONG, SQL_INTEGER);
    side->host.BindParameter(side->statement, 2, SQL_C_CHAR, SQL_VARCHAR);
    side->host.BindParameter(side->statement, 3, SQL_C_CHAR, SQL_VARCHAR);
    side->host.BindParameter(side->statement, 4, SQL_C_DOUBLE, SQL_DOUBLE);
    side->bare_connection.SetAutocommit(false);
    side->bare.Prepare(kInsert);
    side->bare.BindInteger(1, bound->number);
    side->bare.BindText(2, bound->texts[0].data(), bound->texts[0].size(), bound->indicators[0]);
    side->bare.BindText(3, bound->texts[1].data(), bound->texts[1].size(), bound->indicators[1]);
    side->bare.BindDouble(4, bound->amount);

    Pair pair{{}, {}, kInserts, 5 * kInserts};
    std::vector<LongString> numbers;
    for (long i = 0; i < kInserts; ++i) {
        numbers.push_back(LongString::Integer(1'000 + i));
    }
    std::array<LongString, 3> rest{LongString::Text(kTexts[0]), LongString::Text(kTexts[1]),
                                   LongString::Double(1234.5)};
    pair.gateway = [=](Meter& meter) mutable {
        const Entries& call = side->host.call;
        const zarray* statement = side->statement.In();
        int32_t result = 0;
        int32_t failed = 0;
        meter.Start();
        for (LongString& number : numbers) {
            call.set_parameter(statement, number.In(), 1, &result);
            call.set_parameter(statement, rest[0].In(), 2, &result);
            call.set_parameter(statement, rest[1].In(), 3, &result);
            call.set_parameter(statement, rest[2].In(), 4, &result);
            call.execute(statement, &result);
            failed |= result;
        }
        meter.Stop();
        call.transact(side->connection.In(), SQL_ROLLBACK, &result);
        Require((failed | result) == SQL_SUCCESS, "an insert failed");
    };
    pair.base = [=](Meter& meter) {
        SQLHSTMT statement = side->bare.Handle();
        SQLRETURN failed = SQL_SUCCESS;
        meter.Start();
        for (long i = 0; i < kInserts; ++i) {
            bound->number = static_cast<SQLINTEGER>(1'000 + i);
            std::strcpy(bound->texts[0].data(), kTexts[0]);
            std::strcpy(bound->texts[1].data(), kTexts[1]);
            bound->amount = 1234.5;
            failed = static_cast<SQLRETURN>(failed | SQLExecute(statement));
        }
        meter.Stop();
        side->bare_connection.Rollback();
        Require(failed == SQL_SUCCESS, "a bare insert failed");
    };
    return pair;
}

// A goal for each mode, in the order of kModes.
using Goals = std::array<double, std::size(kModes)>;

}  // namespace

std::vector<Case> QueryCases()
{
    struct RowCase {
        const char* name;
        Goals goals;
        std::function<Pair(const Source&, const Mode&)> make;
    };
    const std::array row_cases{
        RowCase{"FetchRows 100, with execute",
                {1.04, 1.09, 1.07},
                FetchRows(100, Counted::kWithExecute)},
        RowCase{
            "FetchRows 100, fetch only", {1.15, 1.20, 1.15}, FetchRows(100, Counted::kFetchOnly)},
        RowCase{"FetchRows 20, fetch only", {1.20, 1.25, 1.20}, FetchRows(20, Counted::kFetchOnly)},
        RowCase{"Fetch + GetOneRow, fetch only", {1.45, 1.45, 1.45}, GetOneRow},
    };
    std::vector<Case> cases;
    for (const RowCase& rows : row_cases) {
        for (std::size_t mode = 0; mode < rows.goals.size(); ++mode) {
            cases.push_back({rows.name,
                             kModes[mode],
                             "row",
                             {Goal::kRatio, rows.goals[mode]},
                             rows.make,
                             true});
        }
    }
    cases.push_back(
        {"query by key, prepared once", kDefault, "query", {Goal::kRatio, 1.05}, KeyQueries});
    cases.push_back(
        {"query by key, a statement each", kDefault, "query", {Goal::kRatio, 1.05}, NewStatements});
    cases.push_back({"inserts, 4 parameters", kDefault, "insert", {Goal::kRatio, 1.15}, Inserts});
    return cases;
}
