#include "sources/Source.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

std::string Source::ConnectionString(int port) const
{
    return ConnectionString(port, Password());
}

std::string Source::ConnectionString(int port, const std::string& its_password) const
{
    if (server.empty()) {
        return driver;
    }
    std::string number = std::to_string(port);
    if (port == 0) {
        std::ifstream(ServerFile("port")) >> number;
    }
    return driver + server + number + ";UID=" + user + ";PWD=" + its_password;
}

std::string Source::Password() const
{
    std::string password;
    if (!server.empty()) {
        std::ifstream(ServerFile("password")) >> password;
    }
    return password;
}

std::string Source::Name(std::string its_name) const
{
    if (folds_to_capitals) {
        std::ranges::transform(its_name, its_name.begin(),
                               [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    }
    return its_name;
}

std::string Source::ServerFile(const std::string& file) const
{
    const char* folder = std::getenv("ORVELGW_SERVERS");
    if (folder == nullptr) {
        throw std::runtime_error("scripts/with-servers runs this");
    }
    return std::string(folder) + "/" + name.substr(0, name.find('_')) + "/" + file;
}

std::string Source::Expected(const std::string& its_case, std::string usual,
                             const std::string& version) const
{
    const auto take = [&](const std::map<std::string, std::string>& cases) {
        const auto found = cases.find(its_case);
        usual = found == cases.end() ? usual : found->second;
    };
    take(differs);
    for (const auto& [from, cases] : differs_from) {
        if (::strverscmp(version.c_str(), from.c_str()) >= 0) {
            take(cases);
        }
    }
    return usual;
}

namespace {

/// A source behind a shim that the build has copied for a driver file.
Source Behind(const std::string& face, const std::string& driver_file, Source source)
{
    source.name += "_" + face;
    source.driver.replace(0, source.driver.find(';'),
                          "DRIVER=" ORVELGW_SHIM_FOLDER "/" + face + "-" + driver_file);
    if (const auto charset = source.driver.find("Charset="); charset != std::string::npos) {
        source.driver.erase(charset);  // the shim asks for it by itself
    }
    source.lacks["a name"] = "its data source names the driver without this shim";
    source.is_narrow = face == "narrow";
    if (!source.is_narrow) {
        source.lacks["narrow driver"] = "the shim has wide functions";
    }
    if (face == "utf16") {
        source.differs["😀b"] = "😀b";
        source.differs["not as bytes"] = "😀b";
    }
    return source;
}

std::vector<Source> PlainSources()
{
    return {
        {
            .name = "sqlite",
            .product = "SQLite",
            .driver = "DRIVER={SQLite3};Database=" ORVELGW_SOURCES_DATABASE,
            .dialect = {.duplicate = {"(HY000)", "[19]", "UNIQUE constraint failed: t.a"}},
            .lacks = {{"users", "a file has no users"},
                      {"a server", "a file needs none"},
                      {"several results", "libsqlite3odbc.so 0.9998 takes one statement"},
                      {"procedures", "SQLite has none"},
                      {"privileges", "SQLite has none"},
                      {"long messages in records", "its driver has one record for an error"}},
            .differs = {{"decimal", "12345678901234.1"},  // SQLite keeps it as a double
                        {"integer for a decimal", "-7"},
                        {"large double", "1.0e+300"},
                        {"column c", R"("c", 12, 20, 0, )"},
                        {"special columns", "_ROWID_"}},
        },
        {
            .name = "postgresql",
            .product = "PostgreSQL",
            .driver = "DRIVER={PostgreSQL};Database=postgres;",
            .server = "Servername=127.0.0.1;Port=",
            .user = "orvel",
            .bad_login = "password authentication failed for user",
            .no_server = "Connection refused",
            .types = {.long_binary = "BYTEA"},
            .dialect = {.call_two_results = "SELECT 1; SELECT 'two'",
                        .procedure = "CREATE OR REPLACE FUNCTION twice(a INTEGER, OUT b INTEGER, "
                                     "INOUT c INTEGER) AS 'SELECT 2 * a, c + a' LANGUAGE SQL",
                        .duplicate = {"(23505)", "t_pkey", "Key (a)=(1) already exists"},
                        .many_rows = "SELECT generate_series(1, 100000)",
                        .reading_row_by_row = ";UseDeclareFetch=1;Fetch=100"},
            .lacks = {{"special columns", "psqlodbca.so 13.02 reports no row identifier"}},
            .differs = {{"column c", R"("c", 2, 20, 6, )"}},  // numeric and decimal are the same
        },
        {
            .name = "mariadb",
            .product = "MariaDB",
            .driver = "DRIVER={MariaDB};Database=orvel;Charset=utf8mb4;",
            .server = "Server=127.0.0.1;Port=",
            .user = "orvel",
            .bad_login = "(28000) NativeError: [1045]",
            .no_server = "Can't connect to server",
            .types = {.moment = "DATETIME(6)", .long_text = "LONGTEXT", .long_binary = "LONGBLOB"},
            .dialect = {.two_results =
                            "CREATE OR REPLACE PROCEDURE two() BEGIN SELECT 1; SELECT 'two'; END",
                        .call_two_results = "{call two()}",
                        .procedure = "CREATE OR REPLACE PROCEDURE twice(IN a INTEGER, "
                                     "OUT b INTEGER, INOUT c INTEGER) SET b = 2 * a, c = c + a",
                        .duplicate = {"(23000)", "[1062]", "Duplicate entry '1'"},
                        .many_rows = "SELECT seq FROM seq_1_to_100000",
                        .reads_ahead = true},
            .lacks = {{"login timeout",
                       "libmaodbc.so 3.1.15 ignores SQL_ATTR_LOGIN_TIMEOUT; its own keyword "
                       "CONN_TIMEOUT works"},
                      {"catalogs of a lost server",
                       "libmaodbc.so 3.1.15 crashes in SQLColumns after an SQLTables that failed"},
                      {"long messages in records", "its driver has one record for an error"}},
            .differs = {{"large double", "1e300"}},
        },
        {
            .name = "virtuoso",
            .product = "OpenLink Virtuoso",
            .driver = "DRIVER={Virtuoso};",
            .server = "HOST=127.0.0.1:",
            .user = "dba",
            .bad_login =
                "(28000) NativeError: [-1] Message: [OpenLink][Virtuoso iODBC Driver]CL034",
            .no_server = "CL033: Connect failed",
            .is_narrow = false,
            .wide_literal = "N",
            .folds_to_capitals = true,
            .types = {.moment = "DATETIME",
                      .text = "NVARCHAR(100)",
                      .long_text = "LONG NVARCHAR",
                      .long_binary = "LONG VARBINARY"},
            .dialect = {.two_results = "CREATE PROCEDURE two() { DECLARE a VARCHAR; "
                                       "result_names(a); result('1'); end_result(); "
                                       "result('two'); }",
                        .call_two_results = "{call two()}",
                        .procedure = "CREATE PROCEDURE twice(IN a INTEGER, OUT b INTEGER, "
                                     "INOUT c INTEGER) { b := 2 * a; c := c + a; }",
                        .duplicate = {"(23000)", "SR175", "index T on table DB.DBA.T"},
                        .many_rows = "SELECT TOP 100000 a.COL_ID "
                                     "FROM SYS_COLS a, SYS_COLS b, SYS_COLS c",
                        .keeping = "checkpoint"},
            .lacks = {{"login timeout", "virtodbcu_r.so 7.2.5 ignores SQL_ATTR_LOGIN_TIMEOUT"},
                      {"narrow driver", "virtodbcu_r.so is a Unicode driver"},
                      {"dates as wide text",
                       "virtodbcu_r.so 7.2.5 converts them in a buffer that it doesn't terminate"},
                      {"long messages in records", "its driver has one record for an error"}},
            .differs = {{"integer for a decimal", "-7"},
                        {"date", "2024-02-29 00:00:00"},
                        // virtodbcu_r.so 7.2.5 turns every SQL_C_SBIGINT into 0.
                        {"lowest of 64 bits", "0"},
                        {"highest of 64 bits", "0"},
                        // It keeps both surrogates of a pair, which the gateway joins in no mode.
                        {"😀b", "😀b"},
                        {"not as bytes", "😀b"},
                        // An UPDATE stores UTF-8 bytes as characters, unless it casts:
                        // CAST(? AS NVARCHAR). 7.2.12 doesn't.
                        {"updated text", "Î©b"},
                        {"doctor's code", "1"},
                        {"doctor's é Ω 日 as a parameter", "garbled    ok         ok"},
                        {"doctor's long text whole", "garbled    ok         garbled"},
                        {"column a", R"("A", 4, 10, 0, )"},
                        {"column b", R"("B", -9, 100, 0, )"},
                        {"column c", R"("C", 3, 20, 6, )"}},
            .differs_from = {{"07.20.3239",
                              {{"bad login",
                                "(28000) NativeError: [-1] Message: [OpenLink][Virtuoso ODBC "
                                "Driver]CL034"},
                               {"updated text", "Ωb"}}}},
        },
    };
}

}  // namespace

const std::vector<Source>& Sources()
{
    static const std::vector<Source> sources = [] {
        std::vector<Source> all = PlainSources();
        all.push_back(Behind("narrow", "libsqlite3odbc.so", all.at(0)));
        all.push_back(Behind("utf16", "libsqlite3odbc.so", all.at(0)));
        all.push_back(Behind("wide", "libsqlite3odbc.so", all.at(0)));
        all.push_back(Behind("utf16", "psqlodbca.so", all.at(1)));
        all.push_back(Behind("utf16", "libmaodbc.so", all.at(2)));
        all.push_back(Behind("wide", "libmaodbc.so", all.at(2)));
        return all;
    }();
    return sources;
}

void PrintTo(const Source& source, std::ostream* out)
{
    *out << source.name;
}
