// Many calls: whether memory grows over a million of them, over connections, over loading and
// unloading the library; and whether the process survives a server being killed in the middle of a
// call. scripts/soak runs it.
#include <dlfcn.h>
#include <fmt/format.h>
#include <malloc.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <memory>
#include <random>
#include <thread>

#include "GuardedHost.h"
#include "client/Gateway.h"
#include "client/HostList.h"
#include "client/HostServices.h"
#include "sources/Server.h"

namespace {

/// Heap bytes that the process holds. They include what the C library caches for a thread, so
/// scripts/soak disables the cache.
std::size_t HeapInUse()
{
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Pages of the process in memory, in kilobytes.
std::size_t ResidentKilobytes()
{
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / 1024;
}

/// A source, and the calls that are made over it.
class Soak {
public:
    explicit Soak(const Source& its_source) : source(its_source) {}

    void Connect() { Open(Connected()); }
    void Disconnect()
    {
        On("DropStatement");
        Call("Disconnect", {connection_});
    }
    void Reload()
    {
        gateway_.reset();
        gateway_ = std::make_unique<Gateway>(ORVELGW_LIBRARY);
    }
    /// Closes what is open of a lost connection and opens another, on a restarted server.
    void Restart()
    {
        Call("GetSQLErrors", {connection_, statement_});
        Disconnect();
        Open(RestartedServer(source, [this] { return Connected(); }));
        MakeTable();
    }

    /// Creates the table again. What is done from then on is the same every time.
    void MakeTable()
    {
        row_ = 0;
        random_.seed(1);
        Run("DROP TABLE soak");
        Run(fmt::format("CREATE TABLE soak(a INTEGER NOT NULL PRIMARY KEY, b {}, c {})",
                        source.types.text, source.types.long_text));
    }

    /// Makes the calls of a kind.
    void Do(long kind) { (this->*kKinds.at(static_cast<std::size_t>(kind % Kinds())))(); }
    static long Kinds() { return std::ssize(kKinds); }
    static bool IsCatalog(long kind)
    {
        return kKinds.at(static_cast<std::size_t>(kind % Kinds())) == &Soak::Catalogs;
    }

    const Source& source;
    long calls = 0;

private:
    Reply Call(const char* entry, const std::vector<Argument>& inputs = {})
    {
        ++calls;
        return gateway_->Call(entry, inputs);
    }
    Reply On(const char* entry, const std::vector<Argument>& rest = {})
    {
        ++calls;
        return gateway_->CallOn(statement_, entry, rest);
    }
    std::string Connected()
    {
        return std::string(Call("DSNConnect", {source.ConnectionString()}).Bytes());
    }
    void Open(std::string connection)
    {
        connection_ = std::move(connection);
        if (connection_.empty()) {
            throw std::runtime_error(std::string(Call("GetSQLErrors", {"", ""}).Bytes()));
        }
        statement_ = Call("AllocStatement", {connection_}).Bytes();
    }
    void Run(const std::string& sql)
    {
        On("Prepare", {sql});
        On("Execute");
    }
    std::string Text(std::size_t most)
    {
        std::string text(random_() % most, 'x');
        return text;
    }

    void Insert()
    {
        if (++row_ % 40 == 0) {
            Run("DELETE FROM soak");
        }
        On("Prepare", {"INSERT INTO soak VALUES(?, ?, ?)"});
        On("BindParameters", {EncodeList({0, 10, 10}), EncodeList({4, 12, 12}), "",
                              EncodeList({1, 1, 1}), EncodeList({10, 100, 4'000})});
        On("SetParameter", {EncodeList({row_}), 1});
        On("SetParameter", {EncodeList({Text(90) + "\u00E9"}), 2});
        On("SetParameter", {EncodeList({UnitsFromUtf8(Text(3'000))}), 3});
        On("Execute");
        On("RowCount");
        On("UnbindParameters");
    }

    void FetchRows()
    {
        Run("SELECT a, b, c FROM soak");
        On("DescribeColumns");
        while (!On("FetchRows", {7}).Bytes().empty() && Call("WasError").code == 0) {
        }
        On("CloseCursor");
    }

    void ReadPieces()
    {
        Run("SELECT c FROM soak");
        for (int rows = 0; rows < 3 && On("Fetch").code == 0; ++rows) {
            uint32_t came = 1;
            for (int pieces = 0; pieces < 9 && came != 0; ++pieces) {
                came = On("GetDataEx", {1, random_() % 2 == 0 ? 1 : -8, 1'000}).length;
            }
        }
        On("CloseCursor");
    }

    void OneRow()
    {
        Run("SELECT a, b FROM soak");
        On("Fetch");
        On("NumColAttribute", {1, 2});
        On("StrColAttribute", {2, 1});
        On("GetOneRow", {EncodeList({1, 2})});
        On("CloseCursor");
    }

    void Err()
    {
        Run("SELECT nothing FROM nowhere");
        Call("GetSQLErrors", {connection_, statement_});
        Call("Execute", {std::string("\x01\x02\x03\x04\x05\x06\x07\x08")});
        On("BindParameter", {1, 99, 9999, 9999, 1, 1, 1});  // refused
        Call("GetSQLErrors", {connection_, statement_});
        On("UnbindParameters");
        Call("DSNConnect", {"nowhere"});
        Call("GetSQLErrors", {"", ""});
    }

    void Catalogs()
    {
        const std::string table = source.Name("soak");
        const std::pair<const char*, std::vector<Argument>> entries[] = {
            {"Tables", {"", "", table, ""}},
            {"ColumnsW", {u"", u"", UnitsFromUtf8(table), u""}},
            {"GetTypeInfo", {0}},
        };
        for (const auto& [entry, rest] : entries) {
            On(entry, rest);
            On("FetchRows", {10});
            On("CloseCursor");
        }
        Call("GetInfo", {connection_, 17});
    }

    void Transaction()
    {
        Call("SetConnectOption", {connection_, 102, 0});
        Insert();
        Call("Transact", {connection_, static_cast<int32_t>(random_() % 2)});
        Call("SetConnectOption", {connection_, 102, 1});
    }

    void OtherStatement()
    {
        const std::string first =
            std::exchange(statement_, std::string(Call("AllocStatement", {connection_}).Bytes()));
        On("SetStmtOption", {0, 5});
        On("Prepare", {"SELECT a FROM soak WHERE a = ?"});
        On("BindParameter", {1, 1, 4, 4, 10, 0, 0});
        On("DescribeParameters");
        On("NumResultCols");
        On("DropStatement");
        statement_ = first;
        Call("SetUnicodeOption", {static_cast<int32_t>(random_() % 2)});
    }

    void OtherConnection() { Call("Disconnect", {Connected()}); }

    using Kind = void (Soak::*)();
    static constexpr std::array<Kind, 9> kKinds = {&Soak::Insert,
                                                   &Soak::FetchRows,
                                                   &Soak::ReadPieces,
                                                   &Soak::OneRow,
                                                   &Soak::Err,
                                                   &Soak::Catalogs,
                                                   &Soak::Transaction,
                                                   &Soak::OtherStatement,
                                                   &Soak::OtherConnection};

    std::unique_ptr<Gateway> gateway_ = std::make_unique<Gateway>(ORVELGW_LIBRARY);
    std::mt19937 random_{1};
    std::string connection_;
    std::string statement_;
    std::int64_t row_ = 0;
};

/// Does something that many times, after a tenth of them to warm up, and prints the growth of
/// memory.
template <class Work>
bool HasGrown(const Source& source, const char* what, long times, Work work)
{
    if (times == 0) {
        return false;
    }
    for (long done = 0; done < times / 10;) {
        done += work();
    }
    const auto heap = HeapInUse();
    const auto resident = ResidentKilobytes();
    for (long done = 0; done < times;) {
        done += work();
    }
    const auto growth = static_cast<long>(HeapInUse() - heap);
    fmt::print("{}: {} {}: heap {:+} bytes, resident {:+} KB\n", source.name, times, what, growth,
               static_cast<long>(ResidentKilobytes() - resident));
    std::fflush(stdout);
    // A leak is at least a hundredth of a byte each time; less is a block that was slightly larger.
    return growth > 64 + times / 100;
}

struct Amounts {
    long calls = 1'000'000;
    long connects = 10'000;
    long loads = 1'000;
    long kills = 0;
    int only_kind = -1;  // of calls; -1: all
};

// Kills the server while calls of each kind in turn are running. Returns how often.
long KillInCalls(Soak& soak, long kills)
{
    std::minstd_rand random(7);
    long killed = 0;
    for (long kill = 0; kill < kills; ++kill) {
        if (const auto lack = soak.source.lacks.find("catalogs of a lost server");
            lack != soak.source.lacks.end() && Soak::IsCatalog(kill)) {
            if (kill < Soak::Kinds()) {
                fmt::print("left out: {}, {}: {}\n", soak.source.name, lack->first, lack->second);
            }
            continue;
        }
        const auto delay = std::chrono::microseconds(random() % 20'000);
        std::thread killer([&, delay] {
            std::this_thread::sleep_for(delay);
            KillServer(soak.source);
        });
        const auto end = std::chrono::steady_clock::now() + delay;
        while (std::chrono::steady_clock::now() < end) {
            soak.Do(kill);
        }
        killer.join();
        soak.Do(kill);  // on a lost connection
        soak.Restart();
        ++killed;
    }
    return killed;
}

// Returns whether memory grew.
bool SoakOver(const Source& source, const Amounts& amounts)
{
    Soak soak(source);
    // One connection for some of the calls: when memory is measured, none is open.
    bool has_grown = HasGrown(source, "calls", amounts.calls, [&] {
        const long before = soak.calls;
        soak.Connect();
        soak.MakeTable();
        for (long kind = 0; kind < 100 * Soak::Kinds(); ++kind) {
            soak.Do(amounts.only_kind >= 0 ? amounts.only_kind : kind);
        }
        soak.Disconnect();
        return soak.calls - before;
    });
    has_grown |= HasGrown(source, "connections", amounts.connects, [&] {
        soak.Connect();
        soak.Disconnect();
        return 1L;
    });
    has_grown |= HasGrown(source, "loads and unloads", amounts.loads, [&] {
        soak.Reload();
        soak.Connect();
        soak.Disconnect();
        return 1L;
    });
    if (amounts.kills > 0) {
        soak.Connect();
        const long killed = KillInCalls(soak, amounts.kills);
        soak.Disconnect();
        fmt::print("{}: killed {} times in the middle of {} kinds of calls\n", source.name, killed,
                   Soak::Kinds());
    }
    return has_grown;
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app("Many calls over data sources: does memory grow?");
    std::vector<std::string> names;
    Amounts amounts;
    app.add_option("SOURCE", names)->required();
    app.add_option("--calls", amounts.calls)->take_last();
    app.add_option("--connects", amounts.connects)->take_last();
    app.add_option("--loads", amounts.loads)->take_last();
    app.add_option("--kills", amounts.kills)->take_last();
    app.add_option("--only-kind", amounts.only_kind, "Of the kinds of calls in soak.cpp, from 0");
    CLI11_PARSE(app, argc, argv);

    // iODBC 3.52.9 leaks what its globals point to when it is unloaded, so it stays loaded.
    ::dlopen("libiodbc.so.2", RTLD_NOW);
    std::setlocale(LC_CTYPE, "C.UTF-8");
    GuardedHost host;
    host.behind_names = 1;
    HostServices::Instance().call_host = &host;
    bool has_grown = false;
    try {
        for (const Source& source : Sources()) {
            if (std::ranges::find(names, source.name) != names.end()) {
                has_grown |= SoakOver(source, amounts);
            }
        }
    } catch (const std::exception& error) {
        fmt::print(stderr, "soak: {}\n", error.what());
        return 2;
    }
    return has_grown ? 1 : 0;
}
