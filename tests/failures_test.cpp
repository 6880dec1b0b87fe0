// Every entry while something fails: each allocation once, and from then on; each ODBC call with
// each code, and with an exception; each trace record with an exception of the host. Whatever
// fails, the call returns, the next connection works, and nothing leaks: no handle, no memory, no
// long string. This program is the host, the driver manager and the allocator.
#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>

#include "TemporaryFolder.h"
#include "gateway_fixture.h"
#include "scripted_odbc.h"

using scripted::Current;

namespace {

/// What fails, and when: the nth time that it can.
struct Failure {
    enum Kind { kAllocation, kEveryAllocation, kOdbcCall, kOdbcException, kRecord } kind;
    SQLRETURN code = 0;
    int nth = 1;
};

/// What happens in the library's calls.
struct Watch {
    bool is_on = false;
    Failure failure{};
    int times = 0;  // how often it could have failed
    std::string failed = {};
    std::array<void*, 4'096> blocks{};  // memory that the library holds
    std::size_t block_count = 0;

    bool FailsNow(bool is_of_kind)
    {
        if (!is_on || !is_of_kind) {
            return false;
        }
        ++times;
        return times == failure.nth ||
               (failure.kind == Failure::kEveryAllocation && times > failure.nth);
    }
    bool AllocationFails()
    {
        return scripted::depth == 0 && FailsNow(failure.kind <= Failure::kEveryAllocation);
    }
};

Watch watched;

}  // namespace

#pragma GCC visibility push(default)
void* operator new(std::size_t size)
{
    void* block = watched.AllocationFails() ? nullptr : std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    if (watched.is_on && scripted::depth == 0) {
        watched.blocks.at(watched.block_count++) = block;
    }
    return block;
}
void operator delete(void* block) noexcept
{
    for (std::size_t i = watched.block_count; i > 0; --i) {
        if (watched.blocks[i - 1] == block) {
            watched.blocks[i - 1] = watched.blocks[--watched.block_count];
            break;
        }
    }
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept
{
    operator delete(block);
}
#ifndef __SANITIZE_ADDRESS__  // which has a calloc of its own
extern "C" void* calloc(std::size_t n, std::size_t size)
{
    // The C library's own calls are not counted.
    Dl_info caller{};
    const bool is_librarys = watched.is_on && dladdr(__builtin_return_address(0), &caller) != 0 &&
                             std::string_view(caller.dli_fname) == ORVELGW_LIBRARY;
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    const std::size_t bytes = (n * size + kAlignment - 1) / kAlignment * kAlignment;
    const bool fails = is_librarys && watched.AllocationFails();
    void* block = fails ? nullptr : std::aligned_alloc(kAlignment, bytes);
    return block != nullptr ? std::memset(block, 0, bytes) : nullptr;
}
#endif
#pragma GCC visibility pop

namespace {

struct HostThrew {};

/// Watches what happens in entries, except in the host's functions that the library calls.
class WatchingHost : public GuardedHost {
public:
    void Perform(const std::function<void()>& entry) override
    {
        const auto off = [](Watch* watch) { watch->is_on = false; };
        const std::unique_ptr<Watch, decltype(off)> until_end(&watched, off);
        watched.is_on = true;
        entry();
    }

    /// The tests' table of functions, which are not watched.
    static const orvel_function* Table()
    {
        static std::array<orvel_function, ORVEL_HOST_SLOTS> slots{};
        slots[ORVEL_SLOT_PUSH_STRING] = Outside<ORVEL_SLOT_PUSH_STRING, int32_t, const char*>();
        slots[ORVEL_SLOT_ROUTINE_REF] =
            Outside<ORVEL_SLOT_ROUTINE_REF, int32_t*, int32_t, const char*, int32_t, const char*>();
        slots[ORVEL_SLOT_CALL_ROUTINE] = Outside<ORVEL_SLOT_CALL_ROUTINE, int32_t, int32_t>();
        slots[ORVEL_SLOT_RELEASE_LONG_STRING] =
            Outside<ORVEL_SLOT_RELEASE_LONG_STRING, ORVEL_EXSTR*>();
        slots[ORVEL_SLOT_ALLOC_LONG_STRING] =
            Outside<ORVEL_SLOT_ALLOC_LONG_STRING, void*, uint16_t>();
        return slots.data();
    }

private:
    template <int slot, class... Arguments>
    static orvel_function Outside()
    {
        return reinterpret_cast<orvel_function>(+[](Arguments... arguments) {
            const scripted::Inside inside;
            using Function = char* (*)(Arguments...);
            return reinterpret_cast<Function>(GuardedHost::Table()[slot])(arguments...);
        });
    }
};

/// The library's state when an entry is called.
struct Setting {
    const char* name;
    bool is_open;  // there is a connection and a statement
    int32_t log;
    int32_t unicode;
    int32_t legacy;
};

constexpr Setting kSettings[] = {{"plain", true, 0, 0, 0},
                                 {"traced", true, 1, 1, 0},
                                 {"legacy", true, 0, 0, 1},
                                 {"first call", false, 1, 0, 0}};

const std::string kLongText(600, 't');  // can't be stored without allocating

/// One call of an entry, with one failure in it, from loading the library to unloading it.
class Case {
public:
    Case(const ORVEL_ZFE& row, const Setting& setting, const Failure& failure)
        : row_(row), setting_(setting)
    {
        scripted::Restart();
        Current().columns = Current().markers = 1;
        Current().diagnostics = {{"HY000", 1, kLongText}};
        Current().values = {{.length = 4, .bytes = scripted::WideBytes(L"v")}};
        watched.failure = failure;
        HostServices::Instance().call_host = &host;
        gateway_.emplace(ORVELGW_LIBRARY);
        GuardedHost::Attach(ORVELGW_LIBRARY, WatchingHost::Table());
    }

    /// Whether the failure occurred: if not, everything that can fail has already failed.
    bool Run(std::vector<std::string>& problems)
    {
        Open();
        const auto inputs = Inputs();
        if (row_.name == std::string_view("RemoveConnection")) {
            Current().GiveUp(HandleOf(connection_));
        }
        watched.times = 0;
        watched.failed.clear();
        host.counts = [] { return GuardedHost::Counts{1, 1, 1}; };
        Fail();
        Call(inputs);
        Current().answer = nullptr;
        HostServices::Instance().on_record = nullptr;
        const bool came = watched.times >= watched.failure.nth;
        if (came) {
            Check(HostServices::Instance().LongStringsOut() == 0, "a long string is out");
            watched.failure.nth = INT32_MAX;
            gateway_->Call("SetLogOption", {0});
            ConnectsAndQueries();
        }
        Current().GiveUp(nullptr);
        gateway_.reset();
        Current().EndHandles();
        for (const std::string& misuse : Current().misuses) {
            Check(false, misuse);
        }
        Check(watched.block_count == 0, fmt::format("{} blocks are left", watched.block_count));
        watched.block_count = 0;
        if (came) {
            problems = std::move(problems_);
        }
        return came;
    }

private:
    static SQLHANDLE HandleOf(const std::string& bytes)
    {
        SQLHANDLE handle = nullptr;
        bytes.copy(reinterpret_cast<char*>(&handle), sizeof handle);
        return handle;
    }

    void Check(bool is_right, const std::string& what)
    {
        if (!is_right) {
            problems_.push_back(what);
        }
    }

    // Nothing fails here: the failure is set as far ahead as possible.
    void Open()
    {
        const int nth = std::exchange(watched.failure.nth, INT32_MAX);
        if (setting_.is_open) {
            connection_ = gateway_->Call("DSNConnect", {"x"}).Bytes();
            statement_ = gateway_->Call("AllocStatement", {connection_}).Bytes();
            gateway_->CallOn(statement_, "BindParameter", {1, 2, 1, 12, 10, 0, 300});
        }
        gateway_->Call("SetUnicodeOption", {setting_.unicode});
        gateway_->Call("SetLegacyOption", {setting_.legacy});
        gateway_->Call("SetLogOption", {setting_.log});
        watched.failure.nth = nth;
    }

    std::vector<Argument> Inputs() const
    {
        const std::string_view name = row_.name;
        auto inputs = InputsOf(row_, {{'c', kLongText},
                                      {'b', EncodeList({1})},
                                      {'s', std::u16string(400, u'u')},
                                      {'j', EncodeList({kLongText})},
                                      {'i', 1}});
        const bool has_both = name == "GetSQLErrors";
        if (has_both || name == "PutData") {
            inputs[1] = has_both ? statement_ : kLongText;
        }
        if (row_.signature[0] == 'b') {
            const auto& handle = IsOnConnection(name) || has_both ? connection_ : statement_;
            inputs[0] = setting_.is_open ? handle : std::string("\x09\x03\0\0\0\0\0\0", 8);
        }
        return inputs;
    }

    static void Fail()
    {
        const auto kind = watched.failure.kind;
        Current().answer = [kind](std::string_view function) -> std::optional<SQLRETURN> {
            const bool is_code = kind == Failure::kOdbcCall;
            if (!watched.FailsNow(is_code || kind == Failure::kOdbcException)) {
                return std::nullopt;
            }
            watched.failed = function;
            return is_code ? watched.failure.code : throw std::runtime_error("driver");
        };
        HostServices::Instance().on_record = [kind](const TraceRecord& record) {
            if (watched.FailsNow(kind == Failure::kRecord)) {
                watched.failed = record.name;
                throw HostThrew();
            }
        };
    }

    void Call(const std::vector<Argument>& inputs)
    {
        const auto kind = watched.failure.kind;
        try {
            const Reply reply = gateway_->Call(row_.name, inputs);
            const bool came = !watched.failed.empty();
            if (came && (kind == Failure::kOdbcException || kind == Failure::kRecord)) {
                CheckContained(reply);
            }
        } catch (const HostThrew&) {
            Check(ThrowsAtHost(), watched.failed + " left the entry");
        } catch (const std::bad_alloc&) {
            Check(setting_.log != 0, "a failing allocation left the entry");
        } catch (...) {
            Check(false, "an exception left the entry");
        }
    }

    // If the first environment can't be created, connecting only returns an empty handle.
    void CheckContained(const Reply& reply)
    {
        const std::string failed = watched.failed;
        const bool connects = row_.name != std::string_view("DataSources");
        const bool is_first = connects && !setting_.is_open && reply.length == 0 &&
                              (failed == "SQLAllocHandle" || failed == "SQLSetEnvAttr");
        const bool is_reported = gateway_->Call("WasError").code == ORVEL_WAS_EXCEPTION;
        Check(is_reported || is_first, "no exception is reported for " + failed);
        const bool is_removal = row_.name == std::string_view("RemoveConnection");
        const bool is_record = watched.failure.kind == Failure::kRecord;
        Check(!is_record || !ThrowsAtHost() || !setting_.is_open,
              failed + " did not leave the entry");
        if (!failed.ends_with(" END")) {
            Check(reply.code == (is_removal ? ORVEL_ERROR : Reply::kUntouched), "a code is there");
        }
    }

    // Only the last END record, and what else convention 9 names, may throw to the host.
    bool ThrowsAtHost() const
    {
        const std::string_view name = row_.name;
        const std::string_view record = watched.failed;
        const bool is_inner =
            name.ends_with("Connect") && record.find("WithTimeout") != std::string_view::npos;
        return record.ends_with(" END")
                   ? !is_inner
                   : !record.ends_with(" BEGIN") || name == "DataSources" || name == "GetTypeInfo";
    }

    void ConnectsAndQueries()
    {
        const auto done = [&](const char* entry, const Reply& reply, uint32_t length) {
            Check(reply.length == length && gateway_->Call("WasError").code == 0,
                  fmt::format("{} works no more", entry));
            return std::string(reply.Bytes());
        };
        Current().rows = 1;
        gateway_->CallOn(statement_ + std::string(8, '\0'), "Execute");  // with what it still holds
        const auto made = done("DSNConnect", gateway_->Call("DSNConnect", {"y"}), 8);
        const auto used = done("AllocStatement", gateway_->Call("AllocStatement", {made}), 8);
        done("Prepare", gateway_->CallOn(used, "Prepare", {"q"}), 0);
        done("Execute", gateway_->CallOn(used, "Execute"), 0);
        const bool is_wide = setting_.unicode != 0 && setting_.legacy == 0;
        done("FetchRows", gateway_->CallOn(used, "FetchRows", {1}), is_wide ? 6 : 5);
        done("Disconnect", gateway_->CallOn(made, "Disconnect"), 0);
    }

    const ORVEL_ZFE& row_;
    const Setting& setting_;
    static inline WatchingHost host;
    std::optional<Gateway> gateway_;
    std::string connection_;
    std::string statement_;
    std::vector<std::string> problems_;
};

class Failures : public testing::Test {
protected:
    Failures()
    {
        // C.UTF-8 under a name so long that storing it allocates memory.
        constexpr char kLocale[] = "xx_LongLocaleName.UTF-8";
        std::filesystem::create_directory_symlink("/usr/lib/locale/C.utf8",
                                                  locales_.path / kLocale);
        ::setenv("LOCPATH", locales_.path.c_str(), 1);
        EXPECT_STREQ(std::setlocale(LC_CTYPE, kLocale), kLocale);
    }
    ~Failures() override
    {
        fmt::print("{} cases, {} problems\n", cases_, problems_);
        EXPECT_EQ(problems_, 0);
        EXPECT_GT(cases_, 0);
    }

    /// Runs every entry in every setting with the failure at each place in turn.
    void Everywhere(const Failure& failure)
    {
        std::vector<std::pair<std::string, std::string>> rows;  // they outlive the library
        auto gateway = std::make_unique<Gateway>(ORVELGW_LIBRARY);
        for (const ORVEL_ZFE* row = gateway->Table(); row->name != nullptr; ++row) {
            rows.emplace_back(row->name, row->signature);
        }
        gateway.reset();
        for (const auto& [name, signature] : rows) {
            for (const Setting& setting : kSettings) {
                Everywhere({name.c_str(), signature.c_str(), nullptr}, setting, failure);
            }
        }
    }

private:
    void Everywhere(const ORVEL_ZFE& row, const Setting& setting, Failure failure)
    {
        std::vector<std::string> problems;
        for (failure.nth = 1; Case(row, setting, failure).Run(problems); ++failure.nth) {
            ++cases_;
            for (const std::string& problem : std::exchange(problems, {})) {
                ++problems_;
                fmt::print(stderr, "{}, {}: failure {} code {} no. {} {}: {}\n", row.name,
                           setting.name, static_cast<int>(failure.kind), failure.code, failure.nth,
                           watched.failed, problem);
            }
        }
    }

    const TemporaryFolder locales_;
    int cases_ = 0;
    int problems_ = 0;
};

TEST_F(Failures, OfAnAllocation)
{
    Everywhere({Failure::kAllocation});
}

TEST_F(Failures, OfEveryAllocationFromOneOn)
{
    Everywhere({Failure::kEveryAllocation});
}

TEST_F(Failures, OfAnOdbcCall)
{
    constexpr SQLRETURN kCodes[] = {-1, -2, 100, 2, 99, 1, 12'345};
    for (const SQLRETURN code : kCodes) {
        Everywhere({Failure::kOdbcCall, code});
    }
}

TEST_F(Failures, ByAnException)
{
    Everywhere({Failure::kOdbcException});
}

TEST_F(Failures, OfATraceRecord)
{
    Everywhere({Failure::kRecord});
}

}  // namespace
