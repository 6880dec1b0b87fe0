// A driver with wide functions, for characters of type CHARACTER, and with the narrow ones that the
// shim exposes. It refuses every connection, unless TEST_DRIVER says otherwise, and every
// statement. TEST_DRIVER=connect connects by the narrow function, =keys too where the string says
// Place=here, =wide by the wide one; =warn as =connect, and warns of a statement that it prepares;
// =abort as =connect, and aborts there;
// =crash crashes as it is asked for its diagnostics; =exit ends the process as it is loaded;
// =manager, loaded in front of the driver manager, crashes in its place as it makes an environment.
// Where TEST_SIGNAL is a signal's number the narrow function sends it to the parent process and
// hangs. The string that the narrow function gets goes into the file that TEST_CONNECTION names.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string_view>

#define EXPORTED extern "C" __attribute__((visibility("default"))) std::int16_t

namespace {

constexpr std::int16_t kError = -1;
constexpr std::int16_t kSuccessWithInfo = 1;
constexpr std::int16_t kNoData = 100;

std::string_view Behavior()
{
    const char* behavior = std::getenv("TEST_DRIVER");
    return behavior != nullptr ? behavior : "";
}

// Longer than any test lasts.
constexpr unsigned kSecondsOfHanging = 100;

// That many zeros also terminate a text for a reader of wider characters.
constexpr int kZeros = 4;

template <class Character>
void Put(std::string_view text, Character* to, int zeros = kZeros)
{
    std::fill_n(std::ranges::copy(text, to).out, zeros, 0);
}

template <class Character>
std::int16_t Diagnose(std::int16_t number, Character* state, std::int32_t* native,
                      Character* message, std::int16_t capacity, std::int16_t* length)
{
    constexpr std::string_view kMessage = "No entry, or FROM is missing \033c";
    if (Behavior() == "crash") {
        std::abort();
    }
    if (number != 1 || capacity < static_cast<std::int16_t>(kMessage.size() + kZeros)) {
        return kNoData;
    }
    Put("28000", state, 1);
    Put(kMessage, message);
    *native = 7;
    *length = static_cast<std::int16_t>(kMessage.size());
    return 0;
}

[[gnu::constructor]] void Load()
{
    if (Behavior() == "exit") {
        ::_exit(0);
    }
}

}  // namespace

// Functions that always return the same.
#define ANSWERS(function, code) \
    EXPORTED function()         \
    {                           \
        return code;            \
    }
ANSWERS(SQLFreeHandle, 0)
ANSWERS(SQLSetEnvAttr, 0)
ANSWERS(SQLGetInfoW, kError)
ANSWERS(SQLConnectW, kError)
ANSWERS(SQLConnect, kError)
ANSWERS(SQLDisconnect, 0)

EXPORTED SQLAllocHandle(std::int16_t type, void* /*input*/, void** output)
{
    if (Behavior() == "manager") {
        std::abort();
    }
    *output = reinterpret_cast<void*>(static_cast<std::intptr_t>(type) * 16);
    return 0;
}

EXPORTED SQLDriverConnectW(void* /*connection*/, void* /*window*/, const CHARACTER* /*in*/,
                           std::int16_t /*in_length*/, CHARACTER* completed, std::int16_t capacity,
                           std::int16_t* length, std::uint16_t /*completion*/)
{
    if (capacity < kZeros) {
        return kError;
    }
    Put("", completed);
    *length = 0;
    return Behavior() == "wide" ? 0 : kError;
}

EXPORTED SQLDriverConnect(void* /*connection*/, void* /*window*/, const char* in,
                          std::int16_t /*in_length*/)
{
    if (const char* signal = std::getenv("TEST_SIGNAL"); signal != nullptr) {
        ::kill(::getppid(), std::atoi(signal));
        ::sleep(kSecondsOfHanging);
    }
    if (const char* file = std::getenv("TEST_CONNECTION"); file != nullptr) {
        std::ofstream(file) << in;
    }
    const bool has_keys = std::string_view(in).find(";Place=here") != std::string_view::npos;
    const bool connects = Behavior() == "connect" || Behavior() == "warn" || Behavior() == "abort";
    return connects || (Behavior() == "keys" && has_keys) ? 0 : kError;
}

// The driver manager asks for a statement's descriptors, and has no statement without them.
EXPORTED SQLGetStmtAttr(void* statement, std::int32_t /*attribute*/, void** descriptor)
{
    *descriptor = statement;
    return Behavior() == "warn" || Behavior() == "abort" ? 0 : kError;
}

EXPORTED SQLPrepare()
{
    if (Behavior() == "abort") {
        std::abort();
    }
    return Behavior() == "warn" ? kSuccessWithInfo : kError;
}

EXPORTED SQLGetDiagRec(std::int16_t /*type*/, void* /*handle*/, std::int16_t number, char* state,
                       std::int32_t* native, char* message, std::int16_t capacity,
                       std::int16_t* length)
{
    return Diagnose(number, state, native, message, capacity, length);
}

EXPORTED SQLGetDiagRecW(std::int16_t /*type*/, void* /*handle*/, std::int16_t number,
                        CHARACTER* state, std::int32_t* native, CHARACTER* message,
                        std::int16_t capacity, std::int16_t* length)
{
    return Diagnose(number, state, native, message, capacity, length);
}
