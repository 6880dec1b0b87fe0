#include "host/main.h"

#include <cstring>

#include "encoding/ZString.h"

CEnvironment env;
CError err;
int first_time_thru = 1;

const void* orvelcallbackp = nullptr;
const orvel_function* orvelfunctabp = nullptr;

namespace {

// The writer of lists doesn't know the environment; it gets the option's address before any entry
// runs.
[[maybe_unused]] const bool kWriterFollowsOption = [] {
    ZString::FollowUnicodeOption(&env.unicode_option);
    return true;
}();

template <class Operation>
Operation HostOperation(int slot)
{
    return reinterpret_cast<Operation>(orvelfunctabp[slot]);
}

void Push(const char* text, int length)
{
    HostOperation<orvel_push_string>(ORVEL_SLOT_PUSH_STRING)(length, text);
}

void Push(const char* text)
{
    Push(text, static_cast<int>(std::strlen(text)));
}

}  // namespace

void WriteHostLog(const char* level, const char* name, const char* data, int length)
{
    int call = 0;
    HostOperation<orvel_routine_ref>(ORVEL_SLOT_ROUTINE_REF)(&call, 3, "Log", 7, "%ourLog");
    Push("");
    Push(level);
    Push("Gateway");
    Push(name);
    Push(data, length);
    constexpr int kArguments = 5;
    HostOperation<orvel_call_routine>(ORVEL_SLOT_CALL_ROUTINE)(call, kArguments);
}

int PutLog(const char* name, const char* data, int length, int /*flags*/)
{
    WriteHostLog("2", name, data, length);
    return 0;
}

void ReleaseHostString(ORVEL_EXSTR* string)
{
    HostOperation<orvel_release_long_string>(ORVEL_SLOT_RELEASE_LONG_STRING)(string);
}

char* AllocHostText(std::uint16_t length)
{
    constexpr std::size_t kScratchSize = 16;
    char scratch[kScratchSize];
    return HostOperation<orvel_alloc_long_string>(ORVEL_SLOT_ALLOC_LONG_STRING)(scratch, length);
}
