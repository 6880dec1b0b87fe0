#include "bare_halves.h"

#include <array>
#include <memory>
#include <stdexcept>

#include "Bare.h"

namespace {

/// What a half keeps.
struct Bare {
    Bare(const Source& source, const Mode& used)
        : mode(used), connection(source, used), statement(connection)
    {}

    Mode mode;
    BareConnection connection;
    BareStatement statement;
};

// The values of an insert, bound once and changed in place.
struct InsertValues {
    long number = 0;
    std::array<std::array<char, 64>, std::size(kInsertTexts)> texts{};  // zero-terminated
    std::array<SQLLEN, std::size(kInsertTexts)> indicators{SQL_NTS, SQL_NTS};
    double amount = 0;
};

}  // namespace

std::string NextSlice(const Source& source, long& slice)
{
    const long slices = source.rows / kSliceRows;
    return SliceOf(slice++ % slices * kSliceRows + 1, kSliceRows);
}

std::vector<long> NextKeys(const Source& source, long& query)
{
    constexpr long kStride = 7'919;
    std::vector<long> keys;
    for (long i = 0; i < kQueries; ++i) {
        keys.push_back(query++ * kStride % source.rows + 1);
    }
    return keys;
}

std::vector<std::string> NextQueries(const Source& source, long& query)
{
    std::vector<std::string> queries;
    for (const long key : NextKeys(source, query)) {
        queries.push_back(SliceOf(key, 1));
    }
    return queries;
}

Half BareRows(const Source& source, const Mode& mode, Counted counted, SQLLEN buffer_bytes)
{
    auto bare = std::make_shared<Bare>(source, mode);
    return [=, slice = 0L](Meter& meter) mutable {
        SQLHSTMT statement = bare->statement.Handle();
        bare->statement.Prepare(NextSlice(source, slice));
        RunSlice(
            meter, counted, [&] { bare->statement.Execute(); },
            [&] {
                for (long row = 0; row < kSliceRows; ++row) {
                    SQLFetch(statement);
                    ReadColumns(statement, bare->mode, buffer_bytes);
                }
            });
        bare->statement.CloseCursor();
    };
}

Half BareKeyQueries(const Source& source, const Mode& mode)
{
    auto bare = std::make_shared<Bare>(source, mode);
    auto key = std::make_shared<long>(0);
    bare->statement.Prepare(kKeyQuery);
    bare->statement.BindInteger(1, *key);
    return [=, query = 0L](Meter& meter) mutable {
        const std::vector<long> keys = NextKeys(source, query);
        SQLHSTMT statement = bare->statement.Handle();
        meter.Start();
        for (const long value : keys) {
            *key = value;
            SQLExecute(statement);
            SQLFetch(statement);
            ReadColumns(statement, bare->mode, bare->mode.row_buffer);
            SQLFreeStmt(statement, SQL_CLOSE);
        }
        meter.Stop();
    };
}

Half BareNewStatements(const Source& source, const Mode& mode)
{
    auto bare = std::make_shared<Bare>(source, mode);
    return [=, count = 0L](Meter& meter) mutable {
        const std::vector<std::string> queries = NextQueries(source, count);
        meter.Start();
        for (const std::string& query : queries) {
            SQLHSTMT statement = nullptr;
            SQLAllocHandle(SQL_HANDLE_STMT, bare->connection.Handle(), &statement);
            SQLPrepare(statement, AsText(query), static_cast<SQLINTEGER>(query.size()));
            SQLExecute(statement);
            SQLFetch(statement);
            ReadColumns(statement, bare->mode, bare->mode.row_buffer);
            SQLFreeHandle(SQL_HANDLE_STMT, statement);
        }
        meter.Stop();
    };
}

Half BareInserts(const Source& source, const Mode& mode)
{
    auto bare = std::make_shared<Bare>(source, mode);
    auto values = std::make_shared<InsertValues>();
    bare->connection.SetAutocommit(false);
    bare->statement.Prepare(kInsert);
    bare->statement.BindInteger(1, values->number);
    for (std::size_t i = 0; i < values->texts.size(); ++i) {
        bare->statement.BindText(static_cast<SQLUSMALLINT>(2 + i), values->texts[i].data(),
                                 values->texts[i].size(), values->indicators[i]);
    }
    bare->statement.BindDouble(4, values->amount);
    return [=](Meter& meter) {
        SQLHSTMT statement = bare->statement.Handle();
        bool failed = false;
        meter.Start();
        for (long i = 0; i < kInserts; ++i) {
            values->number = kFirstNumber + i;
            for (std::size_t text = 0; text < values->texts.size(); ++text) {
                kInsertTexts[text].copy(values->texts[text].data(), kInsertTexts[text].size());
            }
            values->amount = kInsertAmount;
            failed |= SQLExecute(statement) != SQL_SUCCESS;
        }
        meter.Stop();
        bare->connection.Rollback();
        if (failed) {
            throw std::runtime_error("a bare insert failed");
        }
    };
}
