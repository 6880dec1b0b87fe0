// What the doctor reports of every source, reachable and not.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "LocalPort.h"
#include "run_tool.h"
#include "sources/source_fixture.h"

namespace {

/// The doctor's report begins every line with a subject and a verdict.
void ExpectLines(const Finished& run, const std::vector<std::string>& starts)
{
    for (const std::string& start : starts) {
        EXPECT_NE(("\n" + run.data).find("\n" + start), std::string::npos)
            << start << "\n"
            << run.data << run.messages;
    }
}

using Diagnosis = SourceTest;

TEST_P(Diagnosis, OfAReachableSource)
{
    const Finished run = RunDoctor(GetParam().ConnectionString());
    EXPECT_EQ(std::to_string(run.exit_code), Expected("doctor's code", "0"));
    const auto row = [&](const std::string& check, const std::string& usual) {
        return "  " + check + std::string(check == "long text whole" ? 13 : 7, ' ') +
               Expected("doctor's " + check, usual);
    };
    ExpectLines(
        run, {"driver          found", "kind            ok",
              "connection      ok           " + GetParam().product,
              "  NULL and empty text         ok         ok         ok",
              row("é Ω 日 as a parameter",
                  GetParam().is_narrow ? "ok         truncated  ok" : "ok         ok         ok"),
              row("long text whole", "ok         ok         ok")});
}

TEST_P(Diagnosis, OfAWrongPassword)
{
    if (Lacks("users")) {
        GTEST_SKIP();
    }
    const Finished run = RunDoctor(GetParam().ConnectionString(0, "wrong"));
    EXPECT_EQ(run.exit_code, 4);
    ExpectLines(run, {"connection      refused      SQLState:", "server          ok",
                      "cause           refused      the server answers, and refuses the user"});
}

TEST_P(Diagnosis, OfAServerThatIsDown)
{
    if (Lacks("a server")) {
        GTEST_SKIP();
    }
    const LocalPort closed(LocalPort::kNobody);
    const Finished run = RunDoctor(GetParam().ConnectionString(closed.number, "any"));
    EXPECT_EQ(run.exit_code, 4);
    ExpectLines(run, {"connection      refused      SQLState:", "server          unreachable",
                      "cause           no server    nothing is listening on 127.0.0.1 port " +
                          std::to_string(closed.number)});
}

INSTANTIATE_TEST_SUITE_P(Sources, Diagnosis, testing::ValuesIn(Sources()), SourceTest::NameOf);

// Debian's drivers with 2-byte wide characters, without a shim.
TEST(DriversOfWrongWidth, AreNamedWithTheirCure)
{
    const LocalPort closed(LocalPort::kNobody);
    const std::string postgresql = Sources().at(1).ConnectionString(0, "");
    ::setenv("PGPASSWORD", Sources().at(1).Password().c_str(), 1);
    const struct {
        const char* file;
        std::string rest;
        std::string shimmed;
    } cases[] = {
        {"psqlodbcw.so", postgresql.substr(postgresql.find(';')), "ok           PostgreSQL"},
        {"libmaodbc.so", ";Server=127.0.0.1;Port=" + std::to_string(closed.number), "refused"},
        {"libtdsodbc.so", ";Server=127.0.0.1;Port=" + std::to_string(closed.number), "refused"},
    };
    for (const auto& c : cases) {
        const Finished run =
            RunDoctor("DRIVER=" ORVELGW_DRIVER_FOLDER "/" + std::string(c.file) + c.rest);
        EXPECT_EQ(run.exit_code, 4);
        ExpectLines(run,
                    {"kind            wrong width  wide functions, with 2-byte characters",
                     "with the shim   " + c.shimmed, "cause           wrong width",
                     "                -> for -u: orvelgw shim utf16 " ORVELGW_DRIVER_FOLDER "/" +
                         std::string(c.file)});
    }
}

// libmaodbc.so 3.1.15 ignores a data source if the string names a driver.
TEST(DriversOfWrongWidth, AreTriedWithTheKeysOfADataSource)
{
    const TemporaryFolder folder;
    const auto file = folder.path / "odbc.ini";
    std::ofstream(file) << "[wrong]\nDriver=" ORVELGW_DRIVER_FOLDER "/libmaodbc.so\n"
                        << "Server=127.0.0.1\nUID=orvel\nPWD=" << Sources().at(2).Password()
                        << "\nPort=" << Slurp(Sources().at(2).ServerFile("port"));
    const Finished run = RunDoctor("wrong", "ODBCINI=" + file.string());
    ExpectLines(run, {"server          ok", "with the shim   ok           MariaDB"});
}

}  // namespace
