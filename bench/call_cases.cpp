#include <algorithm>
#include <array>
#include <memory>
#include <random>

#include "Bare.h"
#include "Case.h"
#include "Host.h"

namespace {

constexpr long kCalls = 20'000;

/// A statement through the gateway, prepared.
struct Prepared {
    Prepared(const Source& source, const Mode& mode, const std::string& sql)
        : host(mode), connection(host.Connect(source)), statement(host.Statement(connection))
    {
        host.Prepare(statement, sql);
    }

    Host host;
    Handle connection;
    Handle statement;
};

/// Calls of an entry that does no ODBC work: call(Prepared&).
template <class Call>
auto WithoutOdbc(Call call)
{
    return [=](const Source& source, const Mode& mode) {
        auto side = std::make_shared<Prepared>(source, mode, SliceOf(1, 1) + " AND name = ?");
        side->host.BindParameter(side->statement, 1, SQL_C_CHAR, SQL_VARCHAR);
        Pair pair{{}, {}, kCalls, kCalls};
        pair.gateway = [=](Meter& meter) {
            Prepared& prepared = *side;
            meter.Start();
            for (long i = 0; i < kCalls; ++i) {
                call(prepared);
            }
            meter.Stop();
        };
        return pair;
    };
}

void CallWasError(Prepared& prepared)
{
    int32_t result = 0;
    prepared.host.call.was_error(&result);
}

void CallGetLastSqlCode(Prepared& prepared)
{
    int32_t result = 0;
    prepared.host.call.get_last_sql_code(&result);
}

void CallWithUnknownHandle(Prepared& prepared)
{
    static const Handle unknown;
    int32_t result = 0;
    prepared.host.call.num_result_cols(unknown.In(), &result);
}

void CallSetParameter(Prepared& prepared)
{
    static LongString value = LongString::Text("Springfield, north");
    int32_t result = 0;
    prepared.host.call.set_parameter(prepared.statement.In(), value.In(), 1, &result);
}

/// Statements on several connections. Their handles are ODBC's own, so that calls through the
/// gateway and bare ones use the same statements.
class Crowd {
public:
    Crowd(const Source& source, const Mode& mode, long connections, long statements, int library)
        : host_(mode, library)
    {
        for (long i = 0; i < connections; ++i) {
            const Handle connection = host_.Connect(source);
            for (long j = 0; j < statements; ++j) {
                handles_.push_back(host_.Statement(connection));
                host_.Prepare(handles_.back(), SliceOf(1, 1));
            }
        }
        std::ranges::shuffle(handles_, std::minstd_rand());  // an order that no cache can guess
    }

    void CallEach(Meter& meter) const
    {
        int32_t columns = 0;
        ForEach(meter,
                [&](const Handle& handle) { host_.call.num_result_cols(handle.In(), &columns); });
        Require(columns == kColumnCount, "columns are missing");
    }

    void CallEachBare(Meter& meter) const
    {
        SQLSMALLINT columns = 0;
        ForEach(meter, [&](const Handle& handle) { SQLNumResultCols(handle.Odbc(), &columns); });
        Require(columns == kColumnCount, "columns are missing");
    }

private:
    template <class Call>
    void ForEach(Meter& meter, Call call) const
    {
        meter.Start();
        for (long done = 0; done < kCalls;) {
            for (std::size_t i = 0; i < handles_.size() && done < kCalls; ++i, ++done) {
                call(handles_[i]);
            }
        }
        meter.Stop();
    }

    Host host_;
    std::vector<Handle> handles_;
};

Pair NumResultCols(const Source& source, const Mode& mode)
{
    auto one = std::make_shared<Crowd>(source, mode, 1, 1, 0);
    return {[=](Meter& meter) { one->CallEach(meter); },
            [=](Meter& meter) { one->CallEachBare(meter); }, kCalls, kCalls};
}

// What the library adds to a call with many statements, compared with what it adds with one: the
// halves differ by the one less the other, since each includes the bare calls of the other's crowd.
Pair ManyStatements(const Source& source, const Mode& mode)
{
    auto many = std::make_shared<Crowd>(source, mode, 100, 100, 0);
    auto one = std::make_shared<Crowd>(source, mode, 1, 1, 1);
    return {[=](Meter& meter) {
                many->CallEach(meter);
                one->CallEachBare(meter);
            },
            [=](Meter& meter) {
                one->CallEach(meter);
                many->CallEachBare(meter);
            },
            kCalls, kCalls};
}

constexpr int kPieceBytes = 60'000;
constexpr long kLongValue = 64L << 20;
constexpr long kPieces = (kLongValue + kPieceBytes - 1) / kPieceBytes;

// A value of 64 MB, read completely.
Pair LongData(const Source& source, const Mode& mode)
{
    const std::string sql = "SELECT zeroblob(" + std::to_string(kLongValue) + ")";
    auto side = std::make_shared<Prepared>(source, mode, sql);
    auto bare_connection = std::make_shared<BareConnection>(source, mode);
    auto bare = std::make_shared<BareStatement>(*bare_connection);
    bare->Prepare(sql);
    auto piece = std::make_shared<std::array<char, kPieceBytes>>();
    Pair pair{{}, {}, kLongValue >> 20, kPieces};
    pair.gateway = [=](Meter& meter) {
        const Entries& call = side->host.call;
        const zarray* statement = side->statement.In();
        ORVEL_EXSTR output{0, piece->data()};
        int32_t result = 0;
        long bytes = 0;
        side->host.Execute(side->statement);
        call.fetch(statement, &result);
        meter.Start();
        for (long i = 0; i < kPieces; ++i) {
            call.get_data_ex(statement, 1, SQL_C_BINARY, kPieceBytes, &output);
            bytes += output.length;
        }
        meter.Stop();
        side->host.CloseCursor(side->statement);
        Require(bytes == kLongValue, "bytes are missing");
    };
    pair.base = [=, keep = bare_connection](Meter& meter) {
        SQLLEN length = 0;
        bare->Execute();
        SQLFetch(bare->Handle());
        meter.Start();
        for (long i = 0; i < kPieces; ++i) {
            SQLGetData(bare->Handle(), 1, SQL_C_BINARY, piece->data(), kPieceBytes, &length);
        }
        meter.Stop();
        bare->CloseCursor();
        Require(length == kLongValue % kPieceBytes, "bytes are missing");
    };
    return pair;
}

constexpr long kStretch = 50'000;
constexpr long kManyRows = 10'000'000;
constexpr long kFewRows = 1'000;

// With StepAPI the driver reads row by row and does not hold ten million. Both results consist of
// the same rows.
Source StepByStep(Source source)
{
    source.connection_string += ";StepAPI=1";
    return source;
}

std::string RowsRepeated(long times)
{
    return std::string("SELECT ") + kColumns +
           " FROM (WITH RECURSIVE counter(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM counter "
           "WHERE i < " +
           std::to_string(times) + ") SELECT i FROM counter) CROSS JOIN " + kTable +
           " WHERE id <= " + std::to_string(kFewRows);
}

void TakeRows(const Host& host, const Handle& statement, long rows)
{
    constexpr int kRowsACall = 100;
    for (long taken = 0; taken < rows; taken += kRowsACall) {
        host.call.fetch_rows(statement.In(), kRowsACall, OutputArea());
    }
    Require(OutputArea()->length != 0, "rows are missing");
}

// Both through the gateway: the next rows of a large result, and as many in small ones.
Pair LargeResult(const Source& source, const Mode& mode)
{
    // As many additional rows as the first run fetches, which doesn't count.
    auto large = std::make_shared<Prepared>(StepByStep(source), mode,
                                            RowsRepeated((kManyRows + kStretch) / kFewRows));
    large->host.Execute(large->statement);
    // On a separate connection: the driver steps through one result per connection at a time.
    const Handle small = large->host.Statement(large->host.Connect(StepByStep(source)));
    Pair pair{{}, {}, kStretch, kStretch / 100};
    pair.gateway = [=](Meter& meter) {
        meter.Start();
        TakeRows(large->host, large->statement, kStretch);
        meter.Stop();
    };
    pair.base = [=](Meter& meter) {
        for (long taken = 0; taken < kStretch; taken += kFewRows) {
            // Prepared again each time: when executed again, the driver doesn't step.
            large->host.Prepare(small, RowsRepeated(1));
            large->host.Execute(small);
            meter.Start();
            TakeRows(large->host, small, kFewRows);
            meter.Stop();
            large->host.CloseCursor(small);
        }
    };
    return pair;
}

}  // namespace

std::vector<Case> CallCases()
{
    constexpr Goal kAtOnce{Goal::kNanoseconds, 15};
    return {
        {"WasError", kDefault, "call", kAtOnce, WithoutOdbc(CallWasError)},
        {"GetLastSQLCode", kDefault, "call", kAtOnce, WithoutOdbc(CallGetLastSqlCode)},
        {"an unknown handle", kDefault, "call", kAtOnce, WithoutOdbc(CallWithUnknownHandle)},
        {"SetParameter, no new binding", kDefault, "call", kAtOnce, WithoutOdbc(CallSetParameter)},
        {"NumResultCols", kDefault, "call", {Goal::kAbove, 30}, NumResultCols},
        {"10,000 statements against one",
         kDefault,
         "call",
         {Goal::kAbove, 60},
         ManyStatements,
         false},
        {"GetDataEx, 64 MB in pieces", kDefault, "MB", {Goal::kRatio, 1.03}, LongData},
        {"10,000,000 rows against 1,000",
         kNarrow,
         "row",
         {Goal::kRatio, 1.02},
         LargeResult,
         true,
         kManyRows / kStretch},
    };
}
