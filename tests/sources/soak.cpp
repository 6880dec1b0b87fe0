// Many calls: whether memory grows over a million of them, over connections, over loading and
// unloading the library; and whether the process outlives a server that is killed in the middle of
// a call. scripts/soak runs it.
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

/// Bytes that the process holds of its heap. What the C library caches for a thread counts, so that
/// scripts/soak runs it without a cache.
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

struct SoakError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A source, and the calls that are made over it.
class Soak {
public:
    explicit Soak(const Source& source) : source_(source) {}

    long Calls() const { return calls_; }

    Reply Call(const char* entry, const std::vector<Argument>& inputs = {})
    {
        ++calls_;
        return gateway_->Call(entry, inputs);
    }

    std::string Connected()
    {
        return std::string(Call("DSNConnect", {source_.ConnectionString()}).Bytes());
    }

    void Connect()
    {
        connection_ = Connected();
        if (connection_.empty()) {
            throw SoakError(std::string(Call("GetSQLErrors", {"", ""}).Bytes()));
        }
        statement_ = Call("AllocStatement", {connection_}).Bytes();
    }

    void Disconnect()
    {
        Call("DropStatement", {statement_});
        Call("Disconnect", {connection_});
    }

    /// Makes the table anew. What is done from then on is the same every time.
    void MakeTable()
    {
        row_ = 0;
        random_.seed(1);
        Run("DROP TABLE soak");
        Run(fmt::format("CREATE TABLE soak(a INTEGER NOT NULL PRIMARY KEY, b {}, c {})",
                        source_.types.text, source_.types.long_text));
    }

    /// Makes the calls of a kind; there are as many as Kinds says.
    void Do(std::size_t kind) { (this->*kKinds[kind % kKinds.size()])(); }
    static std::size_t Kinds() { return kKinds.size(); }
    static bool IsCatalog(long kind)
    {
        return kKinds[static_cast<std::size_t>(kind) % kKinds.size()] == &Soak::Catalogs;
    }

    void Reload()
    {
        gateway_.reset();
        gateway_ = std::make_unique<Gateway>(ORVELGW_LIBRARY);
    }

    const Source& Of() const { return source_; }
    bool HasFailed() { return Call("WasError").code != 0; }
    const std::string& Statement() const { return statement_; }

    /// Closes what is open of a lost connection and opens another, on a server started again.
    void Restart()
    {
        Call("GetSQLErrors", {connection_, statement_});
        Disconnect();
        connection_ = RestartedServer(source_, [this] { return Connected(); });
        if (connection_.empty()) {
            throw SoakError("the server can't be reached again");
        }
        statement_ = Call("AllocStatement", {connection_}).Bytes();
        MakeTable();
    }

private:
    void Run(const std::string& sql)
    {
        Call("Prepare", {statement_, sql});
        Call("Execute", {statement_});
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
        Call("Prepare", {statement_, "INSERT INTO soak VALUES(?, ?, ?)"});
        Call("BindParameters", {statement_, EncodeList({0, 10, 10}), EncodeList({4, 12, 12}), "",
                                EncodeList({1, 1, 1}), EncodeList({10, 100, 4'000})});
        Call("SetParameter", {statement_, EncodeList({row_}), 1});
        Call("SetParameter", {statement_, EncodeList({Text(90) + "\u00E9"}), 2});
        Call("SetParameter", {statement_, EncodeList({UnitsFromUtf8(Text(3'000))}), 3});
        Call("Execute", {statement_});
        Call("RowCount", {statement_});
        Call("UnbindParameters", {statement_});
    }

    void FetchRows()
    {
        Run("SELECT a, b, c FROM soak");
        Call("DescribeColumns", {statement_});
        while (!Call("FetchRows", {statement_, 7}).Bytes().empty() && !HasFailed()) {
        }
        Call("CloseCursor", {statement_});
    }

    void ReadPieces()
    {
        Run("SELECT c FROM soak");
        for (int rows = 0; rows < 3 && Call("Fetch", {statement_}).code == 0; ++rows) {
            for (int pieces = 0; pieces < 9; ++pieces) {
                const auto c_type = random_() % 2 == 0 ? 1 : -8;
                if (Call("GetDataEx", {statement_, 1, c_type, 1'000}).length == 0) {
                    break;
                }
            }
        }
        Call("CloseCursor", {statement_});
    }

    void OneRow()
    {
        Run("SELECT a, b FROM soak");
        Call("Fetch", {statement_});
        Call("NumColAttribute", {statement_, 1, 2});
        Call("StrColAttribute", {statement_, 2, 1});
        Call("GetOneRow", {statement_, EncodeList({1, 2})});
        Call("CloseCursor", {statement_});
    }

    void Err()
    {
        Run("SELECT nothing FROM nowhere");
        Call("GetSQLErrors", {connection_, statement_});
        Call("Execute", {std::string("\x01\x02\x03\x04\x05\x06\x07\x08")});
        Call("BindParameter", {statement_, 1, 99, 9999, 9999, 1, 1, 1});  // refused
        Call("GetSQLErrors", {connection_, statement_});
        Call("UnbindParameters", {statement_});
        Call("DSNConnect", {"nowhere"});
        Call("GetSQLErrors", {"", ""});
    }

    void Catalogs()
    {
        Call("Tables", {statement_, "", "", source_.Name("soak"), ""});
        Call("FetchRows", {statement_, 10});
        Call("CloseCursor", {statement_});
        Call("ColumnsW", {statement_, u"", u"", UnitsFromUtf8(source_.Name("soak")), u""});
        Call("FetchRows", {statement_, 10});
        Call("CloseCursor", {statement_});
        Call("GetTypeInfo", {statement_, 0});
        Call("CloseCursor", {statement_});
        Call("GetInfo", {connection_, 17});
    }

    void Transaction()
    {
        Call("SetConnectOption", {connection_, 102, 0});
        Insert();
        Call("Transact", {connection_, static_cast<int32_t>(random_() % 2)});
        Call("SetConnectOption", {connection_, 102, 1});
    }

    void Statements()
    {
        const std::string other(Call("AllocStatement", {connection_}).Bytes());
        Call("SetStmtOption", {other, 0, 5});
        Call("Prepare", {other, "SELECT a FROM soak WHERE a = ?"});
        Call("BindParameter", {other, 1, 1, 4, 4, 10, 0, 0});
        Call("DescribeParameters", {other});
        Call("NumResultCols", {other});
        Call("DropStatement", {other});
        Call("SetUnicodeOption", {static_cast<int32_t>(random_() % 2)});
    }

    void OtherConnection() { Call("Disconnect", {Connected()}); }

    using Kind = void (Soak::*)();
    static constexpr std::array<Kind, 9> kKinds = {
        &Soak::Insert,   &Soak::FetchRows,   &Soak::ReadPieces, &Soak::OneRow,         &Soak::Err,
        &Soak::Catalogs, &Soak::Transaction, &Soak::Statements, &Soak::OtherConnection};

    const Source& source_;
    std::unique_ptr<Gateway> gateway_ = std::make_unique<Gateway>(ORVELGW_LIBRARY);
    std::mt19937 random_{1};
    std::string connection_;
    std::string statement_;
    std::int64_t row_ = 0;
    long calls_ = 0;
};

/// Does something so many times, after a tenth of them to warm up, and prints what memory grew by.
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
    // Of a leak, a hundredth of a byte for each; less is a block that came out a little larger.
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
        if (const auto lack = soak.Of().lacks.find("catalogs of a lost server");
            lack != soak.Of().lacks.end() && Soak::IsCatalog(kill)) {
            if (kill < static_cast<long>(Soak::Kinds())) {
                fmt::print("left out: {}, {}: {}\n", soak.Of().name, lack->first, lack->second);
            }
            continue;
        }
        const auto delay = std::chrono::microseconds(random() % 20'000);
        std::thread killer([&, delay] {
            std::this_thread::sleep_for(delay);
            KillServer(soak.Of());
        });
        const auto end = std::chrono::steady_clock::now() + delay;
        while (std::chrono::steady_clock::now() < end) {
            soak.Do(static_cast<std::size_t>(kill));
        }
        killer.join();
        soak.Do(static_cast<std::size_t>(kill));  // over what is gone
        soak.Restart();
        ++killed;
    }
    return killed;
}

// Returns whether memory grew.
bool SoakOver(const Source& source, const Amounts& amounts)
{
    Soak soak(source);
    // A connection for some of them: where memory is looked at, none is open.
    bool has_grown = HasGrown(source, "calls", amounts.calls, [&] {
        const long before = soak.Calls();
        soak.Connect();
        soak.MakeTable();
        for (std::size_t kind = 0; kind < 100 * Soak::Kinds(); ++kind) {
            soak.Do(amounts.only_kind >= 0 ? static_cast<std::size_t>(amounts.only_kind) : kind);
        }
        soak.Disconnect();
        return soak.Calls() - before;
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

    // iODBC 3.52.9 loses what its globals point to when it is unloaded; it stays.
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
