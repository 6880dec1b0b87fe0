#include "Source.h"

#include <fmt/format.h>

#include <array>
#include <stdexcept>

#include "Bare.h"

namespace {

constexpr std::array kNames{"Smith & Sons", "Björn Åkesson", "Nakamura Trading",
                            "O'Neill",      "Garcia Lopez",  "Hoffmann Brothers",
                            "Petrov"};
constexpr std::array kCities{"Springfield", "Zürich", "Leeds", "Kraków", "Boston",
                             "Montevideo",  "Ghent",  "Perth", "Lisbon"};

// One row's parameters, bound once.
class RowWriter {
public:
    explicit RowWriter(const BareStatement& insert) : insert_(insert)
    {
        insert.BindInteger(1, id_);
        for (std::size_t i = 0; i < texts_.size(); ++i) {
            insert.BindText(static_cast<SQLUSMALLINT>(i + 2), texts_[i].data(), kTextSize,
                            indicators_[i]);
        }
    }

    void Write(long row)
    {
        const auto i = static_cast<std::size_t>(row);
        id_ = row;
        Print(0, "{} {}", kNames[i % kNames.size()], row % 1000);
        Print(1, "{}", kCities[i % kCities.size()]);
        Print(2, "20{:02}-{:02}-{:02}", row % 27, row % 12 + 1, row % 28 + 1);
        Print(3, "{}.{:02}", row * 7'919 % 10'000, row % 100);
        Print(4, "Order {} of the year, to be delivered", row);
        indicators_[4] = row % 10 == 0 ? SQL_NULL_DATA : SQL_NTS;
        insert_.Execute();
    }

private:
    static constexpr std::size_t kTextSize = 64;

    template <class... Values>
    void Print(std::size_t text, fmt::format_string<Values...> format, Values&&... values)
    {
        *fmt::format_to_n(texts_[text].data(), kTextSize - 1, format,
                          std::forward<Values>(values)...)
             .out = '\0';
    }

    const BareStatement& insert_;
    long id_ = 0;
    std::array<std::array<char, kTextSize>, 5> texts_{};
    std::array<SQLLEN, 5> indicators_{SQL_NTS, SQL_NTS, SQL_NTS, SQL_NTS, SQL_NTS};
};

long RowsThere(const BareConnection& connection)
{
    try {
        const BareStatement count(connection);
        count.Run(std::string("SELECT count(*) FROM ") + kTable);
        return count.FetchNumber();
    } catch (const std::runtime_error&) {
        return -1;  // there is no such table
    }
}

}  // namespace

std::string SliceOf(long first, long rows)
{
    return std::string("SELECT ") + kColumns + " FROM " + kTable + " WHERE id BETWEEN " +
           std::to_string(first) + " AND " + std::to_string(first + rows - 1);
}

std::string VersionOf(const Source& source)
{
    const BareConnection connection(source, kDefault);
    return fmt::format("{}, driver {} {}, iODBC {}", connection.Information(SQL_DBMS_VER),
                       connection.Information(SQL_DRIVER_NAME),
                       connection.Information(SQL_DRIVER_VER), connection.Information(SQL_DM_VER));
}

void MakeTables(const Source& source)
{
    const BareConnection connection(source, kDefault);
    const long there = RowsThere(connection);
    if (there == source.rows) {
        return;
    }
    const BareStatement statement(connection);
    if (there >= 0) {
        statement.Run(std::string("DROP TABLE ") + kTable);
        statement.Run("DROP TABLE bench_inserts");
    }
    statement.Run(std::string("CREATE TABLE ") + kTable +
                  "(id INTEGER PRIMARY KEY, name VARCHAR(40), city VARCHAR(30), "
                  "ordered VARCHAR(10), amount NUMERIC(10,2), note VARCHAR(60))");
    statement.Run(
        "CREATE TABLE bench_inserts(a INTEGER, b VARCHAR(40), c VARCHAR(40), "
        "d DOUBLE PRECISION)");
    connection.SetAutocommit(false);
    statement.Prepare(std::string("INSERT INTO ") + kTable + "(" + kColumns +
                      ") VALUES (?, ?, ?, ?, ?, ?)");
    RowWriter writer(statement);
    for (long row = 1; row <= source.rows; ++row) {
        writer.Write(row);
    }
    connection.Commit();
}
