// Words as a user types them: refused with an error, or turned into a list that can be decoded.
#include <cstdint>
#include <string>

#include "client/HostList.h"
#include "text/value_syntax.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size)
{
    const std::string word(reinterpret_cast<const char*>(bytes), size);
    const auto tried = [&](auto read) {
        try {
            read();
        } catch (const UsageError&) {
        }
    };
    tried([&] { DecodeList(ListOf(word)); });
    tried([&] { DecodeList(ListOf("[" + word + "]")); });
    tried([&] { ValueOf(word); });
    tried([&] { BytesOf(word); });
    tried([&] { IntegerOf(word); });
    return 0;
}
