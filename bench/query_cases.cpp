#include <array>
#include <memory>

#include "Case.h"
#include "Host.h"
#include "bare_halves.h"

namespace {

/// A statement through the gateway.
struct Gateway {
    Gateway(const Source& source, const Mode& mode)
        : host(mode), connection(host.Connect(source)), statement(host.Statement(connection))
    {}

    Host host;
    Handle connection;
    Handle statement;
};

// Rows of a slice, as fetched by take_rows(const Gateway&).
template <class TakeRows>
Half GatewayRows(const Source& source, const Mode& mode, Counted counted, TakeRows take_rows)
{
    auto side = std::make_shared<Gateway>(source, mode);
    return [=, slice = 0L](Meter& meter) mutable {
        side->host.Prepare(side->statement, NextSlice(source, slice));
        RunSlice(
            meter, counted, [&] { side->host.Execute(side->statement); },
            [&] { take_rows(*side); });
        side->host.CloseCursor(side->statement);
    };
}

auto FetchRows(int rows, Counted counted)
{
    return [=](const Source& source, const Mode& mode) -> Pair {
        const auto take_rows = [=](const Gateway& side) {
            for (long taken = 0; taken < kSliceRows; taken += rows) {
                side.host.call.fetch_rows(side.statement.In(), rows, OutputArea());
            }
            Require(OutputArea()->length != 0, "rows are missing");
        };
        return {GatewayRows(source, mode, counted, take_rows),
                BareRows(source, mode, counted, mode.row_buffer), kSliceRows, kSliceRows / rows};
    };
}

Pair GetOneRow(const Source& source, const Mode& mode)
{
    const auto take_rows = [](const Gateway& side) {
        int32_t result = 0;
        for (long row = 0; row < kSliceRows; ++row) {
            side.host.call.fetch(side.statement.In(), &result);
            side.host.call.get_one_row(side.statement.In(), EmptyArgument(), OutputArea());
        }
        Require(result == SQL_SUCCESS, "rows are missing");
    };
    return {GatewayRows(source, mode, Counted::kFetchOnly, take_rows),
            BareRows(source, mode, Counted::kFetchOnly, mode.one_row_buffer), kSliceRows,
            2 * kSliceRows};
}

Half GatewayKeyQueries(const Source& source, const Mode& mode)
{
    auto side = std::make_shared<Gateway>(source, mode);
    side->host.Prepare(side->statement, kKeyQuery);
    side->host.BindParameter(side->statement, 1, SQL_C_SLONG, SQL_INTEGER);
    return [=, query = 0L](Meter& meter) mutable {
        std::vector<LongString> keys;
        for (const long key : NextKeys(source, query)) {
            keys.push_back(LongString::Integer(key));
        }
        const Entries& call = side->host.call;
        const zarray* statement = side->statement.In();
        int32_t result = 0;
        meter.Start();
        for (LongString& key : keys) {
            call.set_parameter(statement, key.In(), 1, &result);
            call.execute(statement, &result);
            call.fetch_rows(statement, 1, OutputArea());
            call.close_cursor(statement, &result);
        }
        meter.Stop();
        Require(OutputArea()->length != 0, "a row is missing");
    };
}

Half GatewayNewStatements(const Source& source, const Mode& mode)
{
    auto side = std::make_shared<Gateway>(source, mode);
    return [=, count = 0L](Meter& meter) mutable {
        std::vector<LongString> queries;
        for (std::string& query : NextQueries(source, count)) {
            queries.emplace_back(std::move(query));
        }
        const Entries& call = side->host.call;
        int32_t result = 0;
        Handle statement;
        meter.Start();
        for (LongString& query : queries) {
            call.alloc_statement(side->connection.In(), statement.Out());
            call.prepare(statement.In(), query.In(), &result);
            call.execute(statement.In(), &result);
            call.fetch_rows(statement.In(), 1, OutputArea());
            call.drop_statement(statement.In(), &result);
        }
        meter.Stop();
        Require(OutputArea()->length != 0, "a row is missing");
    };
}

Half GatewayInserts(const Source& source, const Mode& mode)
{
    auto side = std::make_shared<Gateway>(source, mode);
    side->host.SetAutocommit(side->connection, false);
    side->host.Prepare(side->statement, kInsert);
    side->host.BindParameter(side->statement, 1, SQL_C_SLONG, SQL_INTEGER);
    side->host.BindParameter(side->statement, 2, SQL_C_CHAR, SQL_VARCHAR);
    side->host.BindParameter(side->statement, 3, SQL_C_CHAR, SQL_VARCHAR);
    side->host.BindParameter(side->statement, 4, SQL_C_DOUBLE, SQL_DOUBLE);
    std::vector<LongString> numbers;
    for (long i = 0; i < kInserts; ++i) {
        numbers.push_back(LongString::Integer(kFirstNumber + i));
    }
    std::array others{LongString::Text(kInsertTexts[0]), LongString::Text(kInsertTexts[1]),
                      LongString::Double(kInsertAmount)};
    return [=](Meter& meter) mutable {
        const Entries& call = side->host.call;
        const zarray* statement = side->statement.In();
        int32_t result = 0;
        int32_t failed = 0;
        meter.Start();
        for (LongString& number : numbers) {
            call.set_parameter(statement, number.In(), 1, &result);
            call.set_parameter(statement, others[0].In(), 2, &result);
            call.set_parameter(statement, others[1].In(), 3, &result);
            call.set_parameter(statement, others[2].In(), 4, &result);
            call.execute(statement, &result);
            failed |= result;
        }
        meter.Stop();
        call.transact(side->connection.In(), SQL_ROLLBACK, &result);
        Require((failed | result) == SQL_SUCCESS, "an insert failed");
    };
}

Pair KeyQueries(const Source& source, const Mode& mode)
{
    return {GatewayKeyQueries(source, mode), BareKeyQueries(source, mode), kQueries, 4 * kQueries};
}

Pair NewStatements(const Source& source, const Mode& mode)
{
    return {GatewayNewStatements(source, mode), BareNewStatements(source, mode), kQueries,
            5 * kQueries};
}

Pair Inserts(const Source& source, const Mode& mode)
{
    return {GatewayInserts(source, mode), BareInserts(source, mode), kInserts, 5 * kInserts};
}

}  // namespace

std::vector<Case> QueryCases()
{
    struct RowCase {
        const char* name;
        double goals[std::size(kModes)];
        std::function<Pair(const Source&, const Mode&)> make;
    };
    const std::array row_cases{
        RowCase{kFetchWithExecute, {1.04, 1.09, 1.07}, FetchRows(100, Counted::kWithExecute)},
        RowCase{
            "FetchRows 100, fetch only", {1.15, 1.20, 1.15}, FetchRows(100, Counted::kFetchOnly)},
        RowCase{"FetchRows 20, fetch only", {1.20, 1.25, 1.20}, FetchRows(20, Counted::kFetchOnly)},
        RowCase{"Fetch + GetOneRow, fetch only", {1.45, 1.45, 1.45}, GetOneRow},
    };
    std::vector<Case> cases;
    for (const RowCase& rows : row_cases) {
        for (std::size_t mode = 0; mode < std::size(kModes); ++mode) {
            cases.push_back(
                {rows.name, kModes[mode], "row", {Goal::kRatio, rows.goals[mode]}, rows.make});
        }
    }
    cases.push_back({kByKey, kDefault, "query", {Goal::kRatio, 1.05}, KeyQueries});
    cases.push_back({kByNewStatement, kDefault, "query", {Goal::kRatio, 1.05}, NewStatements});
    cases.push_back({kFourParameters, kDefault, "insert", {Goal::kRatio, 1.15}, Inserts});
    return cases;
}
