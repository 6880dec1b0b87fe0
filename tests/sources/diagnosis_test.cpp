// What the doctor says of every source: of one that is there, and of one that can't be reached.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "LocalPort.h"
#include "run_tool.h"
#include "sources/source_fixture.h"

namespace {

// Passwords are in files and in the environment, as other users see what a command line has.

/// The doctor's report begins every line with a subject and a verdict.
void ExpectLines(const Finished& run, const std::vector<std::string>& starts)
{
    for (const std::string& start : starts) {
        EXPECT_NE(("\n" + run.data).find("\n" + start), std::string::npos)
            << start << "\n"
            << run.data << run.messages;
    }
}

class Diagnosis : public SourceTest {};

TEST_P(Diagnosis, OfASourceThatIsThere)
{
    const bool is_named = !GetParam().server.empty() && !Lacks("a name");
    const Finished run = RunDoctor(is_named ? GetParam().name : GetParam().ConnectionString());
    EXPECT_EQ(std::to_string(run.exit_code), Expected("doctor's code", "0"));
    const auto row = [this](const std::string& check, const std::string& usual) {
        return "  " + check + std::string(check == "long text whole" ? 13 : 7, ' ') +
               Expected("doctor's " + check, usual);
    };
    ExpectLines(run,
                {"driver          found", "kind            right",
                 "connection      right      " + GetParam().product,
                 "  NULL and empty text         right      right      right",
                 row("é Ω 日 as a parameter", GetParam().is_narrow ? "right      cut        right"
                                                                   : "right      right      right"),
                 row("long text whole", "right      right      right")});
}

TEST_P(Diagnosis, OfAWrongPassword)
{
    if (Lacks("users")) {
        GTEST_SKIP();
    }
    const Finished run = RunDoctor(GetParam().ConnectionString(0, "wrong"));
    EXPECT_EQ(run.exit_code, 4);
    ExpectLines(run, {"connection      refused    SQLState:", "server          right",
                      "cause           refused    the server is there, and refuses the user"});
}

TEST_P(Diagnosis, OfAServerThatIsDown)
{
    if (Lacks("a server")) {
        GTEST_SKIP();
    }
    const LocalPort closed(LocalPort::kNobody);
    const Finished run = RunDoctor(GetParam().ConnectionString(closed.number, "any"));
    EXPECT_EQ(run.exit_code, 4);
    ExpectLines(run, {"connection      refused    SQLState:", "server          unreached",
                      "cause           stopped    nobody listens at 127.0.0.1 port " +
                          std::to_string(closed.number)});
}

INSTANTIATE_TEST_SUITE_P(Sources, Diagnosis, testing::ValuesIn(Sources()), SourceTest::NameOf);

// The drivers of 2-byte wide characters that Debian has, as they come.
TEST(MisusedDrivers, AreNamedWithTheirCure)
{
    const LocalPort closed(LocalPort::kNobody);
    const std::string postgresql = Sources().at(1).ConnectionString(0, "");
    ::setenv("PGPASSWORD", Sources().at(1).Password().c_str(), 1);
    const struct {
        const char* file;
        std::string rest;
        std::string shimmed;
    } cases[] = {
        {"psqlodbcw.so", postgresql.substr(postgresql.find(';')), "right      PostgreSQL"},
        {"libmaodbc.so", ";Server=127.0.0.1;Port=" + std::to_string(closed.number), "refused"},
        {"libtdsodbc.so", ";Server=127.0.0.1;Port=" + std::to_string(closed.number), "refused"},
    };
    for (const auto& c : cases) {
        const Finished run =
            RunDoctor("DRIVER=" ORVELGW_DRIVER_FOLDER "/" + std::string(c.file) + c.rest);
        EXPECT_EQ(run.exit_code, 4);
        ExpectLines(run,
                    {"kind            misused    wide functions, of 2-byte characters",
                     "with the shim   " + c.shimmed, "cause           misused",
                     "                -> for -u: orvelgw shim utf16 " ORVELGW_DRIVER_FOLDER "/" +
                         std::string(c.file)});
    }
}

// libmaodbc.so 3.1.15 leaves a data source aside where the string names a driver.
TEST(MisusedDrivers, AreTriedWithTheKeysOfADataSource)
{
    const TemporaryFolder folder;
    const auto file = folder.path / "odbc.ini";
    std::ofstream(file) << "[misused]\nDriver=" ORVELGW_DRIVER_FOLDER "/libmaodbc.so\n"
                        << "Server=127.0.0.1\nUID=orvel\nPWD=" << Sources().at(2).Password()
                        << "\nPort=" << Slurp(Sources().at(2).ServerFile("port"));
    const Finished run = RunDoctor("misused", "ODBCINI=" + file.string());
    ExpectLines(run, {"server          right", "with the shim   right      MariaDB"});
}

}  // namespace
