// The whole callout table over a hostile driver manager: wrong lengths, unterminated text, outputs
// left unset, any code, exceptions. The library is part of the program and stays loaded; a run
// begins in the state of a process's first call. Every argument ends before an inaccessible page.
#include <fuzzer/FuzzedDataProvider.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "GuardedHost.h"
#include "client/Gateway.h"
#include "client/HostList.h"
#include "client/HostServices.h"
#include "host/main.h"
#include "scripted_odbc.h"

namespace {

using scripted::Current;

// Maximum calls in a run, and of the driver manager in it; from then on every function fails.
constexpr int kMaxCalls = 40;
constexpr int kMaxFunctions = 1'000;

// Limits beyond which memory and time are spent without showing anything new.
constexpr int kLargestPlace = 1 << 18;

constexpr int kNumbers[] = {0,   1,   2,      3,      4,      5,      6,         8,        12,
                            14,  -1,  -2,     -3,     -4,     -5,     -8,        -9,       -25,
                            -27, 99,  100,    -100,   255,    256,    500,       511,      512,
                            513, 999, 1'000,  1'001,  2'000,  3'999,  4'000,     4'001,    4'004,
                            -16, 103, 32'765, 32'766, 32'767, 65'532, 65'536,    131'060,  131'064,
                            -7,  16,  65'533, 65'535, 70'000, 80'000, INT32_MAX, INT32_MIN};

struct HostThrew {};

[[noreturn]] void Fail(const std::string& what)
{
    std::fprintf(stderr, "%s%s\n", Current().TakeCalls().c_str(), what.c_str());
    std::abort();
}

class Run {
public:
    Run(const uint8_t* bytes, std::size_t size) : data_(bytes, size)
    {
        scripted::Restart();
        Current().answer = [this](std::string_view /*function*/) { return Answer(); };
        Current().value = [this] { return NextValue(); };
        Current().parameter = [this](const scripted::BoundParameter& bound) { Use(bound); };
        HostServices::Instance().on_record = [this](const TraceRecord& /*record*/) {
            if (Rarely()) {
                throw HostThrew();
            }
        };
    }

    ~Run()
    {
        Current().answer = nullptr;
        Current().value = nullptr;
        HostServices::Instance().on_record = nullptr;
        env.Free();
        env.unicode_option = env.log_option = env.legacy_option = 0;
        err.Reset();
        first_time_thru = 1;
    }

    void Calls(const Gateway& gateway)
    {
        if (!Rarely()) {
            // Most runs start with a connection and a statement, or few would get far.
            Current().answer = nullptr;
            StoreHandle("DSNConnect", gateway.Call("DSNConnect", {"x"}));
            StoreHandle("AllocStatement", gateway.CallOn(connections_.at(0), "AllocStatement"));
            Current().answer = [this](std::string_view /*function*/) { return Answer(); };
        }
        for (int calls = 0; calls < kMaxCalls && data_.remaining_bytes() > 0; ++calls) {
            OneCall(gateway,
                    gateway.Table()[data_.ConsumeIntegralInRange(0, ORVEL_TABLE_ROWS - 1)]);
        }
    }

private:
    bool Rarely() { return data_.ConsumeIntegral<uint8_t>() == 0xA5; }

    long Number()
    {
        return data_.ConsumeIntegral<uint8_t>() % 8 != 0 ? data_.PickValueInArray(kNumbers)
                                                         : data_.ConsumeIntegral<int32_t>();
    }

    // Some bytes, or many of the same.
    std::string Bytes(std::size_t most)
    {
        if (data_.ConsumeIntegral<uint8_t>() % 4 != 0) {
            return data_.ConsumeRandomLengthString(std::min<std::size_t>(most, 64));
        }
        std::string bytes(static_cast<std::size_t>(std::max(Number(), 0L)) % (most + 1), '\0');
        const std::string pattern = data_.ConsumeBytesAsString(4) + "x";
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = pattern[i % (pattern.size() == 5 ? 4 : pattern.size())];
        }
        return bytes;
    }

    std::u16string Units(std::size_t most)
    {
        const std::string bytes = Bytes(2 * most);
        std::u16string units(bytes.size() / 2, u'\0');
        bytes.copy(reinterpret_cast<char*>(units.data()), 2 * units.size());
        return units;
    }

    std::string List(bool of_sizes)
    {
        std::vector<ListValue> values;
        while (values.size() < 4 && data_.ConsumeBool()) {
            switch (of_sizes ? 3 : data_.ConsumeIntegralInRange(0, 3)) {
                case 0:
                    values.emplace_back(Bytes(70'000));
                    break;
                case 1:
                    values.emplace_back(Units(70'000));
                    break;
                case 2:
                    values.emplace_back(0.1 * static_cast<double>(Number()));
                    break;
                default:
                    values.emplace_back(of_sizes ? std::min(Number(), long{kLargestPlace})
                                                 : Number() << (data_.ConsumeBool() ? 0 : 20));
            }
        }
        return EncodeList(values);
    }

    // What a host passes as a handle: usually one that it has.
    std::string Handle(std::string_view entry)
    {
        const auto& handles = IsOnConnection(entry) != Rarely() ? connections_ : statements_;
        if (handles.empty() || Rarely()) {
            return Bytes(12);
        }
        return handles[data_.ConsumeIntegralInRange<std::size_t>(0, handles.size() - 1)];
    }

    Argument Input(const ORVEL_ZFE& row, std::size_t index)
    {
        const std::string_view entry = row.name;
        switch (row.signature[index]) {
            case 'c': {
                std::string text = Bytes(70'000);
                text.resize(std::min(text.find('\0'), text.size()));
                return Rarely() ? Argument() : text;
            }
            case 'b':
                if (index == 0 || entry == "GetSQLErrors") {
                    return index == 1 && !statements_.empty() ? statements_[0] : Handle(entry);
                }
                if (entry == "BindParameters" && index == 1) {
                    return List(true).substr(0, 65'535);
                }
                return (data_.ConsumeBool() ? List(false) : Bytes(65'535)).substr(0, 65'535);
            case 's':
                return Units(65'535);
            case 'j':
                return data_.ConsumeBool() ? List(false) : Bytes(70'000);
            default: {
                const long number = Number();
                const bool is_size = (entry == "BindParameter" && index == 7) ||
                                     (entry.starts_with("GetDataEx") && index == 3);
                return static_cast<int32_t>(is_size ? std::min(number, long{kLargestPlace})
                                                    : number);
            }
        }
    }

    std::optional<SQLRETURN> Answer()
    {
        if (++functions_ > kMaxFunctions) {
            return SQL_ERROR;
        }
        const auto choice = data_.ConsumeIntegral<uint8_t>();
        if (choice == 0xFF) {
            throw std::runtime_error("hostile");
        }
        if (choice == 0xFE) {
            throw 5;
        }
        constexpr SQLRETURN kCodes[] = {1, 1, 1, -1, -2, 100, 99, 2, 12'345};
        Current().row_count = Current().token = choice;
        return choice < 0xC0 ? SQLRETURN{SQL_SUCCESS} : kCodes[choice % std::size(kCodes)];
    }

    scripted::Value NextValue()
    {
        scripted::Value value;
        value.code = data_.ConsumeIntegral<uint8_t>() < 0xC0
                         ? SQLRETURN{SQL_SUCCESS}
                         : data_.PickValueInArray<SQLRETURN>({1, -1, 100, 99});
        value.bytes = Bytes(140'000);
        value.length = data_.ConsumeBool() ? static_cast<SQLLEN>(value.bytes.size()) : Number();
        value.number = data_.ConsumeIntegral<uint8_t>() % 8 != 0 ? Number() : INT64_MIN;
        value.has_length = !Rarely();
        return value;
    }

    void Use(const scripted::BoundParameter& bound)
    {
        const std::string bytes = Bytes(static_cast<std::size_t>(bound.size));
        bytes.copy(static_cast<char*>(bound.buffer), bytes.size());
        if (data_.ConsumeBool()) {
            *bound.indicator = Number();
        }
    }

    void StoreHandle(std::string_view entry, const Reply& reply)
    {
        if (entry.find("onnect") != std::string_view::npos &&
            entry.find("Option") == std::string_view::npos && reply.length == 8) {
            connections_.emplace_back(reply.Bytes());
        } else if (entry == "AllocStatement" && reply.length == 8) {
            statements_.emplace_back(reply.Bytes());
        }
    }

    void OneCall(const Gateway& gateway, const ORVEL_ZFE& row)
    {
        std::vector<Argument> inputs;
        for (std::size_t i = 0; row.signature[i] != '\0'; ++i) {
            if (!IsOutput(row.signature[i])) {
                inputs.push_back(Input(row, i));
            }
        }
        // Used for both the room for a list and the driver's count.
        const int count = data_.ConsumeIntegral<uint8_t>();
        Current().columns = static_cast<SQLSMALLINT>(count < 0xF0 ? count % 4 : count - 0xF1);
        Current().markers = Current().columns;
        Current().diagnostics.assign(static_cast<std::size_t>(Number()) % 4,
                                     {Bytes(8), static_cast<int>(Number()), Bytes(600)});
        if (row.name == std::string_view("RemoveConnection")) {
            SQLHANDLE handle = nullptr;
            std::get<std::string>(inputs[0]).copy(reinterpret_cast<char*>(&handle), sizeof handle);
            Current().GiveUp(handle);
        }
        try {
            const Reply reply = gateway.Call(row.name, inputs);
            StoreHandle(row.name, reply);
            CheckOutput(row, reply);
        } catch (const HostThrew&) {
        }
        if (HostServices::Instance().LongStringsOut() != 0) {
            Fail("a long string was not released, or twice");
        }
        if (!Current().misuses.empty()) {
            Fail(Current().misuses.front());
        }
    }

    static void CheckOutput(const ORVEL_ZFE& row, const Reply& reply)
    {
        const std::string_view name = row.name;
        if (reply.Bytes().size() > reply.Area().size() &&
            std::string_view(row.signature).back() != 'B') {
            Fail("an output is longer than its room");
        }
        const bool is_list =
            std::string_view(row.signature).back() == 'B' && !name.starts_with("GetData") &&
            name.find("onnect") == std::string_view::npos && name != "AllocStatement";
        if (!is_list) {
            return;
        }
        try {
            for (const ListElement& element : DecodeList(reply.List())) {
                if (name == "FetchRows" || name.starts_with("Describe")) {
                    DecodeList(element.payload);
                }
            }
        } catch (const ListError& error) {
            if (err.exception == 0) {
                Fail(std::string(name) + ": " + error.what());
            }
        }
    }

    FuzzedDataProvider data_;
    int functions_ = 0;
    std::vector<std::string> connections_;
    std::vector<std::string> statements_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    static GuardedHost host;
    static const Gateway gateway = [] {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        HostServices::Instance().call_host = &host;
        host.counts = [] {
            const auto& script = Current();
            return GuardedHost::Counts{script.columns, script.markers,
                                       static_cast<long>(script.diagnostics.size())};
        };
        return Gateway(&GetZFTable);
    }();
    {
        Run run(bytes, size);
        run.Calls(gateway);
    }
    Current().EndHandles();
    if (!Current().misuses.empty()) {
        Fail(Current().misuses.front());
    }
    return 0;
}
