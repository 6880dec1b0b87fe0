#include "GuardedHost.h"

#include <dlfcn.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string_view>

#include "client/HostList.h"
#include "client/HostServices.h"

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kLargestKept = 4'000'000;
constexpr int kWide = -8;  // SQL_C_WCHAR

constexpr std::size_t RoundedUp(std::size_t size, std::size_t to)
{
    return (size + to - 1) / to * to;
}

int IntegerAt(const std::vector<Argument>& inputs, std::size_t index)
{
    return std::get<int32_t>(inputs.at(index));
}

// The columns that a list asks for; for one that is not a list of numbers, the most that may be
// found.
std::size_t Listed(const std::string& list)
{
    try {
        const auto numbers = DecodeList(list);
        std::ranges::for_each(numbers, [](const ListElement& number) { number.Integer(); });
        return numbers.size();
    } catch (const ListError&) {
        return list.size();
    }
}

constexpr int32_t kLog = 1;

template <class Function>
Function HostFunction(int slot)
{
    return reinterpret_cast<Function>(HostServices::Table()[slot]);
}

int32_t RoutineRef(int32_t* call, int32_t label_length, const char* label, int32_t routine_length,
                   const char* routine)
{
    const auto text = [](const char* bytes, int32_t length) {
        return std::string_view(bytes, static_cast<std::size_t>(length));
    };
    const bool is_log =
        text(label, label_length) == "Log" && text(routine, routine_length) == "%ourLog";
    HostFunction<orvel_routine_ref>(ORVEL_SLOT_ROUTINE_REF)(call, label_length, label,
                                                            routine_length, routine);
    *call = is_log ? kLog : 0;
    return 0;
}

int32_t CallRoutine(int32_t call, int32_t argument_count)
{
    const auto run = HostFunction<orvel_call_routine>(ORVEL_SLOT_CALL_ROUTINE);
    return run(call, call == kLog ? argument_count : 0);
}

// The room for a value of fixed size.
const std::map<std::string_view, std::size_t> kRooms = {
    {"Connect", 8},
    {"ConnectWithTimeout", 8},
    {"DSNConnect", 8},
    {"DSNConnectWithTimeout", 8},
    {"AllocStatement", 8},
    {"FetchRows", 3'641'144},
    {"GetData", 32'766},
    {"GetDataW", 32'766},
    {"StrColAttribute", 6'200},
    {"StrColAttributeW", 6'200},
    {"GetInfo", 2'051},
    {"DataSources", 520},
    {"NumColAttribute", 12},
    {"ParamData", 12},
    {"PreparseSQL", 0},
    {"GetParameter", 0},  // asked for by the library
};

}  // namespace

char* GuardedHost::Take(std::size_t size, std::size_t alignment)
{
    const std::size_t aligned = RoundedUp(size, alignment);
    const std::size_t area_size = RoundedUp(std::max<std::size_t>(aligned, 1), kPage);
    auto& unused = unused_[area_size];
    if (unused.empty()) {
        void* pages = ::mmap(nullptr, area_size + kPage, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::bad_alloc();
        }
        unused.push_back({static_cast<char*>(pages), area_size});
        ::mprotect(unused.back().start + area_size, kPage, PROT_NONE);
    }
    char* bytes = unused.back().start + area_size - aligned;
    taken_.emplace(bytes, unused.back());
    first_taken_ = first_taken_ != nullptr ? first_taken_ : bytes;
    unused.pop_back();
    return bytes;
}

void GuardedHost::GiveBack(char* bytes)
{
    const auto taken = taken_.find(bytes);
    const Area area = taken->second;
    taken_.erase(taken);
    if (area.size > kLargestKept) {
        ::munmap(area.start, area.size + kPage);
        return;
    }
    if (area.size <= 4 * kPage) {
        std::memset(area.start, 0, area.size);
    } else {
        ::madvise(area.start, area.size, MADV_DONTNEED);  // zeros again
    }
    unused_[area.size].push_back(area);
}

std::size_t GuardedHost::Readable(const ORVEL_ZFE& row, std::size_t index,
                                  const Argument& input) const
{
    const std::string_view name = row.name;
    const bool is_handle = index == 0 || name == "GetSQLErrors";
    const auto* units = std::get_if<std::u16string>(&input);
    if (units == nullptr) {
        return std::max<std::size_t>(is_handle ? 8 : 0,
                                     std::get<std::string>(input).size() + behind_names);
    }
    const bool is_procedure = name == "DescribeProceduresW" || name == "DescribeProcedureColumnsW";
    const bool is_catalog = name == "DescribeProceduresW" && index == 1;
    const bool goes_out_as_it_lies =
        name == "StatisticsW" || (is_catalog && units->substr(0, 2) == std::u16string(2, u'\0'));
    return goes_out_as_it_lies ? 4 * units->size()
                               : std::max<std::size_t>(is_procedure ? 4 : 0, 2 * units->size());
}

std::size_t GuardedHost::Room(const ORVEL_ZFE& row, const std::vector<Argument>& inputs) const
{
    const std::string_view name = row.name;
    if (const auto room = kRooms.find(name); room != kRooms.end()) {
        return room->second;
    }
    if (name == "GetDataEx" || name == "GetDataExW") {
        const std::size_t unit = IntegerAt(inputs, 2) == kWide ? 2 : 1;
        const auto length = static_cast<std::size_t>(std::max(IntegerAt(inputs, 3), 0));
        return std::max<std::size_t>(unit * length, 2);
    }
    const Counts now = counts();
    const auto many = [](long count, std::size_t size) {
        return static_cast<std::size_t>(std::max(count, 0L)) * size;
    };
    if (name == "GetOneRow") {
        const auto& list = std::get<std::string>(inputs.at(1));
        return list.empty() ? many(now.columns, 6'004) : Listed(list) * 6'004;
    }
    if (name == "DescribeColumns") {
        return 600 + many(now.columns, 600);
    }
    if (name == "DescribeParameters") {
        return 50 + many(now.markers, 20);
    }
    return many(std::max(now.diagnostics, 1L), 600);
}

void GuardedHost::Perform(const std::function<void()>& entry)
{
    if (first_counts) {
        std::memcpy(first_taken_, &*first_counts, sizeof *first_counts);
    }
    first_taken_ = nullptr;
    entry();
}

const orvel_function* GuardedHost::Table()
{
    static const auto table = [] {
        std::array<orvel_function, ORVEL_HOST_SLOTS> slots{};
        std::copy_n(HostServices::Table(), slots.size(), slots.begin());
        slots[ORVEL_SLOT_ROUTINE_REF] = reinterpret_cast<orvel_function>(&RoutineRef);
        slots[ORVEL_SLOT_CALL_ROUTINE] = reinterpret_cast<orvel_function>(&CallRoutine);
        return slots;
    }();
    return table.data();
}

void GuardedHost::Attach(const char* library, const orvel_function* table)
{
    void* loaded = dlopen(library, RTLD_NOW | RTLD_NOLOAD);
    reinterpret_cast<decltype(&GetZFTable)>(dlsym(loaded, "GetZFTable"))(nullptr, table);
    dlclose(loaded);
}

bool IsOnConnection(std::string_view entry)
{
    return entry.ends_with("onnect") || entry.ends_with("Connection") ||
           entry.ends_with("ConnectOption") || entry == "AllocStatement" || entry == "GetInfo" ||
           entry == "Transact";
}

std::vector<Argument> InputsOf(const ORVEL_ZFE& row, const std::map<char, Argument>& by_letter)
{
    std::vector<Argument> inputs;
    for (const char letter : std::string_view(row.signature)) {
        if (const auto input = by_letter.find(letter); input != by_letter.end()) {
            inputs.push_back(input->second);
        }
    }
    return inputs;
}
