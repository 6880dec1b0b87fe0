#include "narrow/instead.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "narrow/RealDriver.h"

namespace {

template <class Function>
void* Address(Function* function)
{
    return reinterpret_cast<void*>(function);
}

// Any address that is none of a driver's; nothing is read or written there.
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
    if (number != 1) {
        return SQL_NO_DATA;
    }
    const std::string message = "[Orvel][Narrow shim]" + RealDriver::Instance().Failure();
    const bool fits = static_cast<std::size_t>(std::max<SQLSMALLINT>(capacity, 0)) > message.size();
    if (state != nullptr) {
        std::memcpy(state, "IM003", 6);  // the specified driver could not be loaded
    }
    if (native != nullptr) {
        *native = 0;
    }
    if (text != nullptr && capacity > 0) {
        const auto cut = message.substr(0, static_cast<std::size_t>(capacity) - 1);
        std::memcpy(text, cut.c_str(), cut.size() + 1);
    }
    if (length != nullptr) {
        *length = static_cast<SQLSMALLINT>(message.size());
    }
    return fits ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
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
