// Reads rows through the gateway from several data sources in turn, and reports for each mode how
// much processor time a source takes relative to the first one: shim_speed ROUNDS STRING
// STRING...
#include <fmt/format.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "client/Gateway.h"
#include "client/Session.h"

namespace {

/// The time that reading took, and how much was read.
struct Reading {
    double seconds = 0;
    std::size_t bytes = 0;
};

Reading Read(const Session& session, const char* query)
{
    const Gateway& library = session.Library();
    const std::string statement(session.Call("AllocStatement").Bytes());
    library.CallOn(statement, "Prepare", {query});
    const std::clock_t start = std::clock();
    if (library.CallOn(statement, "Execute", {}).code != 0) {
        throw SqlError("Execute failed", session.Diagnostics(statement));
    }
    Reading reading;
    std::size_t came = 0;
    do {
        came = library.CallOn(statement, "FetchRows", {50}).List().size();
        reading.bytes += came;
    } while (came > 0);
    reading.seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    library.CallOn(statement, "DropStatement", {});
    return reading;
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

}  // namespace

int main(int count, char** words)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    const Gateway library(ORVELGW_LIBRARY);
    const int rounds = count > 4 ? std::atoi(words[1]) : 0;
    for (const bool unicode : {false, true}) {
        std::vector<std::vector<double>> taken(static_cast<std::size_t>(std::max(count - 3, 0)));
        std::size_t bytes = 0;
        for (int round = 0; round < rounds; ++round) {
            for (std::size_t i = 0; i < taken.size(); ++i) {
                const Session session(library, {.unicode = unicode}, words[i + 3]);
                const Reading reading = Read(session, words[2]);
                taken[i].push_back(reading.seconds);
                bytes = i == 0 ? reading.bytes : bytes;
                if (reading.bytes != bytes) {
                    throw SqlError("other text came than from the first source", {});
                }
            }
        }
        for (std::size_t i = 0; i < taken.size() && rounds > 0; ++i) {
            std::vector<double> ratios;
            for (std::size_t round = 0; round < taken[i].size(); ++round) {
                ratios.push_back(taken[i][round] / taken[0][round]);
            }
            fmt::print("{:7} {:.2f} s  {:.2f}  {} bytes  {}\n", unicode ? "-u" : "narrow",
                       Median(taken[i]), Median(ratios), bytes, words[i + 3]);
        }
    }
    return 0;
}
