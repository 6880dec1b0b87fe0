// What a host depends on: the table, loading and unloading, the trace and its exceptions.
#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <thread>

#include "scripted_fixture.h"

using scripted::Current;
using scripted::WideBytes;

// A host's own functions with the names of entries: the library must not call them.
#pragma GCC visibility push(default)
extern "C" int ConnectWithTimeout(const char*, const char*, const char*, int, zarray*)
{
    ADD_FAILURE() << "the host's ConnectWithTimeout was called";
    return 0;
}
extern "C" int Test(const char*)
{
    return -5;
}
#pragma GCC visibility pop

namespace {

constexpr char kRowsInOrder[] =
    "Connect DSNConnect Prepare Execute AllocStatement Disconnect Fetch BindParameters "
    "SetParameter DescribeColumns FetchRows GetSQLErrors WasError Columns Tables DropStatement "
    "CloseCursor UnbindParameters SetConnectOption SetStmtOption Transact GetParameter "
    "DescribeProcedureColumns DescribeProcedures GetData GetOneRow DescribeParameters GetInfo "
    "SpecialColumns PrimaryKeys RowCount SetStrConnectOption SetUnicodeOption TablesW ColumnsW "
    "PrimaryKeysW PrepareW PreparseSQL DataSources GetTypeInfo Statistics StatisticsW ForeignKeys "
    "ForeignKeysW ConnectWithTimeout DSNConnectWithTimeout DescribeProcedureColumnsW "
    "DescribeProceduresW SpecialColumnsW GetDataW SetLogOption GetUV RemoveConnection PutData "
    "ParamData PutDataW MoreResults GetLastSQLCode StrColAttribute NumColAttribute NumResultCols "
    "BindParameter SetLegacyOption GetGTWVersion SetParameterBinary TablePrivileges "
    "TablePrivilegesW ColumnPrivileges ColumnPrivilegesW GetDataEx GetDataExW StrColAttributeW "
    "Test ";

TEST_F(ScriptedTest, TableIsTheLibrarysOwn)
{
    const std::string library = std::filesystem::canonical(ORVELGW_LIBRARY);
    std::string names;
    for (const ORVEL_ZFE* row = gateway->Table(); row->name != nullptr; ++row) {
        names += std::string(row->name) + " ";
        Dl_info info{};
        ASSERT_NE(dladdr(reinterpret_cast<void*>(row->function), &info), 0) << row->name;
        EXPECT_EQ(std::filesystem::canonical(info.dli_fname), library) << row->name;
    }
    EXPECT_EQ(names, kRowsInOrder) << "a host may have kept a row's number";
    EXPECT_EQ(gateway->Find("GetDataEx")->function, gateway->Find("GetDataExW")->function);
    EXPECT_EQ(Code("Connect", {"d", "u", "p"}), Reply::kUntouched);
    EXPECT_EQ(Current().calls.size(), 4U) << "the inner entry is the library's";
}

// The page for authors of hosts has a section for every row of the table, and no other.
TEST_F(ScriptedTest, PageOfCalloutsListsEveryRow)
{
    std::set<std::string> rows;
    for (const ORVEL_ZFE* row = gateway->Table(); row->name != nullptr; ++row) {
        Dl_info info{};
        ASSERT_NE(dladdr(reinterpret_cast<void*>(row->function), &info), 0);
        rows.insert(fmt::format("### \"{}\" {} `{}`", row->name, row->signature, info.dli_sname));
    }
    std::set<std::string> sections;
    std::ifstream page(ORVELGW_CALLOUTS);
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("### ")) {
            EXPECT_TRUE(sections.insert(line).second) << line;
        }
    }
    EXPECT_EQ(sections, rows);
}

TEST_F(ScriptedTest, FreshAfterUnloading)
{
    Open();
    EXPECT_EQ(Code("SetLegacyOption", {5}), 5);
    EXPECT_EQ(Code("GetUV"), 1);
    EXPECT_EQ(Code("GetGTWVersion"), 10);
    gateway.reset();
    EXPECT_EQ(Current().TakeCalls(),
              "SQLDisconnect(dbc2)\nSQLFreeHandle(2,dbc2)\nSQLFreeHandle(1,env1)\n");
    EXPECT_EQ(dlopen(ORVELGW_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it is still loaded";
    Load();
    EXPECT_EQ(Code("DropStatement", {statement}), -2);
    Call("DSNConnect", {"x"});
    EXPECT_EQ(Current().calls[1], "SQLSetEnvAttr(env4,200,3,0)") << "no option survives";
}

TEST_F(ScriptedTest, TracesItsOwnSwitches)
{
    std::vector<TraceRecord> records;
    HostServices::Instance().on_record = [&](const TraceRecord& r) { records.push_back(r); };
    EXPECT_EQ(Code("SetLogOption", {0}), 0);
    Call("Test", {"hello"});
    Call("SetUnicodeOption", {3});
    ASSERT_EQ(records.size(), 2U) << "the switch is off";
    EXPECT_EQ(records[0].level + records[0].source + records[0].name + ListText(records[0].data),
              "2GatewaySetLogOption0");
    EXPECT_EQ(records[1].level + records[1].source + records[1].name + records[1].data,
              "1GatewayTesthello");
    records.clear();
    EXPECT_EQ(Code("SetLogOption", {5}), 5);
    Call("SetUnicodeOption", {3});
    Call("SetLegacyOption", {0});
    Call("GetUV");
    Call("GetLastSQLCode");
    std::string names;
    for (const TraceRecord& record : records) {
        names += record.name + " " + ListText(record.data) + "\n";
    }
    EXPECT_EQ(names,
              "SetLogOption 5\nSetUnicodeOption 3\nSetLegacyOption 0\nGetUV 1\n"
              "GetLastSQLCode BEGIN \nGetLastSQLCode END 0\n");
}

TEST_F(ScriptedTest, SwitchesAndVersionsResetTheErrorRecord)
{
    for (const char* entry :
         {"SetLogOption", "SetUnicodeOption", "SetLegacyOption", "GetUV", "GetGTWVersion"}) {
        EXPECT_EQ(Code("Execute", {unknown}), -2);
        Call(entry, InputsOf(*gateway->Find(entry), {{'i', 0}}));
        EXPECT_EQ(WasError(), 0) << entry;
    }
}

// Like a write to a server that is gone. It would end this program.
void BreakPipe()
{
    std::raise(SIGPIPE);
}

using SignalHandler = void (*)(int);

SignalHandler Disposition(int signal)
{
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    return present.sa_handler;
}

int signals_seen;

void Count(int /*signal*/)
{
    ++signals_seen;
}

// Whatever a host does with SIGPIPE, before or after it connects: a lost server doesn't end the
// process, and the host's own disposition is restored.
TEST_F(ScriptedTest, OutlivesALostServer)
{
    for (const bool is_set_first : {true, false}) {
        for (const SignalHandler own : {SIG_DFL, SIG_IGN, SignalHandler{Count}}) {
            signals_seen = 0;
            if (is_set_first) {
                std::signal(SIGPIPE, own);
            }
            Open();
            if (!is_set_first && own != SIG_DFL) {
                std::signal(SIGPIPE, own);
            }
            for (const char* function :
                 {"SQLExecute", "SQLGetDiagRec", "SQLDataSources", "SQLDisconnect"}) {
                Current().doing[function] = &BreakPipe;
            }
            EXPECT_EQ(Code("Execute", {statement}), 0);
            Call("GetSQLErrors", {connection, statement});
            Call("DataSources", {2});
            if (own == SIG_DFL) {
                EXPECT_EXIT(BreakPipe(), testing::KilledBySignal(SIGPIPE), "") << "the host's own";
            }
            gateway.reset();  // which disconnects
            EXPECT_EQ(signals_seen, own == Count ? 4 : 0);
            EXPECT_EQ(Disposition(SIGPIPE), own);
            Current().doing.clear();
            std::signal(SIGPIPE, SIG_DFL);
            Load();
        }
    }
}

TEST_F(ScriptedTest, KeepsTheHostsLocale)
{
    Current().doing["SQLDriverConnect"] = [] { std::setlocale(LC_CTYPE, "C"); };
    Open();
    EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "C.UTF-8");
}

// Connections are the parent's: the end of a child closes none of them.
TEST_F(ScriptedTest, LeavesTheParentsConnectionsToIt)
{
    Open();
    const auto end_as_a_child = [&] {
        Current().TakeCalls();
        gateway.reset();
        std::exit(Current().TakeCalls().empty() ? 0 : 1);
    };
    EXPECT_EXIT(end_as_a_child(), testing::ExitedWithCode(0), "");
    gateway.reset();
    EXPECT_NE(Current().TakeCalls().find("SQLDisconnect"), std::string::npos);
    Load();
}

#ifndef __SANITIZE_ADDRESS__  // whose frames are many times as large
// How much of a thread's stack work() uses.
std::size_t StackOf(const std::function<void()>& work)
{
    constexpr std::size_t kSize = 1U << 20;
    constexpr char kUnused = 0x5A;
    std::vector<char> stack(kSize, kUnused);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack.data(), stack.size());
    const auto run = [](void* what) -> void* {
        (*static_cast<const std::function<void()>*>(what))();
        return nullptr;
    };
    pthread_t thread{};
    EXPECT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return static_cast<std::size_t>(
        stack.end() - std::ranges::find_if(stack, [](char byte) { return byte != kUnused; }));
}

// The limit in the header, for hosts with small stacks.
TEST_F(ScriptedTest, TakesLittleStack)
{
    Open();
    Current().diagnostics = {{"HY000", 1, std::string(600, 'm')}};
    Current().values = {{.length = 4, .bytes = WideBytes(L"x")}};
    const std::size_t without = StackOf([this] { Call("GetUV"); });
    for (const ORVEL_ZFE* row = gateway->Table(); row->name != nullptr; ++row) {
        if (std::set<std::string>{"Disconnect", "DropStatement", "RemoveConnection"}.contains(
                row->name)) {
            continue;  // the others need both
        }
        for (const std::string& handle : {connection, statement}) {
            auto inputs =
                InputsOf(*row, {{'b', ""}, {'i', -8}, {'s', u"x"}, {'c', "x"}, {'j', "x"}});
            if (row->signature[0] == 'b') {
                inputs[0] = handle;
            }
            constexpr std::size_t kGranted = 16'384;
            EXPECT_LT(StackOf([&] { Call(row->name, inputs); }), without + kGranted) << row->name;
        }
    }
}
#endif

// A driver's wait for a server is a cancellation point, which must not unwind through the guard.
TEST_F(ScriptedTest, IsNotCancelledInsideAnEntry)
{
    Open();
    ASSERT_EQ(Code("BindParameter", {statement, 1, 1, 1, 4, 10, 0, 0}), 0);
    const auto cancel = [] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    };
    Current().doing = {{"SQLExecute", cancel}, {"SQLBindParameter", cancel}};
    const auto outlives = [this](const char* entry, const std::vector<Argument>& inputs) {
        bool has_returned = false;
        std::thread host([&] {
            Code(entry, inputs);
            has_returned = true;
            pthread_testcancel();
            ADD_FAILURE() << "the host's thread can't be cancelled any more";
        });
        host.join();
        EXPECT_TRUE(has_returned) << entry;
    };
    outlives("Execute", {statement});
    outlives("SetParameter", {statement, EncodeList({ListValue(5)}), 1});
    Current().doing.clear();
}

}  // namespace
