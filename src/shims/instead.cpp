#include "shims/instead.h"

#include <map>
#include <string>
#include <string_view>

#include "shims/Diagnosis.h"
#include "shims/RealDriver.h"
#include "shims/self.h"

namespace {

template <class Function>
void* Address(Function* function)
{
    return reinterpret_cast<void*>(function);
}

// Any address that is not a driver's; nothing is read or written there.
char stand_in = 0;

SQLRETURN MakeHandle(SQLSMALLINT /*type*/, SQLHANDLE /*input*/, SQLHANDLE* output)
{
    *output = &stand_in;
    return SQL_SUCCESS;
}

SQLRETURN FreeNothing(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/)
{
    return SQL_SUCCESS;
}

SQLRETURN TakeAttribute(SQLHANDLE /*handle*/, SQLINTEGER /*attribute*/, SQLPOINTER /*value*/,
                        SQLINTEGER /*size*/)
{
    return SQL_SUCCESS;
}

SQLRETURN TellFailure(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/, SQLSMALLINT number,
                      SQLCHAR* state, SQLINTEGER* native, SQLCHAR* text, SQLSMALLINT capacity,
                      SQLSMALLINT* length)
{
    const std::string message =
        "[Orvel][" + std::string(ShimName()) + "]" + RealDriver::Instance().Failure();
    constexpr std::string_view kNotLoaded = "IM003";  // the specified driver could not be loaded
    return TellRecord(kNotLoaded, message, number, state, native, text, capacity, length);
}

}  // namespace

void* WithoutDriver(const char* function)
{
    static const std::map<std::string_view, void*> functions = {
        {"SQLAllocHandle", Address(&MakeHandle)},   {"SQLFreeHandle", Address(&FreeNothing)},
        {"SQLSetEnvAttr", Address(&TakeAttribute)}, {"SQLSetConnectAttr", Address(&TakeAttribute)},
        {"SQLGetDiagRec", Address(&TellFailure)},
    };
    const auto found = functions.find(function);
    return found != functions.end() ? found->second : nullptr;
}
