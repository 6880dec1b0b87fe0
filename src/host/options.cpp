// Entries: the process-wide options, the version, and a record to the host's log.
#include <cstring>

#include "host/entries.h"
#include "host/frame.h"

using namespace frame;

// Each option entry resets the error record at a time of its own and guards nothing: only its one
// trace record can throw.

extern "C" int SetLogOption(int value, int* result)
{
    TraceAlways({"SetLogOption"}, value);  // so that switching it off is traced, too
    err.Reset();
    env.log_option = value;
    *result = value;
    return 0;
}

namespace {

int SetOption(Label label, std::int64_t& option, int value, int* result)
{
    Trace(label, value);
    option = value;
    *result = value;
    err.Reset();
    return 0;
}

int AnswerConstant(Label label, int constant, int* value)
{
    err.Reset();
    *value = constant;
    Trace(label, constant);
    return 0;
}

}  // namespace

extern "C" int SetUnicodeOption(int value, int* result)
{
    return SetOption({"SetUnicodeOption"}, env.unicode_option, value, result);
}

extern "C" int SetLegacyOption(int value, int* result)
{
    return SetOption({"SetLegacyOption"}, env.legacy_option, value, result);
}

extern "C" int GetUV(int* value)
{
    return AnswerConstant({"GetUV"}, 1, value);
}

extern "C" int GetGTWVersion(int* value)
{
    return AnswerConstant({"GetGTWVersion"}, ORVEL_INTERFACE_VERSION, value);
}

extern "C" int Test(const char* text)
{
    const char* shown = text != nullptr ? text : "";
    WriteHostLog("1", "Test", shown, static_cast<int>(std::strlen(shown)));
    return 0;
}
