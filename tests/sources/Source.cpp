#include "sources/Source.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace {

// The folder that scripts/with-servers names.
std::string ServerFile(const std::string& path)
{
    const char* folder = std::getenv("ORVELGW_SERVERS");
    if (folder == nullptr) {
        throw std::runtime_error("run by scripts/with-servers");
    }
    return std::string(folder) + "/" + path;
}

Source Sqlite()
{
    Source source;
    source.name = "sqlite";
    source.driver = "DRIVER={SQLite3};Database=/tmp/x.db";
    source.lacks = {{"users", "a file has no users"}, {"a server", "a file needs none"}};
    source.differs = {{"decimal", "12345678901234.1"},  // SQLite keeps it as a double
                      {"integer for a decimal", "-7"},
                      {"large double", "1.0e+300"}};
    return source;
}

Source PostgreSql()
{
    Source source;
    source.name = "postgresql";
    source.driver = "DRIVER={PostgreSQL};Database=postgres;";
    source.server = "Servername=127.0.0.1;Port=";
    source.user = "orvel";
    source.password = "secret";
    source.types.long_binary = "BYTEA";
    return source;
}

Source MariaDb()
{
    Source source;
    source.name = "mariadb";
    source.driver = "DRIVER={MariaDB};Database=orvel;Charset=utf8mb4;";
    source.server = "Server=127.0.0.1;Port=";
    source.user = "orvel";
    source.password = "secret";
    source.types.moment = "DATETIME(6)";
    source.lacks = {{"login timeout",
                     "libmaodbc.so 3.1.15 leaves SQL_ATTR_LOGIN_TIMEOUT aside; its own keyword "
                     "CONN_TIMEOUT does it"}};
    source.differs = {{"large double", "1e300"}};
    source.types.long_text = "LONGTEXT";
    source.types.long_binary = "LONGBLOB";
    return source;
}

Source Virtuoso()
{
    Source source;
    source.name = "virtuoso";
    source.driver = "DRIVER={Virtuoso};";
    source.server = "HOST=127.0.0.1:";
    source.user = "dba";
    source.password = "dba";
    source.is_narrow = false;
    source.types.moment = "DATETIME";
    source.lacks = {{"login timeout",
                     "virtodbcu_r.so 7.2.5 leaves SQL_ATTR_LOGIN_TIMEOUT aside and waits on"},
                    {"narrow driver", "virtodbcu_r.so is a Unicode driver"}};
    source.differs = {
        {"integer for a decimal", "-7"},
        {"date", "2024-02-29 00:00:00"},
        // virtodbcu_r.so 7.2.5 makes 0 of every SQL_C_SBIGINT.
        {"lowest of 64 bits", "0"},
        {"highest of 64 bits", "0"},
        // It keeps the halves of a pair, of which the gateway makes one in no mode.
        {"😀b", "😀b"},
        {"not as bytes", "😀b"},
    };
    source.types.text = "NVARCHAR(100)";
    source.types.long_text = "LONG NVARCHAR";
    source.types.long_binary = "LONG VARBINARY";
    return source;
}

}  // namespace

std::string Source::ConnectionString(int port) const
{
    return ConnectionString(port, password);
}

std::string Source::ConnectionString(int port, const std::string& its_password) const
{
    if (server.empty()) {
        return driver;
    }
    std::string number = std::to_string(port);
    if (port == 0) {
        std::ifstream(ServerFile(name + "/port")) >> number;
    }
    return driver + server + number + ";UID=" + user + ";PWD=" + its_password;
}

const std::vector<Source>& Sources()
{
    static const std::vector<Source> sources = {Sqlite(), PostgreSql(), MariaDb(), Virtuoso()};
    return sources;
}

void PrintTo(const Source& source, std::ostream* out)
{
    *out << source.name;
}
