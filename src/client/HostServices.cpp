#include "client/HostServices.h"

#include <array>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kRecordStrings = 5;

template <class Operation>
orvel_function Slot(Operation operation)
{
    return reinterpret_cast<orvel_function>(operation);
}

}  // namespace

HostServices& HostServices::Instance()
{
    static HostServices services;
    return services;
}

const orvel_function* HostServices::Table()
{
    static const auto table = [] {
        std::array<orvel_function, ORVEL_HOST_SLOTS> slots{};
        slots[ORVEL_SLOT_PUSH_STRING] = Slot(&PushString);
        slots[ORVEL_SLOT_ROUTINE_REF] = Slot(&RoutineRef);
        slots[ORVEL_SLOT_CALL_ROUTINE] = Slot(&CallRoutine);
        slots[ORVEL_SLOT_RELEASE_LONG_STRING] = Slot(&ReleaseLongString);
        slots[ORVEL_SLOT_ALLOC_LONG_STRING] = Slot(&AllocLongString);
        return slots;
    }();
    return table.data();
}

int32_t HostServices::RoutineRef(int32_t* call, int32_t /*label_length*/, const char* /*label*/,
                                 int32_t /*routine_length*/, const char* /*routine*/)
{
    *call = 1;
    Instance().arguments_.clear();
    return 0;
}

int32_t HostServices::PushString(int32_t length, const char* text)
{
    Instance().arguments_.emplace_back(text, static_cast<std::size_t>(length));
    return 0;
}

int32_t HostServices::CallRoutine(int32_t /*call*/, int32_t argument_count)
{
    auto strings = std::exchange(Instance().arguments_, {});
    const bool is_record = argument_count == kRecordStrings && strings.size() == kRecordStrings;
    if (is_record && Instance().on_record) {
        Instance().on_record({std::move(strings[1]), std::move(strings[2]), std::move(strings[3]),
                              std::move(strings[4])});
    }
    return 0;
}

ORVEL_EXSTR HostServices::NewLongString(const std::string& text)
{
    auto* copy = call_host->Take(text.size() + call_host->behind_long_text, 1);
    text.copy(copy, text.size());
    ++long_strings_out_;
    return {static_cast<uint32_t>(text.size()), copy};
}

void HostServices::ReleaseLongString(ORVEL_EXSTR* string)
{
    Instance().call_host->GiveBack(string->text);
    *string = {0, nullptr};
    --Instance().long_strings_out_;
}

char* HostServices::AllocLongString(void* /*scratch*/, uint16_t length)
{
    try {
        return Instance().call_host->Take(length, 1);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
